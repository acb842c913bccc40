# Sourced by the scripts that run Windows programs: wine_prefix DIR exports
# a wine prefix of its own in DIR, made once. The dialogs' font and the
# system's Japanese UI font (which titles and message boxes fall back on)
# are a Debian CJK font, and windows are not handed to the X window manager,
# so they come and go at once.
wine_prefix() {
    export WINEPREFIX="$1" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
    [ -f "$WINEPREFIX/zem-ready" ] && return 0
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w
    LC_ALL=ja_JP.UTF-8 wine reg add 'HKCU\Software\Wine\Fonts\Replacements' \
        /v 'ＭＳ Ｐゴシック' /t REG_SZ /d IPAPGothic /f >/dev/null
    wine reg add 'HKCU\Software\Wine\Fonts\Replacements' /v 'MS UI Gothic' /t REG_SZ \
        /d IPAPGothic /f >/dev/null
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f >/dev/null
    wineserver -w
    touch "$WINEPREFIX/zem-ready"
}
