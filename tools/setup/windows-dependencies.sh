#!/usr/bin/env bash
# Builds the libraries of the Windows agent, static, from Debian's source packages, into a prefix in the cache folder.
#   tools/setup/windows-dependencies.sh                 makes the prefix if it is not there (about two minutes)
#   tools/setup/windows-dependencies.sh --print-prefix  prints its path, there or not
#
# The prefix is named by a hash of everything that goes into it, and put in place by one rename: whoever finds it, finds
# it whole. Each library has the version of the native Debian package, so both builds use the same.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

toolchain=$VEL_ROOT/cmake/toolchain-mingw-w64.cmake
compiler=x86_64-w64-mingw32-gcc-posix

# Source packages, each with the installed binary package whose version it follows.
declare -A follows=([fmtlib]=libfmt-dev [spdlog]=libspdlog-dev [lz4]=liblz4-dev [sqlite3]=libsqlite3-dev
    [protobuf]=libprotobuf-dev [benchmark]=libbenchmark-dev)

source_version() { dpkg-query -W -f '${source:Version}' "${follows[$1]}"; }

key() {
    {
        cat "${BASH_SOURCE[0]}" "$toolchain"
        dpkg-query -W -f '${Package} ${Version}\n' "${follows[@]}" libgtest-dev rapidjson-dev \
            g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
    } | sha256sum | cut -c1-16
}

prefix=$VEL_CACHE/windows-libraries-$(key)
if [[ ${1-} == --print-prefix ]]; then
    echo "$prefix"
    exit
fi
[[ $# == 0 ]] || die "unknown argument: $1"
[[ ! -d $prefix ]] || exit 0

mkdir -p "$VEL_CACHE"
exec 9>"$VEL_CACHE/windows-libraries.lock"
flock 9
[[ ! -d $prefix ]] || exit 0 # another run made it while this one waited

say "Building the libraries for Windows into $prefix (about two minutes, once)"
work=$prefix.making
stage=$work/prefix
rm -rf "$VEL_CACHE"/windows-libraries-*.making # of runs that were broken off
mkdir -p "$work"/{apt/parts,apt/lists/partial,apt/cache/archives/partial,sources,tree,build} "$stage"/{include,lib}
export SOURCE_DATE_EPOCH=1700000000 ZERO_AR_DATE=1 # the same archives from the same sources

# The sources come from where the machine's packages come from: its own entries for this release of Debian, turned into
# source entries in a configuration of our own, which leaves the machine's alone.
private_apt() {
    apt-get -q -o APT::Sandbox::User=root \
        -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/apt/parts" \
        -o Dir::State::lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" "$@"
}

write_source_entries() {
    local code
    code=$(. /etc/os-release && echo "$VERSION_CODENAME")
    shopt -s nullglob
    cat /dev/null /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
        sed -nE "s/^deb[[:space:]](.*[[:space:]]$code(-[a-z]+)?(\/updates)?[[:space:]])/deb-src \1/p" \
            >"$work/apt/parts/machine.list" || true
    for file in /etc/apt/sources.list.d/*.sources; do
        awk -v RS= -v code="$code" '
            $0 ~ "(^|\n)Suites:[^\n]*[ \t]" code && $0 !~ /(^|\n)Enabled:[ \t]*no/ {
                sub(/(^|\n)Types:[^\n]*/, "\nTypes: deb-src"); sub(/^\n/, ""); print $0 "\n" }' "$file"
    done >"$work/apt/parts/machine.sources"
    [[ -s $work/apt/parts/machine.list || -s $work/apt/parts/machine.sources ]] ||
        die "no package source for Debian $code in /etc/apt to take the sources of the libraries from"
}

fetch() {
    local name version
    private_apt update
    cd "$work/sources"
    for name in "${!follows[@]}"; do
        version=$(source_version "$name")
        private_apt source --download-only "$name=$version" || {
            # The archive has moved on since the native package was installed.
            echo "$name $version is no longer to be had; taking the current one"
            private_apt source --download-only "$name"
        }
    done
}

unpack() {
    local name
    for name in "${!follows[@]}"; do
        dpkg-source --no-check -x "$work"/sources/"${name}"_*.dsc "$work/tree/$name"
    done
}

