// The Number and DateTime services: decimal arithmetic, the calendar and the
// picture-driven text conversions. The public operations are declared in
// zemi40_values.h; this header adds what the library itself needs.
#ifndef ZEM_VALUES_H
#define ZEM_VALUES_H

#include "zemi40.h"

// ---- Numbers in decomposed form, for the conversions.
// The value is (negative ? -1 : 1) * digits * 10^exponent, where digits is a
// run of count decimal digits ('0'..'9', most significant first, no leading
// zero). count 0 is zero.
enum { NUM_PRECISION = 40 };

typedef struct NumDigits {
    int negative;
    int exponent;
    int count;
    char digits[NUM_PRECISION + 1];
} NumDigits;

// 0 for the null value, else 1 and the digits.
int NumDecode(const Number *value, NumDigits *out);
// Builds a value, rounding half-even to NUM_PRECISION digits (count may be
// larger when the caller has more digits). Overflow gives the null value.
void NumEncodeDigits(Number *value, int negative, const char *digits, int count, int exponent);

// ---- Regional settings and the locale block of the picture conversions.
const ZEMRegional *SvcRegional(void);  // the settings in force

typedef struct ConvLocale {
    unsigned char bytes[64];
} ConvLocale;

void SvcConvLoadLocale(ConvLocale *block);

#endif
