#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the library, shared and static, makes the Debian packages, and lets a stranger's program use all of them: with
# CMake, with pkg-config, as a subdirectory, and by the lines of the README.
#     package_test.sh SOURCE BUILD CXX shared|static
# BUILD is a finished build of that kind; the other kind is built here. Exit status 77 if a tool is missing.
set -euo pipefail
source=$1
build=$2
cxx=$3
kind=$4
consumer=$source/tests/consumer
for tool in cpack dpkg-deb dpkg-shlibdeps file pkg-config readelf; do
    command -v "$tool" >/dev/null || { echo "$tool is missing"; exit 77; }
done

work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
unset DESTDIR CMAKE_PREFIX_PATH LD_LIBRARY_PATH PKG_CONFIG_PATH
export CXX=$cxx LC_ALL=C

fail() {
    echo "$*" >&2
    exit 1
}

# quiet COMMAND...: shows what it printed only if it fails.
quiet() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $*"; }
}

# files_of KIND LIBDIR DOCDIR: what an installed tree holds of that kind, besides the reference of the interface.
files_of() {
    sed -n '/^set(vellix_headers$/,/)$/s,^  \(vellix/.*\.h\))\{0\,1\}$,include/\1,p' "$source/CMakeLists.txt"
    printf '%s\n' include/vellix/VellixVersion.h "$2"/cmake/vellix/vellix{Config,ConfigVersion}.cmake \
        "$2/cmake/vellix/vellix_$1_targets"{,-'*'}.cmake "$2/pkgconfig/vellix.pc"
    if [[ $1 == shared ]]; then
        printf '%s\n' "$2"/libvellix.so{,.1,".$version"}
    else
        printf '%s\n' "$2"/libvellix.a "$2/pkgconfig/vellix-static.pc"
    fi
    (cd "$source" && printf "$3/%s\n" {CHANGELOG,README,SECURITY}.md LICENSE docs/*.md docs/pictures/*.svg examples/*.cpp) |
        grep -v -e /architecture.md -e /performance.md
}

# check_files PREFIX LIBDIR: compares the tree with the list of files on standard input.
check_files() {
    diff -u <(sort -u) <(cd "$1" && find . ! -type d ! -path '*/html/*' |
        sed -E 's,^\./,,; s,(_targets-)[a-z]+,\1*,' | sort) || fail "$1 holds other files than it should"
    if grep -rlF -e "$work" -e "$source" -e "$build" "$1/$2/cmake" "$1/$2/pkgconfig"; then
        fail "a file above names a place of this machine, so it can't be moved"
    fi
}

# check_references PREFIX DOCDIR: what an installed document links or names is installed.
check_references() {
    local document name place
    for document in "$1/$2"/{,docs/}*.md; do
        while read -r name; do
            for place in "$(dirname "$document")" "$1/$2" "$1/include" "$1/include/vellix"; do
                [[ ! -e $place/$name ]] || continue 2
            done
            fail "${document#"$1/"} refers to $name, which is not installed. Put that between <!-- sources --> and <!-- end -->"
        done < <(grep -oE '\]\([^):#]+|`[A-Za-z][A-Za-z_.-]*(/[A-Za-z_./-]*|\.(md|h))`' "$document" | sed 's/^](//' | tr -d '`')
    done
}

# with_cmake NAME OPTION...: builds the program and runs it by its own single test.
with_cmake() {
    local place=$work/$1
    shift
    quiet cmake -S "$consumer" -B "$place" "$@"
    quiet cmake --build "$place" -j 2
    (cd "$place" && quiet ctest --output-on-failure && ctest -N | grep -qx 'Total Tests: 1') || fail "$place: tests"
}

# linked_as PROGRAM KIND
linked_as() {
    local found=static
    ! readelf -d "$1" | grep -q 'NEEDED.*\[libvellix\.so\.1\]' || found=shared
    [[ $found == "$2" ]] || fail "$1 is linked to the $found library"
}

# with_pkg_config NAME PREFIX LIBDIR KIND PACKAGE
with_pkg_config() {
    local place=$work/$1 libdir=$2/$3
    local -a flags
    export PKG_CONFIG_LIBDIR=$libdir/pkgconfig
    [[ $(pkg-config --modversion "$5") == "$version" ]] || fail "$2: version of the pkg-config file"
    read -ra flags <<<"$(pkg-config --cflags --libs "$5")"
    mkdir "$place"
    quiet "$cxx" -std=c++17 "$consumer"/*.cpp "${flags[@]}" -o "$place/consumer"
    (cd "$place" && quiet env LD_LIBRARY_PATH="$libdir" ./consumer)
    linked_as "$place/consumer" "$4"
}

# use_prefix NAME PREFIX LIBDIR KIND: uses what is had without asking for a kind.
use_prefix() {
    with_cmake "$1-cmake" -DCMAKE_PREFIX_PATH="$2"
    grep -q "^vellix_DIR:.*=$2/" "$work/$1-cmake/CMakeCache.txt" || fail "$1: another vellix was found"
    linked_as "$work/$1-cmake/consumer" "$4"
    with_pkg_config "$1-pkg-config" "$2" "$3" "$4" vellix
    echo "$1: works"
}

# install_and_move PREFIX KIND...: the tree is used at another place than the one that it was installed to.
install_and_move() {
    local prefix=$1 kind
    shift
    for kind in "$@"; do
        quiet cmake --install "${build_of[$kind]}" --prefix "$work/first"
    done
    mv "$work/first" "$prefix"
    for kind in "$@"; do files_of "$kind" lib share/doc/vellix; done | check_files "$prefix" lib
}

# readme_blocks SECTION LANGUAGE
readme_blocks() {
    awk -v section="## $1" -v fence="\`\`\`$2" '
        inside && /^```$/ { inside = 0 }
        inside
        /^## / { wanted = $0 == section }
        wanted && $0 == fence { inside = 1 }' "$source/README.md"
}

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
other=static
shared=OFF
[[ $kind == shared ]] || { other=shared; shared=ON; }
quiet cmake -S "$source" -B "$work/other" -DCMAKE_BUILD_TYPE=Debug -DVELLIX_SHARED=$shared \
    -DVELLIX_BUILD_TESTS=OFF -DVELLIX_BUILD_EXAMPLES=OFF -DCMAKE_UNITY_BUILD=ON
quiet cmake --build "$work/other" -j 2
declare -A build_of=([$kind]=$build [$other]=$work/other)

install_and_move "$work/static" static
use_prefix only-static "$work/static" lib static
install_and_move "$work/both" shared static
use_prefix both "$work/both" lib shared
with_cmake both-cmake-static -DCMAKE_PREFIX_PATH="$work/both" -DVELLIX_KIND=static
linked_as "$work/both-cmake-static/consumer" static
with_pkg_config both-pkg-config-static "$work/both" lib static vellix-static
check_references "$work/both" share/doc/vellix

# The lines of the README, from installing on, at the places that it names.
mkdir -p "$work/home" "$work/checkout/build" "$work/program"
ln -s "$build" "$work/checkout/build/release"
readme_blocks Build sh | grep '^cmake --install ' >"$work/install.sh"
readme_blocks 'The smallest program' cpp >"$work/program/program.cpp"
readme_blocks 'Link a program' cmake >"$work/program/CMakeLists.txt"
readme_blocks 'Link a program' sh >"$work/link.sh"
(cd "$work/checkout" && HOME=$work/home quiet bash -eu "$work/install.sh")
(unset PKG_CONFIG_LIBDIR && cd "$work/program" && HOME=$work/home bash -eu "$work/link.sh") >"$work/printed" 2>&1 &&
    [[ $(grep -c '^image 42$' "$work/printed") == 2 ]] || { cat "$work/printed"; fail "the lines of the README"; }
echo "README: works"

# The Debian packages.
quiet cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/deb"
libdir=lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
architecture=$(dpkg --print-architecture)
runtime=libvellix1
development=libvellix-dev
packages=("$runtime" "$development")
[[ $kind == shared ]] || { development=libvellix-static-dev; packages=("$development"); }
[[ $(cd "$work/deb" && echo *.deb) == "$(printf "%s_${version}_$architecture.deb\n" "${packages[@]}" | sort | xargs)" ]] ||
    fail "other Debian packages than ${packages[*]}: $(ls "$work/deb")"
for package in "${packages[@]}"; do
    dpkg-deb -x "$work/deb/${package}_${version}_$architecture.deb" "$work/root"
    for document in copyright changelog.gz; do
        [[ -s $work/root/usr/share/doc/$package/$document ]] || fail "$package has no $document"
    done
    rm "$work/root/usr/share/doc/$package"/{copyright,changelog.gz}
done
if [[ $kind == shared ]]; then
    [[ $(dpkg-deb -f "$work"/deb/libvellix-dev_*.deb Depends) == "libvellix1 (= $version)" ]] || fail "what libvellix-dev depends on"
    [[ $(dpkg-deb -f "$work"/deb/libvellix1_*.deb Depends) == *libc6*libstdc++6* ]] || fail "what libvellix1 depends on"
    [[ $(dpkg-deb -I "$work"/deb/libvellix1_*.deb shlibs) == "libvellix 1 libvellix1 (>= $version)" ]] || fail "shlibs"
    rm -r "$work/root/usr/share/doc/libvellix1"
fi
files_of "$kind" "$libdir" "share/doc/$development" | check_files "$work/root/usr" "$libdir"
check_references "$work/root/usr" "share/doc/$development"
use_prefix debian "$work/root/usr" "$libdir" "$kind"
if command -v lintian >/dev/null; then
    quiet lintian --allow-root --fail-on error "$work"/deb/*.deb
    echo "lintian: no errors"
fi

with_cmake subdirectory -DVELLIX_SOURCE="$source"
library_kind() { cmake -S "$consumer" -B "$work/$1" -DVELLIX_SOURCE="$source" "${@:2}" | sed -n 's/^-- the library is a //p'; }
[[ $(library_kind subdirectory) == STATIC_LIBRARY ]] || fail "subdirectory: not static"
[[ $(library_kind subdirectory-shared -DBUILD_SHARED_LIBS=ON) == SHARED_LIBRARY ]] ||
    fail "subdirectory: BUILD_SHARED_LIBS isn't heeded"
quiet cmake --install "$work/subdirectory" --prefix "$work/nothing"
[[ ! -e $work/nothing ]] || fail "subdirectory: something of the library was installed"
echo "subdirectory: works"
