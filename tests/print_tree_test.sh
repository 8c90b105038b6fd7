#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the print_tree example on files that no writer of ours made. The arguments are its command, which may begin with an
# emulator.
set -euo pipefail
program=("$@")
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
cd "$work"

# expect NAME TEXT TREE
expect() {
    printf '%b' "$2" >file
    "${program[@]}" file >tree
    if ! diff -u <(printf '%s' "${3:+$3$'\n'}") tree; then
        echo "$1: not the tree that was expected" >&2
        exit 1
    fi
}

expect "empty" '' ''
expect "entries get the attributes of their holder" \
    '<CatRes><RE NM="r"/></CatRes><CatFHStringSection><ET NM="s"/></CatFHStringSection><ET NM="e"/>' \
    $'CatRes\n  RE NM="r"\nCatFHStringSection\n  ET NM="s"\nET NM="e"'
expect "page filling, text and unknown tags" 'x <CatFH>   y<Other a="1"/><ET NM="n"/>  </CatFH>' \
    $'CatFH\n  Other (unknown)\n  ET NM="n"'
expect "control bytes" '<ET NM="\033[31m\n&#7;\0303\0251"/>' 'ET NM="\x1B[31m\x0A\x07\xC3\xA9"'
expect "a file that breaks off" '<CatFH><ET NM="a"/><ET NM="b' $'CatFH\n  ET NM="a"\n  ET NM="\\x22b" (at byte 19: the text ends inside the tag)'
expect "close tags too many" '</CatFH></CatFH><CatFH/>' 'CatFH'

# A depth that the file chooses costs neither stack nor width.
awk 'BEGIN { for (i = 0; i < 100000; ++i) printf "<CatFH>" }' >file
"${program[@]}" file >tree
[[ $(wc -l <tree) -eq 100000 && $(awk 'match($0, /^ */) { print RLENGTH }' tree | sort -n | tail -n 1) -eq 80 ]]
[[ $(grep -c '^ *CatFH$' tree) -eq 64 ]]

for bad in missing "$work"; do
    if "${program[@]}" "$bad" >tree 2>err; then exit 1; fi
    grep -q "^print_tree: the file can't be opened: ." err
done
