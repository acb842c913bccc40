// The built-in functions on texts. Each one that writes a text works out the
// bytes it needs first, terminator included, grows the result block once if
// the size it was given is smaller, and only then reads *value and writes.
// A null entry in the argument vector (an argument that failed) fails the
// call; a null Number used as a count reads as 0.
#include <string.h>

#include "eval/convert.h"
#include "eval/functions/builtins.h"
#include "services/platform.h"
#include "services/services.h"

namespace {

const char *textArg(void **arguments, int i) { return (const char *)arguments[i]; }
const Number *numberArg(void **arguments, int i) { return (const Number *)arguments[i]; }





int giveNumber(void **value, int32_t n) {
    if (!*value) return 0;
    SvcNumFromLong((Number *)*value, n);
    return 1;
}

int64_t lesser(int64_t a, int64_t b) { return a < b ? a : b; }

// The need of StrLeft, StrRight and StrMid: no more than the text has.
int64_t cutNeed(const char *s, int32_t count) {
    return lesser((int64_t)strlen(s), CharCapacity(count)) + 1;
}

// The sign rule: the test's candidate for negative, zero (or null), positive.
int chooseBySign(const Number *test) {
    if (test->bytes[0] == 0) return 2;
    Number zero;
    SvcNumFromInt(&zero, 0);
    int c = SvcNumCompare(test, &zero);
    return c < 0 ? 1 : c == 0 ? 2 : 3;
}

// Entry i of a comma-separated list, counted from 0: its first byte and
// length, or false when the list has no such entry.
bool listEntry(const char *list, int32_t i, const char **start, size_t *length) {
    const char *p = list;
    for (int32_t k = 0; k < i; k++) {
        const char *comma = SvcStrChr(p, ',');
        if (!comma) return false;
        p = CharNextA(comma);
        if (!*p) return false;
    }
    const char *comma = SvcStrChr(p, ',');
    *start = p;
    *length = comma ? (size_t)(comma - p) : strlen(p);
    return true;
}

int giveEntry(int32_t size, void **value, const char *list, int32_t i) {
    const char *start = "";
    size_t length = 0;
    if (i < 0 || !listEntry(list, i, &start, &length)) length = 0;
    return GiveBytes(size, value, start, length);
}

// The index of the first entry of `list` equal to `s`, or -1. Entries are
// cut out of a private copy of the list.
int32_t listIndex(const char *s, const char *list, bool *copied) {
    size_t n = strlen(list) + 1;
    char *copy = (char *)SvcAlloc(n);
    *copied = copy != 0;
    if (!copy) return -1;
    memcpy(copy, list, n);
    int32_t index = -1;
    char *p = copy;
    for (int32_t k = 0; index < 0; k++) {
        char *comma = (char *)SvcStrChr(p, ',');
        if (comma) *comma = 0;
        if (lstrcmpA(p, s) == 0) index = k;
        if (!comma) break;
        p = comma + 1;
    }
    SvcFree(copy);
    return index;
}

// Copies `s` and changes the copy in place.
int caseChanged(int32_t size, void **value, void **arguments, void (*change)(char *)) {
    if (!HaveArguments(arguments, 1) || !GiveText(size, value, textArg(arguments, 0))) return 0;
    change((char *)*value);
    return 1;
}

// Texts made by a service that writes a destination from a source no longer
// than the source.
int sameLength(int32_t size, void **value, void **arguments, void (*make)(char *, const char *)) {
    if (!HaveArguments(arguments, 1)) return 0;
    const char *s = textArg(arguments, 0);
    if (!ReserveResult(size, value, (int64_t)strlen(s) + 1)) return 0;
    make((char *)*value, s);
    return 1;
}

}  // namespace

