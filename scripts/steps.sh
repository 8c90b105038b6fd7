# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2154
# Shared by the scripts that check one thing after the other; to be sourced behind lib.sh. What a step prints is kept in
# $logs, which the script sets.

{ rm -rf -- "$logs" && mkdir -p "$logs"; } 2>/dev/null || fail "the checkout can't be written to"

passed=0
failed=0
skipped=0
failed_steps=() # name and log of each, one after the other

readonly kSkipped=77 # the exit status of a step that is left out; its last line says why

# Warnings are errors in the presets of the checks, but not with a compiler that may know others.
strict=()
if ! kept_to g++ 12 >/dev/null || { command -v clang++ >/dev/null && ! kept_to clang++ 14 >/dev/null; }; then
    strict=(-DVELLIX_WERROR=OFF)
fi

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    cmake --preset "$preset" ${strict[@]+"${strict[@]}"} && cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}
}

# run_tests PRESET [ARGUMENT OF CTEST...]
run_tests() {
    local preset=$1
    shift
    ctest --preset "$preset" -j "$jobs" "$@"
}

# with_kept PROGRAM VERSION COMMAND...: runs it if the program has the version that the project is kept to.
with_kept() {
    kept_to "$1" "$2" || return $kSkipped
    "${@:3}"
}

# count_tests LOG: adds what ctest told there, and is false if it told nothing.
count_tests() {
    local counts bad all left
    counts=$(sed -nE 's/^[0-9]+% tests passed, ([0-9]+) tests failed out of ([0-9]+)$/\1 \2/p' "$1")
    [[ -n $counts ]] || return 1
    bad=${counts% *}
    all=${counts#* }
    left=$(grep -cE '^[[:space:]]+[0-9]+ - .* \((Skipped|Disabled)\)$' "$1") || true
    passed=$((passed + all - bad - left))
    failed=$((failed + bad))
    skipped=$((skipped + left))
    told="$((all - bad - left)) tests passed, $bad failed, $left skipped"
}

# step NAME COMMAND...: runs it, counts it or the tests that it ran, and goes on after a failure; $went_well tells.
step() {
    local name=$1 start=$SECONDS status=0 result=ok log told=
    log=$logs/${name//[^a-zA-Z0-9+]/_}.log
    shift
    printf '%-32s' "$name"
    "$@" >"$log" 2>&1 || status=$?
    if [[ $status -eq 0 ]]; then
        count_tests "$log" || passed=$((passed + 1))
    elif [[ $status -eq $kSkipped ]]; then
        skipped=$((skipped + 1))
        result="skipped: $(tail -n 1 "$log")"
    else
        count_tests "$log" && [[ $told != *" 0 failed"* ]] || failed=$((failed + 1))
        result=FAILED
        failed_steps+=("$name" "$log")
    fi
    printf '%5d s  %s%s\n' $((SECONDS - start)) "$result" "${told:+, $told}"
    if [[ $result == FAILED ]]; then went_well=false; else went_well=true; fi
}

# build_then_test NAME PRESET [ARGUMENT OF CTEST...]: two steps, the second if the first went well.
build_then_test() {
    step "$1: build" build "$2"
    ! $went_well || step "$1: tests" run_tests "${@:2}"
}

# Tells what all steps came to, and is false if one of them failed. The errors themselves fit on one screen.
summary() {
    local i lines=16
    for ((i = 0; i < ${#failed_steps[@]}; i += 2)); do
        printf '\n%s FAILED; all of it: %s\n' "${failed_steps[i]}" "${failed_steps[i + 1]}"
        [[ $lines -le 0 ]] || excerpt "${failed_steps[i + 1]}" "$lines"
        lines=$((lines > 8 ? 4 : 0))
    done
    printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
    [[ $failed -eq 0 ]]
}
