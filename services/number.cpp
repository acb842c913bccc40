// Number values: the packed form inside the 25 bytes, its unpacking into
// whole coefficients and the packing back with rounding, and the operations
// that need no arithmetic beyond that (compare, sign, rounding to places).
//
// Behind the length byte a value that is not null holds:
//   byte 1      1 for a negative number, else 0
//   byte 2      the digit count, 0 to 40 (0 is zero)
//   bytes 3-4   the exponent, signed 16-bit, low byte first
//   bytes 5-24  the digits in BCD, two a byte, high nibble first
// The value is digits * 10^exponent. Values are always normalised: no
// leading or trailing zero digit, zero has sign 0 and exponent 0, and every
// byte behind the used ones is 0. So equal numbers have equal bytes, and a
// byte-wise copy or comparison of two values is meaningful. Byte 0 is 4 plus
// the digit bytes in use.
//
// The leading digit of a value that is not zero sits at a power of ten from
// -300 to 300: a result that reaches 1E+301 after rounding is the null value,
// one below 1E-300 becomes zero.
#include <string.h>

#include "services/number_bytes.h"

namespace {

enum {
    SIGN_BYTE = NUM_SIGN_BYTE,
    COUNT_BYTE = NUM_COUNT_BYTE,
    EXPONENT_BYTE = NUM_EXPONENT_BYTE,
    DIGIT_BYTE = NUM_DIGIT_BYTE,
    TOP_MAX = NUM_TOP_MAX,
    TOP_MIN = NUM_TOP_MIN,
    // Rounding or cutting beyond this many places either way keeps every
    // digit or none, so larger counts are held to it.
    PLACES_LIMIT = 1000,
};

const uint32_t POW10[NUM_LIMB_DIGITS] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000};

// A window of NUM_PRECISION digits fills WINDOW limbs, each four digit
// bytes.
enum { WINDOW = NUM_PRECISION / NUM_LIMB_DIGITS };

// x plus one in its lowest digit; x holds BCD digits that are not all nines.
uint64_t bcdIncrement(uint64_t x) {
    int nines = __builtin_ctzll(x ^ NUM_NINES) & ~3;
    return ((x >> nines) + 1) << nines;
}

// Writes the value whose leading digit, at 10^top, is the top nibble of
// d0: d0, d1 and the upper half of d2 hold the 40 digits kept, the nibble
// below them decides the rounding, and anything else in d2 or a true
// sticky says that something below that is not zero.
void finish(Number *value, int negative, uint64_t d0, uint64_t d1, uint64_t d2, bool sticky, long long top) {
    uint32_t last = (uint32_t)(d2 >> 32);
    uint32_t guard = (uint32_t)(d2 >> 28) & 0x0F;
    sticky = sticky || (d2 & 0x0FFFFFFF) != 0;
    if (guard > 5 || (guard == 5 && (sticky || (last & 1)))) {
        if (last != 0x99999999u) {
            last = (uint32_t)bcdIncrement(last);
        } else if (last = 0, d1 != NUM_NINES) {
            d1 = bcdIncrement(d1);
        } else if (d1 = 0, d0 != NUM_NINES) {
            d0 = bcdIncrement(d0);
        } else {
            // All nines went up to 10^NUM_PRECISION: one digit more.
            d0 = 1ull << 60;
            top++;
        }
    }
    if (top > TOP_MAX) {
        NumSetNull(value);
        return;
    }
    if (top < TOP_MIN) {
        NumSetZero(value);
        return;
    }
    int count = last ? 40 - __builtin_ctz(last) / 4 : d1 ? 32 - __builtin_ctzll(d1) / 4 : 16 - __builtin_ctzll(d0) / 4;
    unsigned char *b = value->bytes;
    d0 = NumBigEndian64(d0);
    d1 = NumBigEndian64(d1);
    last = NumBigEndian32(last);
    memcpy(b + DIGIT_BYTE, &d0, 8);
    memcpy(b + DIGIT_BYTE + 8, &d1, 8);
    memcpy(b + DIGIT_BYTE + 16, &last, 4);
    NumWriteHead(value, negative, count, (int)(top - (count - 1)));
}

// The two digits of a digit byte, a nibble above 9 read as 9.
uint32_t byteValue(unsigned char byte) {
    uint32_t high = byte >> 4, low = byte & 0x0F;
    return (high > 9 ? 9 : high) * 10 + (low > 9 ? 9 : low);
}

