// The built-in functions on Numbers, and the choice by sign that the Number
// and DateTime forms share. A null operand gives a null result unless a
// function counts it as zero; a null entry in the argument vector (an
// argument that failed) fails the call.
#include <math.h>
#include <string.h>

#include "eval/convert.h"
#include "eval/functions/builtins.h"
#include "services/services.h"

namespace {

// Work buffers of the conversions: what the services write at most.
enum { TEXT_BUFFER = 100, PLAIN_NUMBER_BUFFER = 328 };

const Number *numberArg(void **arguments, int i) { return (const Number *)arguments[i]; }
bool isNull(const Number *value) { return value->bytes[0] == 0; }



// A conversion into a work buffer; a failed one gives the empty text.
int giveConverted(int32_t size, void **value, char *buffer, int converted) {
    if (!converted) buffer[0] = 0;
    return GiveText(size, value, buffer);
}

}  // namespace

extern "C" {


BUILTIN(FUNNumberAbsolute) {
    Number *result = NumberResult(value, arguments, 1);
    if (!result) return 0;
    const Number *x = numberArg(arguments, 0);
    if (isNull(x)) return 1;
    *result = *x;
    Number zero;
    SvcNumFromInt(&zero, 0);
    if (SvcNumCompare(x, &zero) < 0) SvcNumNegate(result);
    return 1;
}

// The remainder of truncating division of the integer parts, with the
// sign of the dividend. A divisor whose integer part is 0 gives null.
BUILTIN(FUNNumberMod) {
    Number *result = NumberResult(value, arguments, 2);
    if (!result) return 0;
    const Number *a = numberArg(arguments, 0), *b = numberArg(arguments, 1);
    if (isNull(a) || isNull(b)) return 1;
    int32_t dividend = SvcNumToLong(a), divisor = SvcNumToLong(b);
    if (divisor == 0) return 1;
    // -1 divides everything; the division itself would overflow on INT32_MIN.
    SvcNumFromLong(result, divisor == -1 ? 0 : dividend % divisor);
    return 1;
}

BUILTIN(FUNNumberRound) {
    Number *result = NumberResult(value, arguments, 2);
    if (!result) return 0;
    const Number *x = numberArg(arguments, 0);
    if (!isNull(x)) SvcNumRound(result, x, IntegerArgument(arguments[1]));
    return 1;
}

BUILTIN(FUNNumberTruncate) {
    Number *result = NumberResult(value, arguments, 2);
    if (!result) return 0;
    const Number *x = numberArg(arguments, 0);
    if (isNull(x)) return 1;
    *result = *x;
    SvcNumTruncate(result, 300, IntegerArgument(arguments[1]));
    return 1;
}

// The one function that works in binary floating point. A result that is
// not a finite double (a negative base under a fractional power, an
// overflow) gives null.
BUILTIN(FUNPower) {
    Number *result = NumberResult(value, arguments, 2);
    if (!result) return 0;
    const Number *x = numberArg(arguments, 0), *y = numberArg(arguments, 1);
    if (isNull(x)) return 1;
    if (isNull(y)) {
        *result = *x;
        return 1;
    }
    double base, exponent;
    SvcNumToDouble(x, &base);
    SvcNumToDouble(y, &exponent);
    SvcNumFromDouble(result, pow(base, exponent));
    return 1;
}

// The test chooses the candidate for negative, zero or null, positive; the
// chosen value is copied as it is, null included. The candidates that are
// not chosen are not needed.
BUILTIN(FUNNumberIFF) {
    if (!arguments || !arguments[0] || !*value) return 0;
    const Number *test = numberArg(arguments, 0);
    int chosen = 2;
    if (!isNull(test)) {
        Number zero;
        SvcNumFromInt(&zero, 0);
        int c = SvcNumCompare(test, &zero);
        chosen = c < 0 ? 1 : c == 0 ? 2 : 3;
    }
    if (!arguments[chosen]) return 0;
    memcpy(*value, arguments[chosen], ZEM_VALUE_SIZE);
    return 1;
}

BUILTIN(FUNNumberToStr) {
    if (!HaveArguments(arguments, 2)) return 0;
    char buffer[PLAIN_NUMBER_BUFFER];
    int ok = NumberToText(numberArg(arguments, 0), IntegerArgument(arguments[1]), buffer);
    return giveConverted(size, value, buffer, ok);
}

BUILTIN(FUNNumberToStrPicture) {
    if (!HaveArguments(arguments, 2)) return 0;
    char buffer[TEXT_BUFFER];
    int ok = NumberToTextPicture(numberArg(arguments, 0), (const char *)arguments[1], buffer);
    return giveConverted(size, value, buffer, ok);
}

BUILTIN(FUNNumberToCurrency) {
    if (!HaveArguments(arguments, 1)) return 0;
    char buffer[TEXT_BUFFER];
    int ok = NumberToCurrencyText(numberArg(arguments, 0), buffer);
    return giveConverted(size, value, buffer, ok);
}

BUILTIN(FUNNumberCountryFmt) {
    if (!HaveArguments(arguments, 1)) return 0;
    char buffer[TEXT_BUFFER];
    return giveConverted(size, value, buffer, NumberToRegional(numberArg(arguments, 0), buffer));
}

#undef BUILTIN

// DateIFF is the same routine under its own exported name.
#if defined(__GNUC__) && (!defined(_WIN32) || defined(_WIN64))
#define IFF_ROUTINE "FUNNumberIFF"
#elif defined(__GNUC__)
#define IFF_ROUTINE "FUNNumberIFF@24"  // 32-bit Windows: a __stdcall name carries its argument bytes
#endif
#ifdef IFF_ROUTINE
ZEMAPI int ZEMCALL FUNDateIFF(HEC, HEXP, int32_t, void **, const char *, void **)
    __attribute__((alias(IFF_ROUTINE)));
#else
ZEMAPI int ZEMCALL FUNDateIFF(HEC ec, HEXP current, int32_t size, void **value,
                              const char *name, void **arguments) {
    return FUNNumberIFF(ec, current, size, value, name, arguments);
}
#endif

}  // extern "C"
