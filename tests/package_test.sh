#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the library, shared and static, makes the Debian package, and lets a stranger's program use all of them: with
# CMake, with pkg-config, and as a subdirectory.
#     package_test.sh SOURCE BUILD CXX shared|static
# BUILD is a finished build of that kind; the other kind is built here. Exit status 77 if a tool is missing.
set -euo pipefail
source=$1
build=$2
cxx=$3
kind=$4
consumer=$source/tests/consumer
for tool in cpack dpkg-deb dpkg-shlibdeps pkg-config readelf; do
    command -v "$tool" >/dev/null || { echo "$tool is missing"; exit 77; }
done

work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
unset DESTDIR CMAKE_PREFIX_PATH LD_LIBRARY_PATH PKG_CONFIG_PATH
export CXX=$cxx

fail() {
    echo "$*" >&2
    exit 1
}

# quiet COMMAND...: shows what it printed only if it fails.
quiet() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $*"; }
}

# What the package holds besides the library itself.
expected_files() {
    cat <<'FILES'
include/vellix/CatImageCmdXmlFileHelper.h
include/vellix/CatQueryCriteriaHelper.h
include/vellix/VellixAttributes.h
include/vellix/VellixDoc.h
include/vellix/VellixEntry.h
include/vellix/VellixMMap.h
include/vellix/VellixPath.h
include/vellix/VellixReader.h
include/vellix/VellixSchema.h
include/vellix/VellixTypes.h
include/vellix/VellixUtils.h
include/vellix/VellixValues.h
include/vellix/VellixWriter.h
lib/cmake/vellix/vellixConfig.cmake
lib/cmake/vellix/vellixConfigVersion.cmake
lib/cmake/vellix/vellixTargets-*.cmake
lib/cmake/vellix/vellixTargets.cmake
lib/pkgconfig/vellix.pc
share/doc/vellix/CHANGELOG.md
share/doc/vellix/README.md
share/doc/vellix/SECURITY.md
share/doc/vellix/docs/architecture.md
share/doc/vellix/docs/attributes.md
share/doc/vellix/docs/file-format.md
share/doc/vellix/docs/guide.md
share/doc/vellix/docs/performance.md
share/doc/vellix/docs/robustness.md
FILES
}

# check_files PREFIX KIND
check_files() {
    local -a library=(lib/libvellix.a)
    [[ $2 == static ]] || library=(lib/libvellix.so lib/libvellix.so.1 "lib/libvellix.so.$version")
    diff -u <({ expected_files; printf '%s\n' "${library[@]}"; } | sort) \
        <(cd "$1" && find . ! -type d | sed -E 's,^\./,,; s,(Targets-)[a-z]+,\1*,' | sort) ||
        fail "$1 holds other files than it should"
    if grep -rlF -e "$work" -e "$source" -e "$build" "$1"/lib/cmake "$1"/lib/pkgconfig; then
        fail "a file above names a place of this machine, so it can't be moved"
    fi
}

# with_cmake NAME OPTION...: builds the program and runs it by its own single test.
with_cmake() {
    local place=$work/$1
    shift
    quiet cmake -S "$consumer" -B "$place" "$@"
    quiet cmake --build "$place" -j 2
    (cd "$place" && quiet ctest --output-on-failure && ctest -N | grep -qx 'Total Tests: 1') || fail "$place: tests"
}

# with_pkg_config NAME PREFIX KIND
with_pkg_config() {
    local place=$work/$1 prefix=$2
    local -a flags=(--cflags --libs)
    [[ $3 == shared ]] || flags+=(--static)
    export PKG_CONFIG_LIBDIR=$prefix/lib/pkgconfig
    [[ $(pkg-config --modversion vellix) == "$version" ]] || fail "$prefix: version of the pkg-config file"
    read -ra flags <<<"$(pkg-config "${flags[@]}" vellix)"
    mkdir "$place"
    quiet "$cxx" -std=c++17 "$consumer/main.cpp" "${flags[@]}" -o "$place/consumer"
    (cd "$place" && quiet env LD_LIBRARY_PATH="$prefix/lib" ./consumer)
    if [[ $3 == shared ]]; then
        readelf -d "$place/consumer" | grep -q 'NEEDED.*\[libvellix\.so\.1\]' || fail "$place: not linked by the SONAME"
    fi
}

# use_prefix NAME PREFIX KIND
use_prefix() {
    check_files "$2" "$3"
    with_cmake "$1-cmake" -DCMAKE_PREFIX_PATH="$2"
    grep -q "^vellix_DIR:.*=$2/" "$work/$1-cmake/CMakeCache.txt" || fail "$1: another vellix was found"
    with_pkg_config "$1-pkg-config" "$2" "$3"
    echo "$1: works"
}

# install_and_move KIND BUILD: the tree is used at another place than the one that it was installed to.
install_and_move() {
    quiet cmake --install "$2" --prefix "$work/first"
    mv "$work/first" "$work/moved-$1"
    use_prefix "$1" "$work/moved-$1" "$1"
}

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
other=static
shared=OFF
[[ $kind == shared ]] || { other=shared; shared=ON; }
quiet cmake -S "$source" -B "$work/other" -DCMAKE_BUILD_TYPE=Debug -DVELLIX_SHARED=$shared \
    -DVELLIX_BUILD_TESTS=OFF -DVELLIX_BUILD_EXAMPLES=OFF
quiet cmake --build "$work/other" -j 2
install_and_move "$kind" "$build"
install_and_move "$other" "$work/other"

quiet cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/deb"
package=$(echo "$work"/deb/*.deb)
[[ $(dpkg-deb -f "$package" Package Version Maintainer) == \
    $'Package: libvellix\nVersion: '"$version"$'\nMaintainer: vellix developers' ]] || fail "fields of the Debian package"
dpkg-deb -x "$package" "$work/root"
use_prefix debian "$work/root/usr" "$kind"

with_cmake subdirectory -DVELLIX_SOURCE="$source"
library_kind() { cmake -S "$consumer" -B "$work/$1" -DVELLIX_SOURCE="$source" "${@:2}" | sed -n 's/^-- the library is a //p'; }
[[ $(library_kind subdirectory) == STATIC_LIBRARY ]] || fail "subdirectory: not static"
[[ $(library_kind subdirectory-shared -DBUILD_SHARED_LIBS=ON) == SHARED_LIBRARY ]] ||
    fail "subdirectory: BUILD_SHARED_LIBS isn't heeded"
quiet cmake --install "$work/subdirectory" --prefix "$work/nothing"
[[ ! -e $work/nothing ]] || fail "subdirectory: something of the library was installed"
echo "subdirectory: works"
