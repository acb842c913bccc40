// What the built-in functions share: growing a result block, the bytes to
// reserve for a count of characters, reading a Number as an integer, and
// the table from exported names to code.
#include "eval/functions/builtins.h"

#include <limits.h>
#include <stdint.h>
#include <string.h>

#include "services/platform.h"
#include "services/services.h"

int ResizeResult(void **value, size_t newSize) {
    void *block = *value ? SvcRealloc(*value, newSize) : SvcAlloc(newSize);
    if (!block) return 0;
    *value = block;
    return 1;
}

// Held to the range of long, which is 32 bits on some targets.
long CharCapacity(long count) {
    if (!SvcIsDoubleByte()) return count;
    if (count > LONG_MAX / 2) return LONG_MAX;
    if (count < LONG_MIN / 2) return LONG_MIN;
    return count * 2;
}

int32_t IntegerArgument(const void *argument) {
    const Number *number = (const Number *)argument;
    return number->bytes[0] == 0 ? 0 : SvcNumToLong(number);
}

namespace {

struct Builtin {
    const char *name;
    ZEMFunctionCallback code;
};

#define ENTRY(fn) {#fn, fn}
constexpr Builtin kBuiltins[] = {
    ENTRY(FUNDateAddDay),       ENTRY(FUNDateYear),        ENTRY(FUNDateMonth),
    ENTRY(FUNDateDay),          ENTRY(FUNDateHour),        ENTRY(FUNDateMinute),
    ENTRY(FUNDateSecond),       ENTRY(FUNDateMonthBegin),  ENTRY(FUNDateMonthEnd),
    ENTRY(FUNDateToStr),        ENTRY(FUNDateConstruct),   ENTRY(FUNStrMid),
    ENTRY(FUNStrRight),         ENTRY(FUNStrLeft),         ENTRY(FUNStrLength),
    ENTRY(FUNStrRTrim),         ENTRY(FUNStrLTrim),        ENTRY(FUNStrRepeat),
    ENTRY(FUNStrPad),           ENTRY(FUNStrCompare),      ENTRY(FUNStrIFF),
    ENTRY(FUNStrCase),          ENTRY(FUNStrProper),       ENTRY(FUNStrReplace),
    ENTRY(FUNStrScan),          ENTRY(FUNStrSpaces),       ENTRY(FUNStrToDate),
    ENTRY(FUNStrToNumber),      ENTRY(FUNStrUpper),        ENTRY(FUNNumberAbsolute),
    ENTRY(FUNNumberMod),        ENTRY(FUNNumberToStr),     ENTRY(FUNNumberToCurrency),
    ENTRY(FUNNumberCountryFmt), ENTRY(FUNNumberRound),     ENTRY(FUNNumberTruncate),
    ENTRY(FUNStrLower),         ENTRY(FUNNumberIFF),       ENTRY(FUNDateIFF),
    ENTRY(FUNDateToStrPicture), ENTRY(FUNNumberToStrPicture), ENTRY(FUNStrTrim),
    ENTRY(FUNStrTranslate),     ENTRY(FUNPower),           ENTRY(FUNWeekDay),
    ENTRY(FUNDateQuarter),
};
#undef ENTRY

}  // namespace

ZEMFunctionCallback BuiltinByName(const char *name) {
    if (!name) return 0;
    for (const Builtin &b : kBuiltins)
        if (strcmp(b.name, name) == 0) return b.code;
    return 0;
}

extern "C" ZEMAPI int ZEMCALL FUNStrVarResult(void **value, int32_t size, const char *text) {
    if (!value || !*value) return 0;
    if (!text) text = "";
    size_t need = strlen(text) + 1;
    if (size < 0 || (size_t)size < need) {
        void *block = SvcRealloc(*value, need);
        if (!block) return 0;
        *value = block;
    }
    memcpy(*value, text, need);
    return 1;
}

bool HaveArguments(void **arguments, int n) {
    if (!arguments) return false;
    for (int i = 0; i < n; i++)
        if (!arguments[i]) return false;
    return true;
}

bool ReserveResult(int32_t size, void **value, int64_t need) {
    if (need < 1) need = 1;
    if ((uint64_t)need > (uint64_t)SIZE_MAX) return false;
    if (*value && size >= 0 && (int64_t)size >= need) return true;
    return ResizeResult(value, (size_t)need) != 0;
}

int GiveBytes(int32_t size, void **value, const char *text, size_t n) {
    if (!ReserveResult(size, value, (int64_t)n + 1)) return 0;
    char *out = (char *)*value;
    memcpy(out, text, n);
    out[n] = 0;
    return 1;
}

int GiveText(int32_t size, void **value, const char *text) {
    return GiveBytes(size, value, text, strlen(text));
}

Number *NumberResult(void **value, void **arguments, int n) {
    return HaveArguments(arguments, n) ? (Number *)*value : 0;
}
