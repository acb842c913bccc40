// Numbers to text and back: SvcNumParse, SvcNumFormat and the number
// picture language.
//
// Formats by kind:
//   4 with useDefaults 0   plain digits, pointChar as the point, groupChar
//                          between groups of three (0: none), `decimals`
//                          digits behind the point when fixedDecimals is 1,
//                          else as many as the number has
//   4 with useDefaults 1   the settings' number format: their grouping and
//                          point, two decimals
//   5                      the settings' currency format: "$1,234.50", with
//                          the symbol behind when so set, and a leading "-"
//                          for a negative amount ("-$1.00")
//   6                      by numberPicture (below), with the settings'
//                          grouping and point
// Rounding is half away from zero. A negative number whose text shows only
// zeros loses its sign. A null Number gives the empty text, and success.
//
// Number pictures: 0 a digit always, # a digit when there is one, . the
// point (one only), a , between digit places of the whole part switches
// grouping on, % multiplies by 100 and is written. "text" and \c are copied
// as they stand, and so is every other character, a double-byte one whole.
// The whole part's first digit place takes every digit the places cannot
// hold; places behind the point round the number, and a # there drops a
// trailing zero. A "-" for a negative number goes in front of everything.
//
// The output buffer's size is not in the request: kind 4 with useDefaults 0
// writes at most 328 bytes with the terminator (the width of NumberToStr's
// buffer), every other format 100. A longer text fails and leaves the
// output empty.
#include <string.h>

#include "services/services.h"
#include "services/values.h"