build() { # name, source folder, cmake arguments
    local name=$1 tree=$2 flags="-O2 -DNDEBUG -ffile-prefix-map=$work=."
    shift 2
    cmake -G Ninja -S "$tree" -B "$work/build/$name" -Wno-dev \
        -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DVEL_WINDOWS_PREFIX="$stage" -DVEL_WINE=OFF \
        -DCMAKE_INSTALL_PREFIX="$stage" -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_SHARED_LIBS=OFF \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE="$flags" -DCMAKE_CXX_FLAGS_RELEASE="$flags" \
        -DCMAKE_POLICY_DEFAULT_CMP0091=NEW "$@"
    cmake --build "$work/build/$name" -j "$VEL_JOBS" --target install
}

# SQLite's sources become one file with the tools of this machine; that file is then compiled for Windows.
build_sqlite() {
    mkdir -p "$work/build/sqlite3"
    cd "$work/build/sqlite3"
    "$work/tree/sqlite3/configure" --disable-tcl --disable-readline
    make -j"$VEL_JOBS" sqlite3.c sqlite3.h
    "$compiler" -O2 -DNDEBUG -D_WIN32_WINNT=0x0A00 -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION \
        -DSQLITE_ENABLE_COLUMN_METADATA -ffile-prefix-map="$work"=. -c sqlite3.c -o sqlite3.o
    x86_64-w64-mingw32-gcc-ar-posix rcsD "$stage/lib/libsqlite3.a" sqlite3.o
    cp sqlite3.h "$work/tree/sqlite3/src/sqlite3ext.h" "$stage/include/"
}

finish() {
    cp -r /usr/include/rapidjson "$stage/include/"
    find "$stage/lib" -name '*.a' -exec x86_64-w64-mingw32-strip -g {} +
}

write_source_entries
watched "sources" "$work/fetch.log" fetch
watched "unpacking" "$work/unpack.log" unpack
# Mostly a single process, so it goes beside the others.
(build_sqlite) >"$work/sqlite3.log" 2>&1 &
sqlite=$!
watched "fmt" "$work/fmt.log" build fmt "$work/tree/fmtlib" -DFMT_TEST=OFF -DFMT_DOC=OFF
watched "spdlog" "$work/spdlog.log" build spdlog "$work/tree/spdlog" -DSPDLOG_FMT_EXTERNAL=ON \
    -DSPDLOG_WCHAR_SUPPORT=ON -DSPDLOG_BUILD_EXAMPLE=OFF -DSPDLOG_BUILD_TESTS=OFF
watched "lz4" "$work/lz4.log" build lz4 "$work/tree/lz4/build/cmake" -DLZ4_BUILD_CLI=OFF -DLZ4_BUILD_LEGACY_LZ4C=OFF \
    -DBUILD_STATIC_LIBS=ON
watched "googletest" "$work/googletest.log" build googletest /usr/src/googletest -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON \
    -DGOOGLETEST_VERSION="$(dpkg-query -W -f '${source:Upstream-Version}' libgtest-dev)"
watched "benchmark" "$work/benchmark.log" build benchmark "$work/tree/benchmark" -DBENCHMARK_ENABLE_TESTING=OFF \
    -DBENCHMARK_ENABLE_GTEST_TESTS=OFF -DBENCHMARK_INSTALL_DOCS=OFF -DBENCHMARK_ENABLE_WERROR=OFF \
    -DGIT_VERSION="$(dpkg-query -W -f '${source:Upstream-Version}' libbenchmark-dev)"
watched "protobuf" "$work/protobuf.log" build protobuf "$work/tree/protobuf" -Dprotobuf_BUILD_TESTS=OFF \
    -Dprotobuf_BUILD_PROTOC_BINARIES=OFF -Dprotobuf_BUILD_LIBPROTOC=OFF -Dprotobuf_WITH_ZLIB=OFF \
    -Dprotobuf_BUILD_SHARED_LIBS=OFF -Dprotobuf_MSVC_STATIC_RUNTIME=OFF
wait "$sqlite" || {
    tail -n 30 "$work/sqlite3.log" >&2
    die "sqlite3 failed; the whole output is in $work/sqlite3.log"
}
watched "finishing" "$work/finish.log" finish

mv "$stage" "$prefix"
rm -rf "$work"
say "The libraries for Windows are in $prefix"