// The digit bytes of a value read as one whole number of NUM_PRECISION
// digits, the byte at index i of 20 giving digits 2i and 2i+1; digits past
// the count read as 0.
uint32_t windowByte(const unsigned char *b, int count, int i) {
    int used = (count + 1) / 2;
    if (i >= used) return 0;
    uint32_t v = byteValue(b[DIGIT_BYTE + i]);
    return i == used - 1 && count % 2 ? v / 10 * 10 : v;
}

// The window's digits from 16 * k on, as two limbs, the higher first,
// into high and low. Only the digit bytes are read: the last word has four.
void windowPair(const unsigned char *b, int count, int k, uint32_t *high, uint32_t *low) {
    const unsigned char *p = b + DIGIT_BYTE + 8 * k;
    uint64_t x;
    if (k < 2) {
        memcpy(&x, p, 8);
        x = NumBigEndian64(x);
    } else {
        uint32_t last;
        memcpy(&last, p, 4);
        x = (uint64_t)NumBigEndian32(last) << 32;
    }
    int keep = count - 16 * k;
    if (keep < 16) x &= ~0ull << 4 * (16 - keep);
    if (NumNibbleAbove9(x)) {
        uint32_t v[2] = {0, 0};
        for (int i = 0; i < 8; i++) v[i / 4] = v[i / 4] * 100 + windowByte(b, count, 8 * k + i);
        *high = v[0];
        *low = v[1];
        return;
    }
    x = NumBcdToLimbs(x);
    *high = (uint32_t)(x >> 32);
    *low = (uint32_t)x;
}

// The window's limbs that hold digits of the count, the top one at
// limb[n - 1]; gives n.
int windowLimbs(const unsigned char *b, int count, uint32_t *limb) {
    int n = (count + NUM_LIMB_DIGITS - 1) / NUM_LIMB_DIGITS;
    uint64_t word[3];
    if (!NumReadWords(b, count, word)) {
        uint32_t spare;
        for (int k = 0; 16 * k < count; k++) {
            int top = n - 1 - 2 * k;
            windowPair(b, count, k, &limb[top], top > 0 ? &limb[top - 1] : &spare);
        }
        return n;
    }
    NumWordsToLimbs(word, n, limb);
    return n;
}

int topOf(const NumDigits *n) { return n->exponent + n->count - 1; }

// Keeps the digits at 10^-places and above. With roundHalf, a dropped part
// of one half unit or more adds one unit: half away from zero, as the sign
// is kept apart. Without it the digits are cut, toward zero.
void keepPlaces(Number *result, const Number *value, int places, bool roundHalf) {
    NumDigits n;
    if (!NumDecode(value, &n)) {
        NumSetNull(result);
        return;
    }
    if (places > PLACES_LIMIT) places = PLACES_LIMIT;
    if (places < -PLACES_LIMIT) places = -PLACES_LIMIT;
    int lowest = -places;
    if (n.count == 0 || n.exponent >= lowest) {
        NumEncodeDigits(result, n.negative, n.digits, n.count, n.exponent);
        return;
    }
    // digits[0..keep) stand at lowest and above; digits[keep] is the first
    // one dropped when keep >= 0.
    int keep = topOf(&n) - lowest + 1;
    bool up = roundHalf && keep >= 0 && n.digits[keep] >= '5';
    if (keep < 0) keep = 0;
    char buffer[NUM_PRECISION + 2];
    buffer[0] = '0';  // room for a carry out of the top digit
    memcpy(buffer + 1, n.digits, keep);
    for (int i = keep; up && i >= 0; i--) {
        if (buffer[i] == '9') {
            buffer[i] = '0';
        } else {
            buffer[i]++;
            up = false;
        }
    }
    NumEncodeDigits(result, n.negative, buffer, keep + 1, lowest);
}

}  // namespace

int NumDecode(const Number *value, NumDigits *out) {
    const unsigned char *b = value->bytes;
    if (b[0] == 0) return 0;
    // A value built elsewhere than here is held to the digits there are room
    // for, so that no reading goes astray.
    int count = NumReadCount(b);
    out->count = count;
    out->negative = count > 0 && b[SIGN_BYTE] != 0;
    out->exponent = count > 0 ? NumReadExponent(b) : 0;
    for (int i = 0; i < count; i++) {
        int byte = b[DIGIT_BYTE + i / 2];
        int d = i % 2 == 0 ? byte >> 4 : byte & 0x0F;
        out->digits[i] = (char)('0' + (d > 9 ? 9 : d));
    }
    out->digits[count] = 0;
    return 1;
}

