/*
 * zemi40 — the value services: how a host builds and reads the 25-byte
 * Number and DateTime values and converts them to and from text.
 * Included by zemi40.h.
 */
#ifndef ZEMI40_VALUES_H
#define ZEMI40_VALUES_H

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Number arithmetic ---------------------------------------------------
 * A Number is exact decimal: 40 significant digits, magnitudes from 1E-300
 * up to below 1E+301. Results beyond 40 digits are rounded half-even; a
 * result that reaches 1E+301 after rounding is the null value, one below
 * 1E-300 is zero. There is no negative zero, and equal numbers have equal
 * bytes. result may be the same block as an operand. An operation given a
 * null operand gives the null value unless a call says otherwise. */
ZEMAPI int ZEMCALL SvcNumAdd(Number *result, const Number *left, const Number *right);
ZEMAPI int ZEMCALL SvcNumSub(Number *result, const Number *left, const Number *right);
ZEMAPI int ZEMCALL SvcNumMul(Number *result, const Number *left, const Number *right);
/* Correctly rounded. A zero right gives the null value. */
ZEMAPI int ZEMCALL SvcNumDiv(Number *result, const Number *left, const Number *right);
/* Null stays null, zero stays zero. */
ZEMAPI void ZEMCALL SvcNumNegate(Number *value);
/* Negative, 0 or positive. A null counts below every value; two nulls are
 * equal. */
ZEMAPI int ZEMCALL SvcNumCompare(const Number *a, const Number *b);
/* Cuts toward zero to places digits behind the point (negative places:
 * before it). width plays no part. */
ZEMAPI void ZEMCALL SvcNumTruncate(Number *value, int width, int places);
/* Non-zero for zero; the null value is not zero. */
ZEMAPI int ZEMCALL SvcNumIsZero(const Number *value);
/* The nearest double; null gives 0. */
ZEMAPI void ZEMCALL SvcNumToDouble(const Number *value, double *out);
/* The integer part, cut toward zero and held to the 32-bit range; null
 * gives 0. */
ZEMAPI int32_t ZEMCALL SvcNumToLong(const Number *value);
/* The shortest decimal that reads back as the same double. NaN and the
 * infinities give the null value. */
ZEMAPI void ZEMCALL SvcNumFromDouble(Number *result, double value);
ZEMAPI void ZEMCALL SvcNumFromLong(Number *result, int32_t value);
ZEMAPI void ZEMCALL SvcNumFromInt(Number *result, int value);
/* Reads a number literal, with an optional leading - or +: digits, digits
 * "." digits*, digits* "." digits, or one digit "." digits, E or e, a sign
 * and digits. Anything else, blanks included, gives zero. */
ZEMAPI void ZEMCALL SvcNumFromText(Number *result, const char *text);
/* Makes zero of a null value; any other value is left as it is. */
ZEMAPI void ZEMCALL SvcNumNullToZero(Number *value);
/* Rounded to places digits behind the point (negative places: before it),
 * half away from zero. */
ZEMAPI void ZEMCALL SvcNumRound(Number *result, const Number *value, int places);

/* ---- Dates ----------------------------------------------------------------
 * The running day number is the Julian Day Number: 1 January 2000 is
 * 2451545, and (day number + 2) mod 7 is 0 for Saturday, 1 for Sunday. */
ZEMAPI int ZEMCALL SvcDatePack(unsigned char *content, const DateFields *fields);
ZEMAPI void ZEMCALL SvcDateUnpack(const unsigned char *content, int count, DateFields *fields);
ZEMAPI int32_t ZEMCALL SvcDayNumber(const DateFields *fields);
ZEMAPI void ZEMCALL SvcDayFromNumber(int32_t day, DateFields *fields);

/* ---- Text conversions -----------------------------------------------------
 * A conversion is one ConvRequest: SvcConvInit fills it, the caller sets
 * what it needs, the operation reads or writes it. On the 32-bit build the
 * record is 180 bytes at the offsets given; on 64-bit the pointers widen. */
#pragma pack(push, 1)
typedef struct ConvRequest {
    int32_t kind;              /* 1 date, 2 time, 3 both, 4 number, 5 currency, 6 number by picture */
    const char *input;         /* text to read */
    char *output;              /* buffer to write */
    const char *picture;       /* date picture */
    const char *picture2;      /* the same again */
    int32_t localeWord1;
    const char *localeText3;
    int32_t localeWord2;
    const char *localeText1;
    const char *localeText2;
    int32_t useDefaults;       /* 1: the default formats; 0: picture and locale fields */
    DateFields date;           /* result of a parse, input of a format */
    int32_t dateOption;
    const char *numberPicture; /* number picture */
    char groupChar;            /* digit grouping, 0 for none */
    char pointChar;            /* decimal point */
    char reserved1[8];
    int32_t fixedDecimals;     /* 1: decimals holds */
    int32_t decimals;          /* digits behind the point */
    char reserved2[12];
    int32_t localeWord0;
    char reserved3[8];
    int32_t options;           /* 0x01 time retry / picture, 0x04 literal, 0x20 number */
    Number number;             /* input of a format, result of a parse */
    char reserved4[29];
} ConvRequest;
#pragma pack(pop)

ZEMAPI void ZEMCALL SvcConvInit(ConvRequest *request);
/* Reads input under kind 1, 2 or 3 into date; non-zero on success. */
ZEMAPI int ZEMCALL SvcDateParse(ConvRequest *request);
/* Writes date to output under kind; non-zero on success. */
ZEMAPI int ZEMCALL SvcDateFormat(ConvRequest *request, int flags);
ZEMAPI int ZEMCALL SvcDatePictureCheck(const char *picture);
/* Reads input as a number into number; non-zero on success. */
ZEMAPI int ZEMCALL SvcNumParse(ConvRequest *request);
/* Writes number to output under kind 4, 5 or 6; non-zero on success. */
ZEMAPI int ZEMCALL SvcNumFormat(ConvRequest *request, int flags);
ZEMAPI int ZEMCALL SvcNumPictureCheck(ConvRequest *request);
/* The greater of previous and the most bytes the date picture can write. */
ZEMAPI int ZEMCALL SvcPictureWidth(ConvRequest *request, int previous);

#ifdef __cplusplus
}
#endif

#endif
