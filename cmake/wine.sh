#!/usr/bin/env bash
# Runs a Windows program under Wine, in a prefix of its own, which is made when it is not there, and without a display
# unless WINE_DISPLAY names one:
#   wine.sh PREFIX PROGRAM [ARGUMENT...]
set -eu
WINEPREFIX=$1
shift
unset DISPLAY WAYLAND_DISPLAY
unset TMPDIR  # Debian's Wine 10 crashes where it is set
export WINEPREFIX WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}" LC_ALL=C.UTF-8
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe=}"

wine=$(command -v wine64 || echo /usr/lib/wine/wine64)

# The number goes up when prefixes that were made before cannot be used any more.
stamp=$WINEPREFIX/made-2

make_prefix() {
    rm -rf "$WINEPREFIX"
    "$wine" wineboot --init || return
    wineserver --wait
    touch "$stamp"
}

mkdir -p "$(dirname "$WINEPREFIX")"
(
    flock 9
    if [ ! -e "$stamp" ]; then
        make_prefix >"$WINEPREFIX.log" 2>&1 </dev/null 9>&- || { cat "$WINEPREFIX.log" >&2; exit 1; }
    fi
) 9>"$WINEPREFIX.lock"
[[ -z ${WINE_DISPLAY:-} ]] || export DISPLAY=$WINE_DISPLAY
exec "$wine" "$@"
