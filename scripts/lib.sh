# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034
# Shared by the scripts; to be sourced. Makes the project's root the working directory.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
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
    echo "Installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq || echo "Some lists of packages are not up to date"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        fail "these packages could not be installed: ${missing[*]}"
}
