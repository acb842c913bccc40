// The packed form of a Number, shared by the general arithmetic and the
// short path: where the fields sit, the range of the leading digit, and
// the word-wide conversions between digit bytes and binary.
#ifndef ZEM_NUMBER_BYTES_H
#define ZEM_NUMBER_BYTES_H

#include <string.h>

#include "services/values.h"

enum {
    NUM_SIGN_BYTE = 1,
    NUM_COUNT_BYTE = 2,
    NUM_EXPONENT_BYTE = 3,
    NUM_DIGIT_BYTE = 5,
    NUM_TOP_MAX = 300,
    NUM_TOP_MIN = -300,
};

inline void NumSetNull(Number *value) { memset(value, 0, sizeof *value); }

inline void NumSetZero(Number *value) {
    memset(value, 0, sizeof *value);
    value->bytes[0] = NUM_DIGIT_BYTE - 1;
}

// Fills the bytes ahead of the digits; last is the power of ten of the
// last digit.
inline void NumWriteHead(Number *value, int negative, int count, int last) {
    unsigned char *b = value->bytes;
    b[0] = (unsigned char)(NUM_DIGIT_BYTE - 1 + (count + 1) / 2);
    b[NUM_SIGN_BYTE] = negative ? 1 : 0;
    b[NUM_COUNT_BYTE] = (unsigned char)count;
    b[NUM_EXPONENT_BYTE] = (unsigned char)(last & 0xFF);
    b[NUM_EXPONENT_BYTE + 1] = (unsigned char)((last >> 8) & 0xFF);
}

// The digit count, held to the digits there is room for, and the power of
// ten of the last digit, as the head bytes give them.
inline int NumReadCount(const unsigned char *b) {
    return b[NUM_COUNT_BYTE] > NUM_PRECISION ? (int)NUM_PRECISION : b[NUM_COUNT_BYTE];
}
inline int NumReadExponent(const unsigned char *b) {
    return (int16_t)(b[NUM_EXPONENT_BYTE] | b[NUM_EXPONENT_BYTE + 1] << 8);
}

// Words read from or written to digit bytes, the first byte the highest.
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
inline uint64_t NumBigEndian64(uint64_t x) { return x; }
inline uint32_t NumBigEndian32(uint32_t x) { return x; }
#else
inline uint64_t NumBigEndian64(uint64_t x) { return __builtin_bswap64(x); }
inline uint32_t NumBigEndian32(uint32_t x) { return __builtin_bswap32(x); }
#endif

// The four BCD digits of each number below 10^4.
struct NumBcdTable {
    uint16_t bcd[10000];
    constexpr NumBcdTable() : bcd() {
        for (int i = 0; i < 10000; i++) bcd[i] = (uint16_t)(i / 1000 << 12 | i / 100 % 10 << 8 | i / 10 % 10 << 4 | i % 10);
    }
};
inline constexpr NumBcdTable NUM_BCD_TABLE;

// Eight digits (v below 10^8) as BCD, the lowest digit in the lowest
// nibble.
inline uint32_t NumBcdOf8(uint32_t v) {
    uint32_t high = v / 10000;
    return (uint32_t)NUM_BCD_TABLE.bcd[high] << 16 | NUM_BCD_TABLE.bcd[v - high * 10000];
}

// Sixteen digits (v below 10^16) as BCD.
inline uint64_t NumBcdOf16(uint64_t v) {
    if (v < 100000000u) return NumBcdOf8((uint32_t)v);
    uint32_t high = (uint32_t)(v / 100000000u);
    return (uint64_t)NumBcdOf8(high) << 32 | NumBcdOf8((uint32_t)(v - high * 100000000ull));
}

