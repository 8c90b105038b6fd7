#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares what a shared library exports with what the public headers declare. Fails on a symbol that none of them
# declares, and on a public or protected operation that is not exported.
#     exported_symbols.sh LIBRARY HEADER...
set -euo pipefail
library=$1
shift
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

# What the headers declare with VELLIX_API: free functions, tables, and the operations of the classes that bear it. An
# operation that has to be exported is marked "must"; one that may be absent or inline "may".
declared() {
    awk '
        FNR == 1 { scope = "" }
        /^namespace .*{$/ { scope = scope $2 "::"; next }
        /^} \/\/ namespace / { sub($4 "::$", "", scope); next }
        { sub(/ *\/\/.*/, "") }
        /^(class|struct) VELLIX_API / {
            name = scope $3
            sub(/:$/, "", name)
            access = $1 == "class" ? "may" : "must"
            print "may vtable for " name; print "may typeinfo for " name; print "may typeinfo name for " name
            next
        }
        /^enum / { print "may typeinfo for " $2; print "may typeinfo name for " $2; next } # it may be thrown
        name != "" && /^};/ { name = ""; next }
        name != "" && /^(public|protected):/ { access = "must"; next }
        name != "" && /^private:/ { access = "may"; next }
        name != "" && /^    [^ ].*\(/ && !/^    friend / && match($0, /(operator[^(]+|~?[A-Za-z_][A-Za-z_0-9]*)\(/) {
            operation = substr($0, RSTART, RLENGTH - 1)
            deleted = /= (delete|default)/ || /^    template/
            print (deleted ? "may" : access) " " name "::" operation
        }
        /VELLIX_API/ && !/^#/ && /\(/ { match($0, /[A-Za-z_][A-Za-z_0-9]*\(/); print "must " scope substr($0, RSTART, RLENGTH - 1) }
        /VELLIX_API/ && /\[/ { match($0, /[A-Za-z_][A-Za-z_0-9]*\[/); print "must " scope substr($0, RSTART, RLENGTH - 1) }' "$@"
}

# The exported names: no arguments of functions or templates, no qualifiers, no ABI tags.
exported() {
    nm -D --defined-only "$1" | cut -d ' ' -f 3- | c++filt | sed -E 's/\[abi:[a-z0-9]+\]//; s/(operator[^(]*|[^(])\(.*/\1/; /</{s/<.*//; s/.* //}'
}

declared "$@" | sort -u >"$work/declared"
exported "$library" | sort -u >"$work/exported"
cut -d ' ' -f 2- "$work/declared" | sort -u >"$work/allowed"
sed -n 's/^must //p' "$work/declared" | sort -u >"$work/required"

comm -23 "$work/exported" "$work/allowed" | sed 's/^/exported, but no public header declares it: /' >"$work/faults"
comm -13 "$work/exported" "$work/required" | sed 's/^/declared, but not exported: /' >>"$work/faults"
cat "$work/faults"
echo "$(wc -l <"$work/exported") exported names, $(wc -l <"$work/required") required"
[[ ! -s $work/faults && -s $work/required ]]
