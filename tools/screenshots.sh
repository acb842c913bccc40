#!/bin/sh
# Takes PNG screenshots of the real dialogs under wine in a virtual X server:
# the builder in each mode, the error dialog, the values window and the
# repair mode with its load error, as the
# dialog test (tests/windows/dialog_host.c --shots) stops at them; and zem
# --build over its example. Needs a 64-bit Windows build with the tests.
# Usage: tools/screenshots.sh [BUILD-DIR] (default build/win64); the PNGs go
# to docs/screenshots/.
set -e
if [ -z "$ZEM_XVFB" ]; then
    ZEM_XVFB=1 exec xvfb-run -a -s "-screen 0 1024x768x24" sh "$0" "$@"
fi
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$(cd "${1:-build/win64}" && pwd)
out="$root/docs/screenshots"
. "$root/tools/wine-prefix.sh"
wine_prefix "$dir/wineprefix"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$out"

# The screen less its black background: the windows on it.
take() {  # name
    xwd -root -silent | convert xwd:- -trim +repage "$tmp/$1.png"
}

# Reads "shot NAME" lines, takes each name once and lets the host go on.
shoot() {
    cr=$(printf '\r')
    while read -r word name; do
        name=${name%"$cr"}
        [ "$word" = shot ] || continue
        [ -f "$tmp/$name.png" ] || take "$name"
        touch "$tmp/$name.done"
    done
}

cd "$dir/tests"
LC_ALL=ja_JP.UTF-8 wine dialog_host.exe --shots "$(echo "Z:$tmp" | tr / '\\')" | shoot

# zem --build: the builder over zem's example context, closed after the shot.
cd "$dir/tools"
LC_ALL=ja_JP.UTF-8 wine zem.exe --build >/dev/null 2>&1 &
sleep 4
take zem-build
kill $! 2>/dev/null || true
wineserver -k 2>/dev/null || true

for png in "$tmp"/*.png; do cp "$png" "$out/"; done
ls "$out"
