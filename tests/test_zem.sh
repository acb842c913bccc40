#!/bin/sh
# Runs the zem tool: its example, formulas, blocks saved, told, loaded and
# repaired, malformed blocks, command-line mistakes. Arguments: the tool, then
# the emulator that runs it, if any.
zem=$1
shift
EMU="$*"
fails=0
out=$(mktemp) blk=$(mktemp) bad=$(mktemp) fix=$(mktemp)
trap 'rm -f "$out" "$blk" "$bad" "$fix"' EXIT
input=/dev/null  # standard input of the next zem_run
fail() { echo "FAIL: $*"; cat "$out"; fails=$((fails + 1)); }
zem_run() {  # expected-exit args...
    want=$1
    shift
    $EMU "$zem" "$@" >"$out" 2>&1 <"$input"
    got=$? input=/dev/null
    tr -d '\r' <"$out" >"$out.lf" && mv "$out.lf" "$out"  # a Windows program's CR LF
    [ "$got" = "$want" ] || fail "zem $* gave exit $got, not $want"
}
has() {  # exact lines of the output
    for line; do grep -qxF -- "$line" "$out" || fail "no line [$line] in"; done
}
describe() {  # expected-exit lines...: the block in $bad told
    zem_run "$1" --describe "$bad"
    shift
    has "$@"
}

# The built-in example: values of every kind and one report.
zem_run 0
has "  Total() = 37.5" "  Price / 7 = 1.785714285714285714285714285714285714286" \
    "  Due + 1 MONTH = 2/28/2001 12:00:00 AM" "  Due - 1/1/2001 = 30" \
    "  'Dear ' || Name || ' san, please pay ' || NumberToStr(Total(), 2) = Dear 山田 san, please pay 37.50" \
    "  Price * Quantity" "          ^^^^^^^^" "  ERR_VAR: 認識できない入力ﾃﾞｰﾀです。 (code 102)"
# Items of each type, a named formula, names and texts beyond ASCII.
zem_run 0 -d 'Twice=金額 * 2' 金額=12.5 Due:date=1/31/2001 Code:string=42 \
    'Twice() + 1' 'Due + 1 YEAR' "Code || 'ｱｲ'" 'StrLength(Code)'
has "  Twice() + 1 = 26" "  Due + 1 YEAR = 1/31/2002 12:00:00 AM" "  Code || 'ｱｲ' = 42ｱｲ" "  StrLength(Code) = 2"
# A failing formula: the caret counts a double-byte character as two.
zem_run 1 'X=1' "'日本' || X"
has "  '日本' || X" "            ^" "  ERR_TYPESTR: ﾘﾃﾗﾙはString型ﾃﾞｰﾀに使用されます。 (code 115)"
zem_run 1 -d 'A=1 +' 'A()'
has "  in the named formula A"

# A block saved and told: 21 bytes of version and empty names, 4 + 3 * 86
# of items, 4 + 11 + 6 of the one named formula. Loaded again, its items take
# values under the block's types.
zem_run 0 -d 'Total=金額 * Qty' 金額=12.5 Qty=3 Note:string=hi --save "$blk" 'Total()'
has "  Total() = 37.5"
zem_run 0 --describe "$blk"
has "version 3, 304 bytes" "  +  on Number    (none)" "  || on Keyword   (none)" "input items: 3" \
    "  金額: number, subclass 0, flags 0x0000, function (none)" \
    "  Note: string, subclass 0, flags 0x0000, function (none)" "expressions: 1" "  0 Total = 金額 * Qty"
zem_run 0 --load "$blk" 金額=2 Qty=4 Note=42 'Total() * 2' "Note || 'y'"
has "  Total() * 2 = 16" "  Note || 'y' = 42y"
zem_run 2 --load "$blk" Note:number=1 'Note'

# A formula of the block that names an item it does not hold: the repair
# shows it with its error, a correction that fails too is offered again, the
# next one loads. An empty line or the end of input gives the load up.
{ printf '\003'; head -c 20 /dev/zero; printf '\374\000\001\000Price * 2\000Twice\000'; } >"$bad"
printf '2 *\n3 * 2\n' >"$fix"
input=$fix
zem_run 0 --load "$bad" 'Twice() + 1'
has "zem: the formula Twice of the block does not parse:" "  Price * 2" "  ^^^^^" \
    "  ERR_VAR: 認識できない入力ﾃﾞｰﾀです。 (code 102)" "  2 *" "  Twice() + 1 = 7"
for answer in '\n' ''; do
    printf "$answer" >"$fix"
    input=$fix
    zem_run 1 --load "$bad" 'Twice()'
    has "zem: $bad: not loaded: the repair of Twice was given up"
done
zem_run 0 --save "$blk"
zem_run 0 --describe="$blk"
has "input items: none" "expressions: none"

# Blocks made by hand: an operator name in the * group, and an item with a
# subclass, flags and a function name.
{ printf '\003\000\000\000\000\000\000\000\000Mul\000'; head -c 11 /dev/zero; } >"$bad"
describe 0 "  *  on Number    Mul" "  *  on DateTime  (none)"
{ printf '\003'; head -c 20 /dev/zero; printf '\372\000\001\000\001\000\002\000'
  head -c 8 /dev/zero; printf 'Code'; head -c 61 /dev/zero
  printf '\000\000\007\000\000\000\041\000GetCode\000'; } >"$bad"
describe 0 "  Code: string, subclass 7, flags 0x0021, function GetCode"

# Malformed blocks: every cut of a saved block of 123 bytes (whole behind the
# names at 21 and behind the item section at 111), a stray byte, a foreign
# first byte, an empty file.
zem_run 0 -d 'T=X * 2' X=1 --save "$blk"
size=$(wc -c <"$blk")
[ "$size" = 123 ] || fail "the saved block has $size bytes, not 123"
for n in $(seq 0 $((size - 1))); do
    head -c "$n" "$blk" >"$bad"
    case $n in 21 | 111) describe 0 ;; *) describe 1 ;; esac
done
head -c 60 "$blk" >"$bad"
describe 1 "zem: $bad: malformed block: truncated: input item 0 runs past the end (at byte 25)"
{ cat "$blk"; printf 'x'; } >"$bad"
describe 1 "zem: $bad: malformed block: a stray byte behind the last section (at byte $size)"
printf '\007' >"$bad"
describe 1 "zem: $bad: malformed block: not a block: the first byte is 7, not a version from 0 to 3 (at byte 0)"
: >"$bad"
describe 1

# Mistakes on the command line.
zem_run 0 --help
has "Usage:"
for args in 'Price:number=abc Price' 'Price:money=1 Price' 'Qty=3' '--what 1' "--describe $bad.none" \
    "--describe $bad X=1" "--load $bad.none Total()"; do
    zem_run 2 $args
done
[ "$fails" = 0 ] && echo "zem: all checks passed"
[ "$fails" = 0 ]
