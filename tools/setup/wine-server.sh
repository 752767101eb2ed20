#!/usr/bin/env bash
# The Wine server of the prefix $WINEPREFIX, which a run of tests starts before its first program and stops after its
# last one. Stopping ends every Windows process of that prefix and of no other.
#   tools/setup/wine-server.sh start|stop
#
# The server and Wine's services are started with all output closed. Were they started by the first program instead, they
# would hold that program's output pipe open, and whoever reads the pipe to its end would wait for as long as they live.
# Should nobody stop the server, it ends by itself ten minutes after its last program.
set -euo pipefail
export WINEPREFIX=${WINEPREFIX:?the prefix whose server is meant} WINEDEBUG=-all
unset DISPLAY WAYLAND_DISPLAY

case ${1-} in
    start)
        /usr/lib/wine/wineserver64 -p600 </dev/null >/dev/null 2>&1
        timeout 120 /usr/lib/wine/wine64 wineboot </dev/null >/dev/null 2>&1
        ;;
    stop)
        # 1: there was no server (any more)
        timeout 30 /usr/lib/wine/wineserver64 -k </dev/null >/dev/null 2>&1 || [[ $? == 1 ]]
        ;;
    *)
        echo "wine-server.sh: start or stop?" >&2
        exit 2
        ;;
esac
