#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the examples that walk through catalogs on the same records wherever in a file they stand.
#     walk_programs_test.sh PROGRAMS [MPIEXEC]
set -euo pipefail
programs=$(cd "$1" && pwd)
mpiexec=${2:-}
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
cd "$work"

same() { # NAME PROGRAM...: what the program prints is what is wanted
    local name=$1
    shift
    "$@" >got || { echo "$*: failed" >&2; exit 1; }
    cmp "$name" got || { echo "$*: prints something else" >&2; exit 1; }
}

front='<?xml version="1.0" encoding="UTF-8"?><CatResults IC="1" ID="1700000000">'
images='<CatDoc ID="1"><CatFH><ET NM="a&amp;b.c" SZ="1"/></CatFH></CatDoc><CatDoc ID="2"><CatFH><ET NM="b.c" SZ="22"/><ET NM="d"/></CatFH></CatDoc>'
printf 'image 1\n       1  a&b.c\nimage 2\n      22  b.c\n       0  d\n' >listed
printf 'a&b.c\nb.c\n' >found
printf '.c 2 23\nnone 1 0\n' >summed

# The end of a page, of what is read at once and of a part at every byte of the records, and next to them.
for ((room = 0; room <= ${#images} + 1; ++room)); do
    printf '%s%*s%s</CatResults>' "$front" $((65536 - room - ${#front})) '' "$images" >catalog.xml
    same listed "$programs/many_images" catalog.xml
    same found "$programs/find_entries" b - <catalog.xml
    same found "$programs/scan_parallel" b catalog.xml 2 65536
    if [[ -n $mpiexec && $((room % 150)) -eq 0 ]]; then
        same summed "$mpiexec" -n 1 "$programs/scan_mpi" 65536 catalog.xml
        same summed "$mpiexec" -n 2 "$programs/scan_mpi" 65536 catalog.xml
    fi
done

# What was written from directories.
mkdir -p one/dir two
head -c 70000 /dev/zero >"one/dir/a & b.c"
echo x >two/$'b\xe9\n<.c'
"$programs/many_images" new.xml one two >got
"$programs/many_images" new.xml | cmp - got
grep -q '^   70000  dir/a & b.c$' got
printf 'dir/a & b.c\nb\xe9\n<.c\n' >found
same found "$programs/find_entries" b new.xml
same found "$programs/scan_parallel" b new.xml 3 10

# What can't be read.
printf '%s<CatDoc ID="1"><CatFH><ET NM="b" SZ="&x;"/>' "$front" >catalog.xml
for program in "many_images missing" "many_images catalog.xml" "find_entries b ." "scan_parallel b missing 2"; do
    if "$programs"/$program >got 2>err; then echo "$program: no failure" >&2; exit 1; fi
    [[ -s err ]]
done
