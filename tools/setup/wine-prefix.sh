#!/usr/bin/env bash
# Makes the template of a Wine prefix in the cache folder: Windows 10, without a display, its built-in DLLs as links to
# the installed ones (80 MB instead of 700). A run copies it, which takes a fifth of a second.
#   tools/setup/wine-prefix.sh                  makes the template if it is not there (15 seconds)
#   tools/setup/wine-prefix.sh --copy <folder>  the same, then a fresh prefix of one's own in the folder
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

wine=/usr/lib/wine/wine64
server=/usr/lib/wine/wineserver64
[[ -x $wine && -x $server ]] || die "Wine is not installed; tools/setup/packages.sh windows does that"

key=$({ cat "${BASH_SOURCE[0]}"; dpkg-query -W -f '${Version}' wine64; } | sha256sum | cut -c1-16)
template=$VEL_CACHE/wine-prefix-$key

make_template() {
    local making=$template.making builtin=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows sockets file
    rm -rf "$making"
    sockets=$(mktemp -d -t vel-wine.XXXXXX)
    mkdir -p "$making/home"
    # HOME: Wine links the user's folders (Documents, Desktop) into it, and they must not be the developer's.
    # A server that is not ended here would hold the prefix open while it is copied.
    (
        export WINEPREFIX=$making/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" HOME=$making/home TMPDIR=$sockets
        unset DISPLAY WAYLAND_DISPLAY
        timeout 300 "$wine" wineboot -i
        timeout 60 "$wine" winecfg -v win10 # the default is Windows 7
        timeout 60 "$server" -w || true
    ) </dev/null >/dev/null 2>&1
    find "$making/prefix/drive_c/windows/system32" -type f | while read -r file; do
        if cmp -s "$file" "$builtin/${file##*/}"; then
            ln -sf "$builtin/${file##*/}" "$file"
        fi
    done
    rm -f "$making/prefix/wineserver" # names the folder of the server that just ended
    # Links into the folder of the making would point to nothing after the rename.
    find "$making/prefix/drive_c/users" -type l -delete -printf '%p\n' | while read -r file; do mkdir -p "$file"; done
    mv "$making/prefix" "$template"
    rm -rf "$making" "$sockets"
}

mkdir -p "$VEL_CACHE"
if [[ ! -d $template ]]; then
    exec 9>"$VEL_CACHE/wine-prefix.lock"
    flock 9
    if [[ ! -d $template ]]; then
        say "Making the Wine prefix (15 seconds, once)"
        # The lock must not pass on to a Wine server, which outlives this script by seconds.
        make_template 9>&-
    fi
    exec 9>&-
fi

case ${1-} in
    "") echo "$template" ;;
    --copy)
        rm -rf "${2:?a folder}"
        mkdir -p "$(dirname "$2")"
        cp -a "$template" "$2"
        ;;
    *) die "unknown argument: $1" ;;
esac
