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
enum {
    NUM_PRECISION = 40,
    // The limbs of whole coefficients below.
    NUM_LIMB_DIGITS = 8,
    NUM_LIMBS = 14,
};

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

// ---- Numbers as whole coefficients, for the arithmetic.
// A whole number in limbs of eight decimal digits, limb[0] the lowest; n
// limbs in use, 0 for zero. The room covers the widest intermediate: an
// 88-digit aligned sum, or a dividend scaled for 41 quotient digits.
#define NUM_LIMB_BASE 100000000u

typedef struct NumWide {
    uint32_t limb[NUM_LIMBS];
    int n;
} NumWide;

// (negative ? -1 : 1) * whole * 10^exponent.
typedef struct NumParts {
    int negative;
    int exponent;
    NumWide whole;
} NumParts;

// 0 for the null value, else 1 and the parts; zero has no limbs. The limbs
// follow the digit bytes, so the lowest may end in zeros.
int NumUnpack(const Number *value, NumParts *out);
// Builds a value from whole * 10^exponent as NumEncodeDigits does. whole
// is used up.
void NumPack(Number *value, int negative, NumWide *whole, long long exponent);
// The same with sticky saying that something not zero is left below whole.
void NumPackRound(Number *value, int negative, NumWide *whole, long long exponent, bool sticky);
// Builds a value from n words of BCD digits, the first the highest, whose
// top nibble stands at 10^power, rounding as NumPack.
void NumPackDigits(Number *value, int negative, const uint64_t *words, int n, long long power, bool sticky);
// Multiplies by 10^k, k >= 0; the result must fit.
void NumShiftUp(NumWide *w, int k);
// Multiplies by factor (below the base); limb[n] is set even when the
// carry is 0, so one limb of room must be left.
void NumMulSmall(NumWide *w, uint32_t factor);
// The decimal digits of w, which is not zero.
int NumCountDigits(const NumWide *w);
// Drops limbs of value 0 from the top.
void NumTrim(NumWide *w);
// ---- Numbers of at most 16 digits as one binary word, the fast path of
// the arithmetic and what the evaluator keeps between operations, so that
// a result is packed only when somebody reads it.
// A computed value may keep trailing zero digits in its coefficient; they
// come off when it is packed.
typedef struct NumShort {
    uint64_t coefficient;  // 0 for zero
    int exponent;
    bool negative;
} NumShort;

// NumShortRead, which reads one, is in services/number_bytes.h.
// Packs a short result of NumShortCalc.
void NumShortWrite(Number *value, const NumShort *s);
// + - * / (op is the character) when the exact result, normalised, has at
// most 16 digits and is in range; false when the general path must do it,
// a zero divisor included.
bool NumShortCalc(NumShort *result, int op, const NumShort *a, const NumShort *b);
// The same on packed values; false leaves result alone.
bool NumShortOp(Number *result, int op, const Number *left, const Number *right);

// ---- Regional settings and the locale block of the picture conversions.
const ZEMRegional *SvcRegional(void);  // the settings in force

// The six locale fields sit at the offsets the conversions copy them from;
// the rest is the conversions' own. A picture conversion whose text fields
// point into the block that was loaded last takes the names and designators
// from the copy of the settings kept here, so the block stays as it was at
// its load however the settings change later. The fields are packed, the
// block itself aligned for the copy of the settings.
#pragma pack(push, 1)
typedef struct alignas(4) ConvLocale {
    int32_t localeWord0;        // 0: date order, as ZEMRegional.dateOrder
    unsigned char private1[29];
    int32_t localeWord1;        // 33: 1 for a 24-hour clock
    char localeText1[5];        // 37: date separator
    char localeText2[5];        // 42: time separator
    char localeText3[3];        // 47: decimal point (its first two bytes)
    int32_t localeWord2;        // 50: decimals of the currency format
    unsigned char private2[2];
    ZEMRegional regional;       // 56: the settings as they were at the load
} ConvLocale;
#pragma pack(pop)

// Fills the block from the settings in force. The caller holds the date lock.
void SvcConvLoadLocale(ConvLocale *block);

#endif
