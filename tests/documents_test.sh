#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Holds the documents to the programs: what they quote stands in a program that is built, what they show is what it prints.
#     documents_test.sh SOURCE PROGRAMS
# A block of C++ has a comment in the line above it, as has any other block that is to be checked:
#     <!-- quote: FILE [REGION] -->       the lines between two "// [REGION]" lines of FILE, or all of it but its licence line
#     <!-- output: PROGRAM ARGUMENT... -->
set -euo pipefail
shopt -s extglob
source=$(cd "$1" && pwd)
programs=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
mkdir "$work/blocks" "$work/run"

# The marked blocks of a document, one file each; the first line of a file tells the place and the mark.
cut_blocks() {
    awk -v prefix="$2" '
        inside && /^```$/ { inside = 0; close(out); next }
        inside { print > out; next }
        /^```/ {
            inside = 1
            out = prefix "." ++count
            if ($0 == "```cpp" && mark == "") mark = "unmarked:"
            print FNR " " mark > out
            mark = ""
            next
        }
        { mark = "" }
        /^<!-- (quote|output): .* -->$/ { mark = $0; gsub(/^<!-- | -->$/, "", mark) }' "$1"
}

# The wanted text of a region, without its indentation.
quoted() {
    local file=$source/$1 region=${2:-}
    [[ -n $region ]] || { sed '1{/^\/\/ SPDX-/d}' "$file"; return; }
    awk -v mark="// $region" '
        { text = $0; sub(/^ +/, "", text) }
        text == mark { if (inside++) exit; indent = index($0, "/") - 1; next }
        inside { print substr($0, match($0, /[^ ]/) > indent ? indent + 1 : 1) }' "$file"
}

failures=0
checked=0
check() {
    local block=$1 line kind rest
    read -r line kind rest <"$block"
    local -a words
    read -ra words <<<"$rest"
    case $kind in
    quote:) quoted "${words[@]}" >"$work/want" ;;
    output:) "$programs/${words[0]}" "${words[@]:1}" >"$work/want" ;;
    unmarked:) echo "no mark above the block" >"$work/want" ;;
    *) return 0 ;;
    esac
    checked=$((checked + 1))
    if [[ ! -s $work/want ]] || ! diff -u "$work/want" <(tail -n +2 "$block") >"$work/diff"; then
        failures=$((failures + 1))
        echo "$document:$line: $kind $rest"
        cat "$work/diff"
    fi
}

cd "$source"
documents=(*.md docs/*.md)
cd "$work/run"
for document in "${documents[@]}"; do
    cut_blocks "$source/$document" "$work/blocks/${document//\//-}"
    for block in "$work/blocks/${document//\//-}".*; do
        [[ ! -e $block ]] || check "$block"
    done
done

# Each test that a document names is there.
while read -r name; do
    if [[ $name == fuzz_*_replay ]]; then
        [[ ! -e $source/fuzz/${name//@(fuzz_|_replay)/}.cpp ]] || continue
    elif grep -qE "^TEST(_F)?\\(${name%.*}, ${name#*.}\\)" "$source"/tests/*.cpp; then
        continue
    fi
    echo "docs/robustness.md: there is no test $name"
    failures=$((failures + 1))
done < <(grep -oE '`(fuzz_[a-z_]+|[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+)`' "$source/docs/robustness.md" | tr -d '`' | sort -u)

# What is printed from the tables of the schema.
printed() {
    local file=$1
    shift
    "$programs/attribute_tables" "$@" "$source/vellix/VellixSchema.h" | diff -u "$source/$file" - && return
    echo "$file is out of date; print it anew with attribute_tables"
    failures=$((failures + 1))
}
printed docs/attributes.md
printed vellix/VellixAttributes.h --header
echo "$checked blocks in ${#documents[@]} documents, $failures differ"
[[ $failures -eq 0 && $checked -gt 0 ]]