// Sixteen BCD nibbles (none above 9) as two limbs of eight digits, the
// higher in the top half: nibbles to bytes of 0 to 99, to quarters of 0
// to 9999, to the limbs.
inline uint64_t NumBcdToLimbs(uint64_t x) {
    x = (x >> 4 & 0x0F0F0F0F0F0F0F0Full) * 10 + (x & 0x0F0F0F0F0F0F0F0Full);
    x = (x >> 8 & 0x00FF00FF00FF00FFull) * 100 + (x & 0x00FF00FF00FF00FFull);
    return (x >> 16 & 0x0000FFFF0000FFFFull) * 10000 + (x & 0x0000FFFF0000FFFFull);
}

// Words of sixteen BCD digits, the highest first, as n limbs of eight
// digits, low first: the top limb takes the first word's upper half.
inline void NumWordsToLimbs(const uint64_t *word, int n, uint32_t *limb) {
    for (int k = 0, top = n - 1; top >= 0; k++, top -= 2) {
        uint64_t pair = NumBcdToLimbs(word[k]);
        limb[top] = (uint32_t)(pair >> 32);
        if (top > 0) limb[top - 1] = (uint32_t)pair;
    }
}

// Sixteen nines in BCD.
inline constexpr uint64_t NUM_NINES = 0x9999999999999999ull;

// Bit 3 with bit 2 or bit 1 of a nibble: a nibble above 9 somewhere in x.
inline bool NumNibbleAbove9(uint64_t x) { return (x & (x << 1 | x << 2) & 0x8888888888888888ull) != 0; }

// A Number of at most 16 digits as one binary word; false for the null
// value, more than 16 digits or a nibble above 9. Inline, because the
// evaluator reads every operand through it.
inline bool NumShortRead(const Number *value, NumShort *s) {
    const unsigned char *b = value->bytes;
    int count = b[NUM_COUNT_BYTE];
    if (b[0] == 0 || count > 16) return false;
    // The digits are read four bytes at a time, the second four only for
    // more than eight digits. A host that copies a Number in with two
    // overlapping 16-byte moves, as compilers do for 25 bytes, leaves bytes
    // 5 to 8 and 9 to 12 in different stores: one read across both would
    // wait for them to reach the cache.
    uint32_t high, low = 0;
    memcpy(&high, b + NUM_DIGIT_BYTE, 4);
    if (count > 8) memcpy(&low, b + NUM_DIGIT_BYTE + 4, 4);
    uint64_t x = count ? ((uint64_t)NumBigEndian32(high) << 32 | NumBigEndian32(low)) >> 4 * (16 - count) : 0;
    if (NumNibbleAbove9(x)) return false;
    uint64_t limbs = NumBcdToLimbs(x);
    uint64_t coefficient = count <= 8 ? limbs : (limbs >> 32) * 100000000ull + (uint32_t)limbs;
    if (coefficient == 0)  // no digits, or all zero: zero
        *s = NumShort{0, 0, false};
    else
        *s = NumShort{coefficient, NumReadExponent(b), b[NUM_SIGN_BYTE] != 0};
    return true;
}

// The digit bytes of a value with count digits as three words, the
// first the highest and the last in the top half of its word, digits past
// the count 0; false when a nibble is above 9.
inline bool NumReadWords(const unsigned char *b, int count, uint64_t *word) {
    uint32_t last;
    memcpy(&word[0], b + NUM_DIGIT_BYTE, 8);
    memcpy(&word[1], b + NUM_DIGIT_BYTE + 8, 8);
    memcpy(&last, b + NUM_DIGIT_BYTE + 16, 4);
    word[0] = NumBigEndian64(word[0]);
    word[1] = NumBigEndian64(word[1]);
    word[2] = (uint64_t)NumBigEndian32(last) << 32;
    bool above9 = false;
    for (int k = 0; k < 3; k++) {
        int keep = count - 16 * k;
        if (keep <= 0) word[k] = 0;
        else if (keep < 16) word[k] &= ~0ull << 4 * (16 - keep);
        above9 = above9 || NumNibbleAbove9(word[k]);
    }
    return !above9;
}

#endif
