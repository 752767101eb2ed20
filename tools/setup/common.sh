# What the setup scripts share; sourced, never run.

VEL_SETUP=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
VEL_ROOT=${VEL_SETUP%/tools/setup}

# What is made once and used by many builds lives outside the tree, so that a fresh clone finds it again.
VEL_CACHE=${VEL_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tarvane-vel}

VEL_BUILD_ROOT=${VEL_BUILD_ROOT:-$VEL_ROOT/build}
VEL_JOBS=${VEL_JOBS:-$(nproc)}

# Another checkout of the same files finds what ccache keeps of this one.
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$VEL_ROOT} CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}

vel_started=$(date +%s)

# say <text...>: one line about what is going on, with the minutes and seconds since the script began.
say() {
    local seconds=$(($(date +%s) - vel_started))
    printf '== %2d:%02d  %s\n' $((seconds / 60)) $((seconds % 60)) "$*"
}

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# watched <what> <log> <command...>: runs the command with its output in the log. Every ten seconds tells how far it is,
# by the last step number that ninja wrote; when it fails, shows the log's end.
watched() {
    local what=$1 log=$2 begun=$SECONDS told=$SECONDS pid status=0 step
    shift 2
    "$@" >>"$log" 2>&1 &
    pid=$!
    while kill -0 "$pid" 2>/dev/null; do
        sleep 0.2
        if ((SECONDS - told >= 10)); then
            told=$SECONDS
            step=$(tail -c 400 "$log" | grep -oE '\[[0-9]+/[0-9]+\]' | tail -n 1) || true
            say "    $what $step"
        fi
    done
    wait "$pid" || status=$?
    if ((status != 0)); then
        tail -n 30 "$log" >&2
        die "$what failed with $status; the whole output is in $log"
    fi
    say "  $what done in $((SECONDS - begun)) s"
}

# begin_wine: from here on Windows programs run under a Wine of this script's own, in a fresh copy of the prefix, so that
# nothing of an earlier run is left in it. When the script ends, all that runs there ends and the prefix is removed.
begin_wine() {
    vel_wine=$(mktemp -d -t vel-wine.XXXXXX)
    trap end_wine EXIT
    # TMPDIR: the server keeps its socket there.
    export TMPDIR=$vel_wine WINEPREFIX=$vel_wine/prefix WINEDEBUG=-all
    export WINEDLLOVERRIDES="winemenubuilder.exe=d;mscoree,mshtml="
    "$VEL_SETUP/wine-prefix.sh" --copy "$WINEPREFIX"
    say "Starting Wine"
    "$VEL_SETUP/wine-server.sh" start
}

end_wine() {
    "$VEL_SETUP/wine-server.sh" stop || true
    rm -rf "$vel_wine"
}