void NumTrim(NumWide *w) {
    while (w->n > 0 && w->limb[w->n - 1] == 0) w->n--;
}

int NumCountDigits(const NumWide *w) {
    uint32_t top = w->limb[w->n - 1];
    int d = 1;
    while (d < NUM_LIMB_DIGITS && top >= POW10[d]) d++;
    return (w->n - 1) * NUM_LIMB_DIGITS + d;
}

// Each product is split on its own; its low part and the high part of the
// one below stay under twice the base, so only a carry of 0 or 1 runs
// from limb to limb.
void NumMulSmall(NumWide *w, uint32_t factor) {
    uint32_t high = 0, carry = 0;
    for (int i = 0; i < w->n; i++) {
        uint64_t p = (uint64_t)w->limb[i] * factor;
        uint32_t t = (uint32_t)(p % NUM_LIMB_BASE) + high + carry;
        high = (uint32_t)(p / NUM_LIMB_BASE);
        carry = t >= NUM_LIMB_BASE;
        w->limb[i] = carry ? t - NUM_LIMB_BASE : t;
    }
    w->limb[w->n] = high + carry;
    if (w->limb[w->n]) w->n++;
}

void NumShiftUp(NumWide *w, int k) {
    if (w->n == 0 || k == 0) return;
    if (k % NUM_LIMB_DIGITS) NumMulSmall(w, POW10[k % NUM_LIMB_DIGITS]);
    int whole = k / NUM_LIMB_DIGITS;
    if (whole == 0) return;
    for (int i = w->n - 1; i >= 0; i--) w->limb[i + whole] = w->limb[i];
    for (int i = 0; i < whole; i++) w->limb[i] = 0;
    w->n += whole;
}

int NumUnpack(const Number *value, NumParts *out) {
    const unsigned char *b = value->bytes;
    if (b[0] == 0) return 0;
    int count = NumReadCount(b);
    out->negative = count > 0 && b[SIGN_BYTE] != 0;
    NumWide *w = &out->whole;
    int limbs = windowLimbs(b, count, w->limb);
    w->n = limbs;
    NumTrim(w);
    out->exponent = w->n ? NumReadExponent(b) + count - limbs * NUM_LIMB_DIGITS : 0;
    return 1;
}

void NumPackDigits(Number *value, int negative, const uint64_t *words, int n, long long power, bool sticky) {
    int k = 0;
    while (k < n && words[k] == 0) k++;
    if (k == n) {
        NumSetZero(value);
        return;
    }
    int zeros = __builtin_clzll(words[k]) / 4, shift = 4 * zeros;
    uint64_t d[3];
    for (int i = 0; i < 3; i++) {
        uint64_t w = k + i < n ? words[k + i] : 0, next = k + i + 1 < n ? words[k + i + 1] : 0;
        d[i] = shift ? w << shift | next >> (64 - shift) : w;
    }
    if (k + 3 < n) sticky = sticky || words[k + 3] << shift != 0;
    for (int i = k + 4; i < n && !sticky; i++) sticky = words[i] != 0;
    finish(value, negative, d[0], d[1], d[2], sticky, power - 16 * k - zeros);
}

void NumPackRound(Number *value, int negative, NumWide *w, long long exponent, bool sticky) {
    NumTrim(w);
    int n = w->n;
    if (n == 0) {
        NumSetZero(value);
        return;
    }
    // The top six limbs hold the digits kept and the one deciding the
    // rounding; below them only whether any is not zero counts.
    uint64_t words[3];
    for (int j = 0; j < 3; j++) {
        int high = n - 1 - 2 * j, low = high - 1;
        uint64_t a = high >= 0 && w->limb[high] ? NumBcdOf8(w->limb[high]) : 0;
        uint64_t b = low >= 0 && w->limb[low] ? NumBcdOf8(w->limb[low]) : 0;
        words[j] = a << 32 | b;
    }
    for (int i = 0; i < n - 6 && !sticky; i++) sticky = w->limb[i] != 0;
    NumPackDigits(value, negative, words, 3, exponent + NUM_LIMB_DIGITS * n - 1, sticky);
}

void NumPack(Number *value, int negative, NumWide *w, long long exponent) {
    NumPackRound(value, negative, w, exponent, false);
}

