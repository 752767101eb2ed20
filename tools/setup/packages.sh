#!/usr/bin/env bash
# Installs the Debian packages that a task needs, and only those that are missing.
#   tools/setup/packages.sh native     build and test natively
#   tools/setup/packages.sh windows    build for Windows and run under Wine (with native)
#   tools/setup/packages.sh all        everything that ./test --all uses
#   tools/setup/packages.sh --list <task>
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# One LLVM for the debug build, sanitizers, formatting and tidying. The default of the distribution (14) has no std::source_location, and
# later ones (19) refuse the header of the JSON library.
LLVM=16

native=(
    build-essential g++ clang-$LLVM lld-$LLVM cmake ninja-build ccache pkg-config python3 git ca-certificates
    protobuf-compiler libprotobuf-dev rapidjson-dev libfmt-dev libspdlog-dev libsqlite3-dev liblz4-dev
    dbus-daemon libsystemd-dev libssl-dev libc-ares-dev libmnl-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    curl mtr-tiny # the agent's own tools, in the laboratory
    iproute2 lz4 procps fping iputils-ping
)
windows=(
    "${native[@]}"
    g++-mingw-w64-x86-64-posix wine wine64
    dpkg-dev googletest tcl # sources of the libraries, and what turns SQLite's into one file
)
all=(
    "${windows[@]}"
    llvm-$LLVM clang-tidy-$LLVM clang-format-$LLVM libclang-rt-$LLVM-dev
)

list=
if [[ ${1-} == --list ]]; then
    list=1
    shift
fi
case ${1-} in
    native) wanted=("${native[@]}") ;;
    windows) wanted=("${windows[@]}") ;;
    all) wanted=("${all[@]}") ;;
    *) die "say what for: native, windows or all" ;;
esac
if [[ $list ]]; then
    printf '%s\n' "${wanted[@]}"
    exit
fi

missing=()
for package in "${wanted[@]}"; do
    [[ $(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null) == ii* ]] || missing+=("$package")
done
((${#missing[@]})) || exit 0

as_root=()
if ((EUID != 0)); then
    command -v sudo >/dev/null || die "these packages are missing, and only root can install them: ${missing[*]}"
    as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -y -q -o DPkg::Lock::Timeout=600
    install --no-install-recommends "${missing[@]}")

say "Installing ${#missing[@]} packages: ${missing[*]}"
# The lists may be absent or older than the archive: they are fetched only when the installation does not go without.
if ! "${install[@]}"; then
    say "Fetching the package lists, then once more"
    "${as_root[@]}" apt-get -q -o DPkg::Lock::Timeout=600 update
    "${install[@]}"
fi
say "Packages are in place"
