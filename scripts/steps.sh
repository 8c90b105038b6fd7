# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2154
# Shared by the scripts that check one thing after the other; to be sourced behind lib.sh. What a step prints is kept in
# $logs, which the script sets.

rm -rf -- "$logs"
mkdir -p "$logs"

passed=0
failed=0

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    cmake --preset "$preset" && cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}
}

# build_and_test PRESET [ARGUMENT OF CTEST...]
build_and_test() {
    local preset=$1
    shift
    build "$preset" && ctest --preset "$preset" -j "$jobs" "$@"
}

# step NAME COMMAND...: runs it, counts what ctest tells, and goes on after a failure.
step() {
    local name=$1 start=$SECONDS result=ok log counts
    log=$logs/${name//[^a-z0-9+]/_}.log
    shift
    printf '%-32s' "$name"
    if ! "$@" >"$log" 2>&1; then
        result=FAILED
        failed=$((failed + 1))
    fi
    counts=$(sed -nE 's/^[0-9]+% tests passed, ([0-9]+) tests failed out of ([0-9]+)$/\1 \2/p' "$log")
    if [[ -n $counts ]]; then
        passed=$((passed + ${counts#* } - ${counts% *}))
        failed=$((failed + (${counts% *} > 0 ? ${counts% *} - 1 : 0)))
        result+=", ${counts#* } tests, ${counts% *} failed"
    fi
    printf '%4d s  %s\n' $((SECONDS - start)) "$result"
    if [[ $result == FAILED* ]]; then
        grep -vE '^ *(Start +[0-9]+: |[0-9]+/[0-9]+ Test .* Passed |\[ *[0-9]+%\] |[0-9]+ warnings? generated)' "$log" |
            tail -n 200
    fi
}

# Tells what all steps came to, and is false if one of them failed.
summary() {
    printf '%-32s%4d s\n' "all" "$SECONDS"
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [[ $failed -eq 0 ]]
}
