# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034
# Shared by the scripts; to be sourced before anything is done, since it answers --help. Makes the project's root the
# working directory.

script=$(cd "$(dirname "$0")" && pwd)/$(basename "$0")
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# What a script is for and how it is called stands in the comment at its head.
show_help() {
    sed -n '3,${/^#/!q;s/^# \{0,1\}//p}' "$script"
}

# wrong_usage [MESSAGE]: the lines of that comment that show calls.
wrong_usage() {
    {
        [[ $# -eq 0 ]] || printf '%s: %s\n' "$(basename "$0")" "$*"
        echo "usage:"
        show_help | grep -E '^ {4}'
    } >&2
    exit 2
}

for argument in "$@"; do
    case $argument in
    -h | --help)
        show_help
        exit 0
        ;;
    esac
done

started_in=$PWD
cd "$root" || exit

jobs=$(nproc 2>/dev/null || echo 2)

# A build that was done before is used again where ccache is at hand. It is never asked for.
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# excerpt LOG LINES: the first error in a log and what follows, without the noise of tools.
excerpt() {
    local noise='^ *(Start +[0-9]+: |[0-9]+/[0-9]+ Test .* (Passed|Skipped) |\[ *[0-9]+%\] |[0-9]+ warnings? generated)'
    noise+='|^\[(=+|-+| *(RUN|OK|PASSED)) *\]|^(Running main\(\)|Note: Google Test)|^[[:space:]]*$'
    local sign='(^|[^a-z])(error|Failure|FAIL(ED)?|ERROR|runtime error|CMake Error)([^a-zA-Z]|$)|undefined reference|^E: '
    sign+='|\*\*\*(Failed|Exception|Timeout|Not Run)'
    local weak=': warning: |[Ff]ailed|[Cc]an.?t|not found'
    local first
    grep -vE "$noise" "$1" >"$1.short" || cp "$1" "$1.short"
    first=$(grep -nE -m 1 "$sign" "$1.short" || grep -nE -m 1 "$weak" "$1.short" || true)
    if [[ -n $first ]]; then
        tail -n "+${first%%:*}" "$1.short" | head -n "$2"
    else
        tail -n "$2" "$1.short"
    fi | cut -c 1-240
    rm -f -- "$1.short"
}

# fail_with LOG MESSAGE: as fail, below the error that the log holds.
fail_with() {
    excerpt "$1" 16 >&2
    fail "$2"
}

no_arguments() {
    [[ $# -eq 0 ]] || wrong_usage "no argument is taken: $1"
}

# kept_to PROGRAM VERSION: false, with a line that says so, if the program has another version than the one that the project
# is kept to. Another one finds other things, or calls for another form.
kept_to() {
    local version
    version=$("$1" --version 2>/dev/null | grep -oE '[0-9]+(\.[0-9]+)+' | head -n 1) || true
    [[ $version == "$2" || $version == "$2".* ]] && return
    echo "$1 has version ${version:-unknown}; the project is kept to $2"
    return 1
}

# Installs those of the named Debian packages that are not there yet.
need_packages() {
    local package missing=()
    command -v dpkg-query >/dev/null || fail "this is no Debian system. Install what these packages hold: $*"
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    [[ ${#missing[@]} -gt 0 ]] || return 0

    local as_root=()
    if [[ $(id -u) -ne 0 ]]; then
        command -v sudo >/dev/null ||
            fail "missing packages: ${missing[*]}. Install them as root: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -qq || echo "Some lists of packages are not up to date" >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 "${missing[@]}" >/dev/null ||
        fail "these packages could not be installed: ${missing[*]}"
}