namespace {

enum {
    PLAIN_TEXT_MAX = 328,
    TEXT_MAX = 100,
    PLACES_MAX = 400,  // digits a fixed-point form may have in all
    KEPT_DIGITS = 60,  // significant digits a parse keeps before rounding
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int charBytes(const char *p) {
    return SvcIsDoubleByte() && SvcIsLead((unsigned char)p[0]) && p[1] ? 2 : 1;
}

// ---- Reading.

struct Marks {
    const char *point;  // "" for none
    const char *group;
};

bool at(const char *p, const char *mark) { return *mark && strncmp(p, mark, strlen(mark)) == 0; }

// Collects significant digits: leading zeros are dropped, the first
// KEPT_DIGITS kept, and any later non-zero digit leaves a sticky 1 so that
// rounding to the Number's precision comes out right.
struct Digits {
    char text[KEPT_DIGITS + 2];
    int count;
    int dropped;  // digits after the kept ones
    bool sticky;
};

void addDigit(Digits *d, char c) {
    if (d->count == 0 && c == '0') return;
    if (d->count < KEPT_DIGITS) {
        d->text[d->count++] = c;
        return;
    }
    d->dropped++;
    if (c != '0') d->sticky = true;
}

// The whole part: digits, with groups of exactly three behind each grouping
// mark and at most three before the first.
const char *readWhole(const char *p, const Marks *m, Digits *d, int *count) {
    int run = 0;
    bool grouped = false;
    *count = 0;
    for (;;) {
        if (isDigit(*p)) {
            addDigit(d, *p++);
            run++;
            (*count)++;
        } else if (at(p, m->group) && run > 0 && isDigit(p[strlen(m->group)])) {
            if ((grouped && run != 3) || (!grouped && run > 3)) return nullptr;
            grouped = true;
            run = 0;
            p += strlen(m->group);
        } else {
            break;
        }
    }
    if (grouped && run != 3) return nullptr;
    return p;
}

bool parseNumber(const char *p, const Marks *m, Number *out) {
    while (isBlank(*p)) p++;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+') p++;
    Digits d{};
    int whole, fraction = 0;
    p = readWhole(p, m, &d, &whole);
    if (!p) return false;
    if (at(p, m->point)) {
        p += strlen(m->point);
        for (; isDigit(*p); p++, fraction++) addDigit(&d, *p);
    }
    if (whole + fraction == 0) return false;
    int32_t exponent = 0;
    if ((*p == 'E' || *p == 'e') && (isDigit(p[1]) || ((p[1] == '+' || p[1] == '-') && isDigit(p[2])))) {
        p++;
        bool down = *p == '-';
        if (*p == '+' || *p == '-') p++;
        for (; isDigit(*p); p++)
            if (exponent < 100000) exponent = exponent * 10 + (*p - '0');
        if (down) exponent = -exponent;
    }
    while (isBlank(*p)) p++;
    if (*p) return false;
    // The kept digits stand for an integer; place the point behind them.
    exponent += d.dropped - fraction;
    if (d.sticky) {
        d.text[d.count++] = '1';
        exponent--;
    }
    NumEncodeDigits(out, negative, d.text, d.count, exponent);
    return out->bytes[0] != 0;
}

// ---- Writing.

// A number in fixed point: whole digits (none for a zero whole part) and
// exactly `decimals` fraction digits, rounded half away from zero.
struct Fixed {
    bool negative;
    char digits[PLACES_MAX + 1];
    int whole;
    int decimals;
};

bool toFixed(const NumDigits *n, int decimals, int shift, Fixed *f) {
    if (decimals < 0) decimals = 0;
    int32_t exponent = n->exponent + shift;
    int32_t whole = n->count + exponent;  // digits before the point
    if (whole < 0) whole = 0;
    if (decimals > PLACES_MAX || whole + decimals > PLACES_MAX) return false;
    f->negative = n->negative;
    f->whole = whole;
    f->decimals = decimals;
    // The digit of weight 10^q is digits[count - 1 + exponent - q].
    int total = whole + decimals;
    for (int i = 0; i < total; i++) {
        int32_t index = n->count - 1 + exponent - (whole - 1 - i);
        f->digits[i] = index >= 0 && index < n->count ? n->digits[index] : '0';
    }
    int32_t next = n->count - 1 + exponent + decimals + 1;  // first digit dropped
    if (next >= 0 && next < n->count && n->digits[next] >= '5') {
        int i = total - 1;
        for (; i >= 0 && f->digits[i] == '9'; i--) f->digits[i] = '0';
        if (i >= 0) {
            f->digits[i]++;
        } else {
            if (total + 1 > PLACES_MAX) return false;
            memmove(f->digits + 1, f->digits, (size_t)total);
            f->digits[0] = '1';
            f->whole++;
            total++;
        }
    }
    bool zero = true;
    for (int i = 0; i < total; i++) zero = zero && f->digits[i] == '0';
    if (zero) f->negative = false;
    return true;
}

struct Writer {
    char *buf;
    int cap;
    int len;
    bool overflow;
};

void put(Writer *w, const char *text, int n) {
    if (w->len + n >= w->cap) {
        w->overflow = true;
        return;
    }
    memcpy(w->buf + w->len, text, (size_t)n);
    w->len += n;
    w->buf[w->len] = 0;
}

void putText(Writer *w, const char *text) { put(w, text, (int)strlen(text)); }

// Whole digits with a grouping mark between groups of three, then the point
// and the fraction digits.
void putFixed(Writer *w, const Fixed *f, const char *group, const char *point) {
    if (f->whole == 0) put(w, "0", 1);
    for (int i = 0; i < f->whole; i++) {
        put(w, f->digits + i, 1);
        int left = f->whole - 1 - i;
        if (left > 0 && left % 3 == 0) putText(w, group);
    }
    if (f->decimals > 0) {
        putText(w, point);
        put(w, f->digits + f->whole, f->decimals);
    }
}

// ---- Number pictures.

struct Picture {
    int wholePlaces;     // 0 and # before the point
    int fractionPlaces;  // 0 and # behind it
    int lastZero;        // the last 0 place behind the point, 1-based, 0 none
    int percents;
    bool grouping;
};

// The quote that closes the one at p, or 0.
const char *closingQuote(const char *p) {
    for (p++; *p && *p != '"'; p += charBytes(p)) {
    }
    return *p ? p : nullptr;
}

bool isPlace(char c) { return c == '0' || c == '#'; }

// A comma between two digit places of the whole part.
bool isGroupingComma(const char *p, char previous, bool behindPoint) {
    return *p == ',' && !behindPoint && isPlace(previous) && isPlace(p[1]);
}

// Reads the picture's places; false for an unusable picture.
bool scanPicture(const char *p, Picture *pic) {
    *pic = Picture{};
    if (!p || !*p) return false;
    bool behindPoint = false;
    char previous = 0;  // the last single character outside quotes and escapes
    while (*p) {
        char c = *p;
        if (charBytes(p) == 2) {
            p += 2;
            previous = 0;
            continue;
        }
        if (c == '"' || c == '\\') {
            if (c == '"' ? !(p = closingQuote(p)) : !p[1]) return false;
            p += c == '"' ? 1 : 1 + charBytes(p + 1);
            previous = 0;
            continue;
        }
        if (isPlace(c) && behindPoint) {
            pic->fractionPlaces++;
            if (c == '0') pic->lastZero = pic->fractionPlaces;
        } else if (isPlace(c)) {
            pic->wholePlaces++;
        } else if (c == '.') {
            if (behindPoint) return false;
            behindPoint = true;
        } else if (c == '%') {
            pic->percents++;
        }
        if (isGroupingComma(p, previous, behindPoint)) pic->grouping = true;
        previous = c;
        p++;
    }
    return pic->wholePlaces + pic->fractionPlaces > 0;
}

// The whole digit at index i, and a grouping mark behind it when digits of
// a full group follow.
void putWholeDigit(Writer *w, const Fixed *f, int i, const char *group, bool grouping) {
    put(w, f->digits + i, 1);
    int left = f->whole - 1 - i;
    if (grouping && left > 0 && left % 3 == 0) putText(w, group);
}

bool writePicture(Writer *w, const char *p, const NumDigits *n, const char *group,
                  const char *point) {
    Picture pic;
    if (!scanPicture(p, &pic)) return false;
    Fixed f;
    if (!toFixed(n, pic.fractionPlaces, 2 * pic.percents, &f)) return false;
    if (f.negative) put(w, "-", 1);
    // Fraction digits shown: through the last 0 place or the last non-zero digit.
    int shown = pic.lastZero;
    for (int i = pic.fractionPlaces; i > shown; i--)
        if (f.digits[f.whole + i - 1] != '0') shown = i;
    int place = pic.wholePlaces;  // weight of the next whole place: 10^(place-1)
    int fractionPlace = 0;
    bool behindPoint = false;
    char previous = 0;
    while (*p) {
        char c = *p;
        if (charBytes(p) == 2 || c == '"' || c == '\\') {
            const char *from = c == '"' ? p + 1 : c == '\\' ? p + 1 : p;
            const char *end = c == '"' ? closingQuote(p) : from + charBytes(from);
            put(w, from, (int)(end - from));
            p = c == '"' ? end + 1 : end;
            previous = 0;
            continue;
        }
        if (isPlace(c) && !behindPoint) {
            int own = f.whole - place;  // index of this place's digit
            // The first place also writes the digits that no place holds.
            for (int i = place == pic.wholePlaces ? 0 : own; i <= own; i++)
                if (i >= 0) putWholeDigit(w, &f, i, group, pic.grouping);
            if (own < 0 && c == '0') {
                put(w, "0", 1);
                if (pic.grouping && place > 1 && (place - 1) % 3 == 0) putText(w, group);
            }
            place--;
        } else if (isPlace(c)) {
            fractionPlace++;
            if (fractionPlace <= shown) put(w, f.digits + f.whole + fractionPlace - 1, 1);
        } else if (c == '.') {
            behindPoint = true;
            putText(w, point);
        } else if (!isGroupingComma(p, previous, behindPoint)) {
            put(w, p, 1);
        }
        previous = c;
        p++;
    }
    return true;
}

// The marks of the request's format.
void marksOf(const ConvRequest *r, char *point, char *group, const char **pointText,
             const char **groupText) {
    const ZEMRegional *reg = SvcRegional();
    if (r->useDefaults) {
        *pointText = reg->decimalPoint;
        *groupText = reg->grouping;
        return;
    }
    point[0] = r->pointChar ? r->pointChar : '.';
    group[0] = r->groupChar != point[0] ? r->groupChar : 0;
    point[1] = group[1] = 0;
    *pointText = point;
    *groupText = group;
}

bool formatNumber(const ConvRequest *r, const NumDigits *n, Writer *w) {
    const ZEMRegional *reg = SvcRegional();
    char pointChar[2], groupChar[2];
    const char *point, *group;
    marksOf(r, pointChar, groupChar, &point, &group);
    Fixed f;
    switch (r->kind) {
    case 4: {
        int decimals = r->useDefaults ? 2 : r->fixedDecimals ? r->decimals : -n->exponent;
        if (!toFixed(n, decimals, 0, &f)) return false;
        if (f.negative) put(w, "-", 1);
        putFixed(w, &f, group, point);
        return true;
    }
    case 5:
        if (!toFixed(n, reg->currencyDecimals, 0, &f)) return false;
        if (f.negative) put(w, "-", 1);
        if (!reg->currencyAfter) putText(w, reg->currency);
        putFixed(w, &f, reg->grouping, reg->decimalPoint);
        if (reg->currencyAfter) putText(w, reg->currency);
        return true;
    case 6:
        if (!r->useDefaults && !r->groupChar) group = ",";
        return writePicture(w, r->numberPicture, n, group, point);
    default:
        return false;
    }
}

}  // namespace

extern "C" {

// With useDefaults 1 the settings' point and grouping; else pointChar and
// groupChar (0: no grouping).
ZEMAPI int ZEMCALL SvcNumParse(ConvRequest *request) {
    if (!request || !request->input) return 0;
    char point[2], group[2];
    Marks m;
    marksOf(request, point, group, &m.point, &m.group);
    Number result;
    if (!parseNumber(request->input, &m, &result)) return 0;
    request->number = result;
    return 1;
}

ZEMAPI int ZEMCALL SvcNumFormat(ConvRequest *request, int flags) {
    (void)flags;
    if (!request || !request->output) return 0;
    request->output[0] = 0;
    NumDigits n;
    if (!NumDecode(&request->number, &n)) return 1;
    char text[PLAIN_TEXT_MAX];
    Writer w = {text, request->kind == 4 && !request->useDefaults ? PLAIN_TEXT_MAX : TEXT_MAX, 0,
                false};
    text[0] = 0;
    if (!formatNumber(request, &n, &w) || w.overflow) return 0;
    memcpy(request->output, text, (size_t)w.len + 1);
    return 1;
}

ZEMAPI int ZEMCALL SvcNumPictureCheck(ConvRequest *request) {
    Picture pic;
    return request && scanPicture(request->numberPicture, &pic);
}

}  // extern "C"
