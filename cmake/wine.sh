#!/usr/bin/env bash
# Runs a Windows program under Wine, without a display and in a prefix of its own, which is made when it is not there:
#   wine.sh PREFIX PROGRAM [ARGUMENT...]
# A program that has stand-ins for the spooler's libraries beside it uses them. Who asks for the system's SPOOLSS.DLL by
# its path gets the stand-in as well, by a link in the prefix.
set -eu
WINEPREFIX=$1
shift
unset DISPLAY WAYLAND_DISPLAY
export WINEPREFIX WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}" LC_ALL=C.UTF-8
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe=;winspool.drv,spoolss=n,b}"

wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
system=$WINEPREFIX/drive_c/windows/system32

make_prefix() {
    rm -rf "$WINEPREFIX"
    "$wine" wineboot --init || return
    wineserver --wait
    touch "$WINEPREFIX/made"
}

mkdir -p "$(dirname "$WINEPREFIX")"
(
    flock 9
    if [ ! -e "$WINEPREFIX/made" ]; then
        make_prefix >"$WINEPREFIX.log" 2>&1 </dev/null 9>&- || { cat "$WINEPREFIX.log" >&2; exit 1; }
    fi
    stand_in=$(realpath -m "$(dirname "$1")/spoolss.dll")
    if [ -e "$stand_in" ] && [ ! "$stand_in" -ef "$system/spoolss.dll" ]; then
        ln -sf "$stand_in" "$system/spoolss.dll"
    fi
) 9>"$WINEPREFIX.lock"
exec "$wine" "$@"
