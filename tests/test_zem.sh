#!/bin/sh
# Runs the zem tool: its built-in example, formulas given as arguments, a
# formula that does not parse, and mistakes on the command line. Arguments:
# the tool, then the emulator that runs it, if any.
zem=$1
shift
EMU="$*"
fails=0
out=$(mktemp)
trap 'rm -f "$out"' EXIT

# Runs zem under the emulator, if any, and checks its exit status.
zem_run() {  # expected-exit args...
    want=$1
    shift
    $EMU "$zem" "$@" >"$out" 2>&1 </dev/null
    got=$?
    if [ "$got" != "$want" ]; then
        echo "FAIL: zem $* gave exit $got, not $want"
        cat "$out"
        fails=$((fails + 1))
    fi
}
has() {  # an exact line of the output
    if ! grep -qxF -- "$1" "$out"; then
        echo "FAIL: no line [$1] in"
        cat "$out"
        fails=$((fails + 1))
    fi
}

# The built-in example: values of every kind and one report, and exit 0.
zem_run 0
has "  Total() = 37.5"
has "  Price / 7 = 1.785714285714285714285714285714285714286"
has "  Due + 1 MONTH = 2/28/2001 12:00:00 AM"
has "  Due - 1/1/2001 = 30"
has "  'Dear ' || Name || ' san, please pay ' || NumberToStr(Total(), 2) = Dear 山田 san, please pay 37.50"
has "  Price * Quantity"
has "          ^^^^^^^^"
has "  ERR_VAR: 認識できない入力ﾃﾞｰﾀです。 (code 102)"

# Items of each type, a named formula, names and texts beyond ASCII.
zem_run 0 -d 'Twice=金額 * 2' 金額=12.5 Due:date=1/31/2001 Code:string=42 \
    'Twice() + 1' 'Due + 1 YEAR' "Code || 'ｱｲ'" 'StrLength(Code)'
has "  Twice() + 1 = 26"
has "  Due + 1 YEAR = 1/31/2002 12:00:00 AM"
has "  Code || 'ｱｲ' = 42ｱｲ"
has "  StrLength(Code) = 2"

# A failing formula: the caret counts a double-byte character as two.
zem_run 1 'X=1' "'日本' || X"
has "  '日本' || X"
has "            ^"
has "  ERR_TYPESTR: ﾘﾃﾗﾙはString型ﾃﾞｰﾀに使用されます。 (code 115)"
zem_run 1 -d 'A=1 +' 'A()'
has "  in the named formula A"

# Mistakes on the command line.
zem_run 0 --help
has "Usage:"
zem_run 2 Price:number=abc 'Price'
zem_run 2 'Price:money=1' 'Price'
zem_run 2 Qty=3
zem_run 2 --what 1

[ "$fails" = 0 ] && echo "zem: all checks passed"
[ "$fails" = 0 ]
