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

long=$(printf 'n%.0s' {1..255})
tree=$work/tree
mkdir "$tree" "$work/empty"
for name in 'a&b <c> "d" '\''e'\' $'line\nfeed' $'\e[31mred' $'caf\xe9' $'\xc3"x' $'\xff\xfe' $'\xe2\x82' '\x41' ' ' 'a="b">' \
    '&amp;' "$long"; do
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

# Names that would act on a terminal: a mark that turns the direction of writing, ends of lines, and forms of ESC and
# others that only a careless decoder takes.
mkdir "$work/acting"
for name in $'\xe2\x80\xaegpj' $'\xe2\x81\xa6' $'\xe2\x80\xa8' $'\xd8\x9c' $'\xc2\x9b31m' \
    $'\xe0\x80\x9b' $'\xed\xa0\x80' $'\xf4\x90\x80\x80'; do
    touch -- "$work/acting/$name"
done
run 0 "$work/acting" "$work/catalog"$'\xff.xml'
escaped='/\\x(E2\\x80\\xAEgpj|E2\\x81\\xA6|E2\\x80\\xA8|D8\\x9C|C2\\x9B31m|E0\\x80\\x9B|ED\\xA0\\x80|F4\\x90\\x80\\x80)$'
[[ $(grep -cE "$escaped" "$work/out") -eq 8 ]] || fail "not eight escaped names"
rm -- "$work"/acting/*
harmless=$'\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80'
touch -- "$work/acting/$harmless"
"${program[@]}" "$work/acting" "$work/catalog.xml" >"$work/out" 2>"$work/err"
grep -q "/$harmless\$" "$work/out" || fail "harmless characters are escaped"

# The path of the last directory is longer than the system takes.
mkdir "$work/deep"
(cd "$work/deep" && for _ in {1..17}; do mkdir "$long" && cd -P "$long" || exit; done)
run 0 "$work/deep" "$work/catalog.xml"
grep -qx 'not in the catalog: 1 whose paths are too long for the system' "$work/out" || fail "a path too long is not told"

run 0 "$work/empty" "$work/catalog.xml"
grep -qx "entries     0" "$work/out" || fail "entries in an empty directory"
run 2 "$work/nowhere" "$work/catalog.xml"
run 2 "$tree" "$work/nowhere/catalog.xml"
run 2 "$tree" /dev/full