void NumEncodeDigits(Number *value, int negative, const char *digits, int count, int exponent) {
    while (count > 0 && *digits == '0') {
        digits++;
        count--;
    }
    // Digits that need no rounding go straight into the digit bytes.
    if (count <= NUM_PRECISION) {
        while (count > 0 && digits[count - 1] == '0') {
            count--;
            exponent++;
        }
        long long top = (long long)exponent + count - 1;
        if (count == 0 || top < TOP_MIN) {
            NumSetZero(value);
        } else if (top > TOP_MAX) {
            NumSetNull(value);
        } else {
            memset(value->bytes + DIGIT_BYTE, 0, NUM_PRECISION / 2);
            for (int i = 0; i < count; i++)
                value->bytes[DIGIT_BYTE + i / 2] |= (unsigned char)((digits[i] - '0') << (i % 2 ? 0 : 4));
            NumWriteHead(value, negative, count, exponent);
        }
        return;
    }
    // Below the digit that decides the rounding only whether anything is
    // left counts: a single unit stands for it.
    long long exp = exponent;
    bool sticky = false;
    for (int i = NUM_PRECISION + 2; i < count && !sticky; i++) sticky = digits[i] != '0';
    if (count > NUM_PRECISION + 2) {
        exp += count - (NUM_PRECISION + 2);
        count = NUM_PRECISION + 2;
    }
    NumWide w;
    w.n = 0;
    for (int end = count; end > 0; end -= NUM_LIMB_DIGITS) {
        int start = end > NUM_LIMB_DIGITS ? end - NUM_LIMB_DIGITS : 0;
        uint32_t v = 0;
        for (int i = start; i < end; i++) v = v * 10 + (uint32_t)(digits[i] - '0');
        w.limb[w.n++] = v;
    }
    if (sticky) {
        NumShiftUp(&w, 1);
        w.limb[0] |= 1;
        exp--;
    }
    NumPack(value, negative, &w, exp);
}

extern "C" {

ZEMAPI void ZEMCALL SvcNumNegate(Number *value) {
    unsigned char *b = value->bytes;
    if (b[0] != 0 && b[COUNT_BYTE] != 0) b[SIGN_BYTE] = b[SIGN_BYTE] ? 0 : 1;
}

// A null value sorts below every other value; two nulls are equal.
ZEMAPI int ZEMCALL SvcNumCompare(const Number *a, const Number *b) {
    const unsigned char *x = a->bytes, *y = b->bytes;
    if (x[0] == 0 || y[0] == 0) return (x[0] != 0) - (y[0] != 0);
    int cx = NumReadCount(x), cy = NumReadCount(y);
    int sx = cx == 0 ? 0 : x[SIGN_BYTE] ? -1 : 1, sy = cy == 0 ? 0 : y[SIGN_BYTE] ? -1 : 1;
    if (sx != sy) return sx < sy ? -1 : 1;
    if (sx == 0) return 0;
    int tx = NumReadExponent(x) + cx - 1, ty = NumReadExponent(y) + cy - 1;
    if (tx != ty) return tx < ty ? -sx : sx;
    // Both windows' limbs from the top, 0 past the count.
    uint32_t lx[WINDOW] = {0}, ly[WINDOW] = {0};
    int nx = windowLimbs(x, cx, lx), ny = windowLimbs(y, cy, ly);
    for (int k = 0; k < WINDOW; k++) {
        uint32_t dx = k < nx ? lx[nx - 1 - k] : 0, dy = k < ny ? ly[ny - 1 - k] : 0;
        if (dx != dy) return dx < dy ? -sx : sx;
    }
    return 0;
}

// The null value is not zero.
ZEMAPI int ZEMCALL SvcNumIsZero(const Number *value) {
    return value->bytes[0] != 0 && value->bytes[COUNT_BYTE] == 0;
}

// A value that is not null is left as it is.
ZEMAPI void ZEMCALL SvcNumNullToZero(Number *value) {
    if (value->bytes[0] == 0) NumSetZero(value);
}

// width is the room the text form may take; every value fits the 300 that
// callers pass, so it plays no part. A null value stays null.
ZEMAPI void ZEMCALL SvcNumTruncate(Number *value, int width, int places) {
    (void)width;
    keepPlaces(value, value, places, false);
}

// A null value gives the null value.
ZEMAPI void ZEMCALL SvcNumRound(Number *result, const Number *value, int places) {
    keepPlaces(result, value, places, true);
}

}  // extern "C"
