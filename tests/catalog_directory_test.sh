#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the catalog_directory example on trees that are hard to catalog. The arguments are its command, which may begin with
# an emulator.
set -euo pipefail
program=("$@")
work=$(mktemp -d)
trap 'chmod -R u+rwx "$work"; rm -rf -- "$work"' EXIT

fail() {
    echo "$*: $(cat "$work/out" "$work/err")" >&2
    exit 1
}

# run STATUS DIRECTORY FILE: runs the program, which must end with that status.
run() {
    local status=0
    "${program[@]}" "$2" "$3" >"$work/out" 2>"$work/err" || status=$?
    [[ $status -eq $1 ]] || fail "status $status instead of $1 on $2"
    ! LC_ALL=C grep -q '[^[:print:]]' "$work/out" "$work/err" || fail "bytes that a terminal may not have"
}

tree=$work/tree
mkdir "$tree" "$work/empty"
for name in 'a&b <c> "d" '\''e'\' $'line\nfeed' $'\e[31mred' $'caf\xe9' $'\xc3"x' $'\xff\xfe' $'\xe2\x82' '\x41' ' ' 'a="b">' \
    '&amp;' "$(printf 'n%.0s' {1..255})"; do
    touch -- "$tree/$name"
done
ln -s . "$tree/loop"
ln -s /nowhere "$tree/dangling"
mkfifo "$tree/pipe"
truncate -s 5G "$tree/large"
touch -d '1900-01-01 UTC' "$tree/1900"
touch -d '1969-12-31 23:59:59 UTC' "$tree/1969"
touch -d '2038-01-20 UTC' "$tree/2038"
touch -d '2200-01-01 UTC' "$tree/2200"
mkdir "$tree/closed" && chmod 0 "$tree/closed"
mkdir -p "$tree/$(printf 'd/%.0s' {1..500})"

run 0 "$tree" "$work/catalog.xml"
entries=$(find "$tree" -mindepth 1 -printf x 2>/dev/null | wc -c)
grep -qx "entries     $entries" "$work/out" || fail "not $entries entries"
[[ $(grep -o '<ET ' "$work/catalog.xml" | wc -l) -eq $entries ]] || fail "not $entries commands in the file"

run 0 "$work/empty" "$work/catalog.xml"
grep -qx "entries     0" "$work/out" || fail "entries in an empty directory"
run 2 "$work/nowhere" "$work/catalog.xml"
run 2 "$tree" "$work/nowhere/catalog.xml"
run 2 "$tree" /dev/full