extern "C" {


BUILTIN(FUNStrLeft) {
    if (!HaveArguments(arguments, 2)) return 0;
    const char *s = textArg(arguments, 0);
    int32_t n = IntegerArgument(arguments[1]);
    if (!ReserveResult(size, value, cutNeed(s, n))) return 0;
    SvcStrLeft((char *)*value, s, n);
    return 1;
}

BUILTIN(FUNStrRight) {
    if (!HaveArguments(arguments, 2)) return 0;
    const char *s = textArg(arguments, 0);
    int32_t n = IntegerArgument(arguments[1]);
    if (!ReserveResult(size, value, cutNeed(s, n))) return 0;
    SvcStrRight((char *)*value, s, n);
    return 1;
}

BUILTIN(FUNStrMid) {
    if (!HaveArguments(arguments, 3)) return 0;
    const char *s = textArg(arguments, 0);
    int64_t start = lesser(IntegerArgument(arguments[1]), (int64_t)strlen(s));
    int32_t n = IntegerArgument(arguments[2]);
    if (!ReserveResult(size, value, cutNeed(s, n))) return 0;
    SvcStrMid((char *)*value, s, (long)start, n);
    return 1;
}

BUILTIN(FUNStrLength) {
    if (!HaveArguments(arguments, 1)) return 0;
    return giveNumber(value, (int32_t)SvcCharLen(textArg(arguments, 0)));
}

BUILTIN(FUNStrTrim) { return sameLength(size, value, arguments, SvcStrTrim); }
BUILTIN(FUNStrRTrim) { return sameLength(size, value, arguments, SvcStrRTrim); }
BUILTIN(FUNStrProper) { return sameLength(size, value, arguments, SvcStrProper); }

BUILTIN(FUNStrLTrim) {
    if (!HaveArguments(arguments, 1)) return 0;
    return GiveText(size, value, SvcStrLTrim(textArg(arguments, 0)));
}

BUILTIN(FUNStrUpper) { return caseChanged(size, value, arguments, SvcStrUpper); }
BUILTIN(FUNStrLower) { return caseChanged(size, value, arguments, SvcStrLower); }

BUILTIN(FUNStrRepeat) {
    if (!HaveArguments(arguments, 2)) return 0;
    const char *s = textArg(arguments, 0);
    int64_t n = IntegerArgument(arguments[1]);
    if (n < 1) n = 0;
    size_t length = strlen(s);
    // A need that does not fit in 63 bits cannot be met either.
    if (length && n > (INT64_MAX - 1) / (int64_t)length) return 0;
    if (!ReserveResult(size, value, (int64_t)length * n + 1)) return 0;
    char *out = (char *)*value;
    out[0] = 0;
    if (length)
        for (int64_t k = 0; k < n; k++) memcpy(out + k * length, s, length + 1);
    return 1;
}

BUILTIN(FUNStrPad) {
    if (!HaveArguments(arguments, 2)) return 0;
    const char *s = textArg(arguments, 0);
    int32_t n = IntegerArgument(arguments[1]);
    if (n < 1) n = 0;
    if (!ReserveResult(size, value, (int64_t)CharCapacity(n) + 1)) return 0;
    char *out = (char *)*value;
    SvcCopyChars(out, s, n);
    size_t end = strlen(out);
    for (size_t chars = SvcCharLen(out); chars < (size_t)n; chars++) out[end++] = ' ';
    out[end] = 0;
    return 1;
}

BUILTIN(FUNStrSpaces) {
    if (!HaveArguments(arguments, 1)) return 0;
    int32_t n = IntegerArgument(arguments[0]);
    if (n < 0) n = 0;
    if (!ReserveResult(size, value, (int64_t)n + 1)) return 0;
    char *out = (char *)*value;
    memset(out, ' ', (size_t)n);
    out[n] = 0;
    return 1;
}

BUILTIN(FUNStrCompare) {
    if (!HaveArguments(arguments, 2)) return 0;
    return giveNumber(value, lstrcmpA(textArg(arguments, 0), textArg(arguments, 1)));
}

BUILTIN(FUNStrScan) {
    if (!HaveArguments(arguments, 2)) return 0;
    return giveNumber(value, (int32_t)SvcStrScan(textArg(arguments, 0), textArg(arguments, 1)));
}

// Only the test and the chosen text are needed; a candidate that failed
// but was not chosen does not matter.
BUILTIN(FUNStrIFF) {
    if (!arguments || !arguments[0]) return 0;
    const char *chosen = textArg(arguments, chooseBySign(numberArg(arguments, 0)));
    if (!chosen) return 0;
    return GiveText(size, value, chosen);
}

BUILTIN(FUNStrCase) {
    if (!HaveArguments(arguments, 2)) return 0;
    int32_t i = IntegerArgument(arguments[0]);
    if (i < 0) {  // no size check: the block has room for a terminator
        if (!*value && !ResizeResult(value, 1)) return 0;
        *(char *)*value = 0;
        return 1;
    }
    return giveEntry(size, value, textArg(arguments, 1), i);
}

// Without memory for the copy of the first list the answer is the empty
// text, not a failure.
BUILTIN(FUNStrTranslate) {
    if (!HaveArguments(arguments, 3)) return 0;
    bool copied;
    int32_t i = listIndex(textArg(arguments, 0), textArg(arguments, 1), &copied);
    if (!copied || i < 0) return GiveBytes(size, value, "", 0);
    return giveEntry(size, value, textArg(arguments, 2), i);
}

BUILTIN(FUNStrReplace) {
    if (!HaveArguments(arguments, 4)) return 0;
    const char *s = textArg(arguments, 0);
    const char *r = textArg(arguments, 3);
    int64_t start = IntegerArgument(arguments[1]);
    int64_t n = IntegerArgument(arguments[2]);
    if (start < 0) start = 0;
    if (n < 0) n = 0;
    start = lesser(start, (int64_t)strlen(s));
    n = lesser(n, (int64_t)strlen(r));  // the replacement's length, not the text's
    if (!ReserveResult(size, value, (int64_t)strlen(s) + (int64_t)strlen(r) + 1)) return 0;
    SvcStrReplace((char *)*value, s, r, (long)start, (long)n);
    return 1;
}

BUILTIN(FUNStrToDate) {
    if (!HaveArguments(arguments, 1) || !*value) return 0;
    DateTime *result = (DateTime *)*value;
    if (!TextToDate(result, textArg(arguments, 0))) result->bytes[0] = 0;
    return 1;
}

// A text that is no number gives zero.
BUILTIN(FUNStrToNumber) {
    if (!HaveArguments(arguments, 1) || !*value) return 0;
    TextToNumber((Number *)*value, textArg(arguments, 0));
    return 1;
}

#undef BUILTIN

}  // extern "C"
