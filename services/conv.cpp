// Date and time to text: the conversion record's defaults, the locale block,
// the date picture language and the default formats.
//
// A date picture is read left to right (docs/pictures.md has the whole
// language):
//   d dd ddd dddd    day, day with two digits, abbreviated and full day name
//   m mm mmm mmmm    month likewise; m is always the month, never minutes
//   yy yyyy          year with two, or at least four digits (y alone is yy)
//   h hh / H HH      hour on the 12-hour / 24-hour clock
//   n nn             minute;  s ss  second
//   AM/PM am/pm A/P a/p   the designator, as set, in lower case, or its
//                    first letter in the case written
//   /  :             the date and the time separator of the settings
//   "text"  \c       text copied as it stands
// d m y n s match in either case; h and H differ. Every other character is
// copied, a double-byte character whole.
//
// The default formats are pictures of the same language, built from the
// settings in force: "m/d/yyyy" (or d/m/yyyy, yyyy/m/d by the date order),
// "h:nn:ss AM/PM" (or "H:nn:ss" on a 24-hour clock), and the two joined by
// one space for a date and time.
//
// The output buffer's size is not in the request, so a date text is held to
// DATE_TEXT_MAX bytes with its terminator; a longer one fails and leaves the
// output empty.
#include <atomic>
#include <stddef.h>
#include <string.h>

#include "services/services.h"
#include "services/values.h"

#if UINTPTR_MAX == 0xFFFFFFFF
static_assert(offsetof(ConvRequest, kind) == 0);
static_assert(offsetof(ConvRequest, input) == 4);
static_assert(offsetof(ConvRequest, output) == 8);
static_assert(offsetof(ConvRequest, picture) == 12);
static_assert(offsetof(ConvRequest, picture2) == 16);
static_assert(offsetof(ConvRequest, localeWord1) == 20);
static_assert(offsetof(ConvRequest, localeText3) == 24);
static_assert(offsetof(ConvRequest, localeWord2) == 28);
static_assert(offsetof(ConvRequest, localeText1) == 32);
static_assert(offsetof(ConvRequest, localeText2) == 36);
static_assert(offsetof(ConvRequest, useDefaults) == 40);
static_assert(offsetof(ConvRequest, date) == 44);
static_assert(offsetof(ConvRequest, dateOption) == 72);
static_assert(offsetof(ConvRequest, numberPicture) == 76);
static_assert(offsetof(ConvRequest, groupChar) == 80);
static_assert(offsetof(ConvRequest, pointChar) == 81);
static_assert(offsetof(ConvRequest, fixedDecimals) == 90);
static_assert(offsetof(ConvRequest, decimals) == 94);
static_assert(offsetof(ConvRequest, localeWord0) == 110);
static_assert(offsetof(ConvRequest, options) == 122);
static_assert(offsetof(ConvRequest, number) == 126);
static_assert(sizeof(ConvRequest) == 180);
#endif
static_assert(offsetof(ConvLocale, localeWord1) == 33);
static_assert(offsetof(ConvLocale, localeText1) == 37);
static_assert(offsetof(ConvLocale, localeText2) == 42);
static_assert(offsetof(ConvLocale, localeText3) == 47);
static_assert(offsetof(ConvLocale, localeWord2) == 50);
static_assert(offsetof(ConvLocale, regional) % alignof(ZEMRegional) == 0 &&
              alignof(ConvLocale) >= alignof(ZEMRegional));

namespace {

enum { DATE_TEXT_MAX = 100 };

// The block that SvcConvLoadLocale filled last.
std::atomic<const ConvLocale *> gLoadedBlock{nullptr};

// What a conversion takes from the settings.
struct Locale {
    const ZEMRegional *reg;
    const char *dateSep;
    const char *timeSep;
};

Locale localeOf(const ConvRequest *request) {
    const ZEMRegional *current = SvcRegional();
    if (request->useDefaults) return {current, current->dateSeparator, current->timeSeparator};
    const ConvLocale *block = gLoadedBlock.load();
    const ZEMRegional *reg =
        block && request->localeText1 == block->localeText1 ? &block->regional : current;
    return {reg, request->localeText1 ? request->localeText1 : reg->dateSeparator,
            request->localeText2 ? request->localeText2 : reg->timeSeparator};
}

enum Field {
    DAY, DAY2, DAY_ABBR, DAY_NAME, MONTH, MONTH2, MONTH_ABBR, MONTH_NAME, YEAR2, YEAR4,
    HOUR12, HOUR12_2, HOUR24, HOUR24_2, MINUTE, MINUTE2, SECOND, SECOND2,
    AMPM, AMPM_LOWER, AP, AP_LOWER, DATE_SEP, TIME_SEP
};

// Where a walked picture goes: written out for a date, or measured when
// there is no date.
struct Sink {
    const Locale *loc;
    const DateFields *date;
    char buf[DATE_TEXT_MAX];
    int len;
    bool overflow;
    int width;
    int valueFields;  // fields that show something of the date
};

int charBytes(const char *p) {
    return SvcIsDoubleByte() && SvcIsLead((unsigned char)p[0]) && p[1] ? 2 : 1;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? (char)(c + 32) : c; }
char upper(char c) { return c >= 'a' && c <= 'z' ? (char)(c - 32) : c; }

void append(Sink *s, const char *text, int n, bool toLower = false) {
    if (!s->date) {
        s->width += n;
        return;
    }
    if (s->len + n >= DATE_TEXT_MAX) {
        s->overflow = true;
        return;
    }
    for (int i = 0; i < n; i++) {
        int step = charBytes(text + i);
        s->buf[s->len++] = toLower && step == 1 ? lower(text[i]) : text[i];
        if (step == 2) s->buf[s->len++] = text[++i];
    }
    s->buf[s->len] = 0;
}

void appendNumber(Sink *s, int32_t value, int minDigits) {
    char digits[16];
    int n = 0;
    uint32_t v = value < 0 ? 0u - (uint32_t)value : (uint32_t)value;
    do {
        digits[n++] = (char)('0' + v % 10);
        v /= 10;
    } while (v);
    while (n < minDigits) digits[n++] = '0';
    if (value < 0) digits[n++] = '-';
    char text[16];
    for (int i = 0; i < n; i++) text[i] = digits[n - 1 - i];
    append(s, text, n);
}

template <size_t N, size_t M>
int longest(const char (&names)[N][M]) {
    size_t most = 0;
    for (size_t i = 0; i < N; i++) most = strlen(names[i]) > most ? strlen(names[i]) : most;
    return (int)most;
}

int fieldWidth(const Locale *loc, Field f) {
    const ZEMRegional *r = loc->reg;
    int am = (int)strlen(r->am), pm = (int)strlen(r->pm);
    switch (f) {
    case DAY_ABBR: return longest(r->dayAbbrev);
    case DAY_NAME: return longest(r->dayNames);
    case MONTH_ABBR: return longest(r->monthAbbrev);
    case MONTH_NAME: return longest(r->monthNames);
    case YEAR4: return 5;  // the earliest years have a sign
    case AMPM: case AMPM_LOWER: return am > pm ? am : pm;
    case AP: case AP_LOWER: return 2;  // one character, of two bytes at most
    case DATE_SEP: return (int)strlen(loc->dateSep);
    case TIME_SEP: return (int)strlen(loc->timeSep);
    default: return 2;
    }
}

// 0 Sunday .. 6 Saturday.
int weekday(const DateFields *d) { return (int)((SvcDayNumber(d) + 1) % 7); }

void writeField(Sink *s, Field f) {
    const DateFields *d = s->date;
    const ZEMRegional *r = s->loc->reg;
    const char *designator = d->hour < 12 ? r->am : r->pm;
    int hour12 = d->hour % 12 == 0 ? 12 : d->hour % 12;
    switch (f) {
    case DAY: appendNumber(s, d->day, 1); break;
    case DAY2: appendNumber(s, d->day, 2); break;
    case DAY_ABBR: append(s, r->dayAbbrev[weekday(d)], (int)strlen(r->dayAbbrev[weekday(d)])); break;
    case DAY_NAME: append(s, r->dayNames[weekday(d)], (int)strlen(r->dayNames[weekday(d)])); break;
    case MONTH: appendNumber(s, d->month, 1); break;
    case MONTH2: appendNumber(s, d->month, 2); break;
    case MONTH_ABBR: append(s, r->monthAbbrev[d->month - 1], (int)strlen(r->monthAbbrev[d->month - 1])); break;
    case MONTH_NAME: append(s, r->monthNames[d->month - 1], (int)strlen(r->monthNames[d->month - 1])); break;
    case YEAR2: appendNumber(s, (d->year < 0 ? -d->year : d->year) % 100, 2); break;
    case YEAR4: appendNumber(s, d->year, 4); break;
    case HOUR12: appendNumber(s, hour12, 1); break;
    case HOUR12_2: appendNumber(s, hour12, 2); break;
    case HOUR24: appendNumber(s, d->hour, 1); break;
    case HOUR24_2: appendNumber(s, d->hour, 2); break;
    case MINUTE: appendNumber(s, d->minute, 1); break;
    case MINUTE2: appendNumber(s, d->minute, 2); break;
    case SECOND: appendNumber(s, d->second, 1); break;
    case SECOND2: appendNumber(s, d->second, 2); break;
    case AMPM: append(s, designator, (int)strlen(designator)); break;
    case AMPM_LOWER: append(s, designator, (int)strlen(designator), true); break;
    case AP: {
        char first[2] = {upper(designator[0]), designator[1]};
        append(s, first, charBytes(designator));
        break;
    }
    case AP_LOWER: append(s, designator, charBytes(designator), true); break;
    case DATE_SEP: append(s, s->loc->dateSep, (int)strlen(s->loc->dateSep)); break;
    case TIME_SEP: append(s, s->loc->timeSep, (int)strlen(s->loc->timeSep)); break;
    }
}

void putField(Sink *s, Field f) {
    if (f != DATE_SEP && f != TIME_SEP) s->valueFields++;
    if (s->date)
        writeField(s, f);
    else
        s->width += fieldWidth(s->loc, f);
}

bool startsWithNoCase(const char *text, const char *word) {
    for (; *word; text++, word++)
        if (lower(*text) != lower(*word)) return false;
    return true;
}

// The field a run of `count` equal letters `c` stands for, if any.
bool letterField(char c, int count, Field *f) {
    static const Field day[] = {DAY, DAY2, DAY_ABBR, DAY_NAME};
    static const Field month[] = {MONTH, MONTH2, MONTH_ABBR, MONTH_NAME};
    int i = count > 4 ? 3 : count - 1;
    int two = count > 1;
    switch (c) {
    case 'd': case 'D': *f = day[i]; return true;
    case 'm': case 'M': *f = month[i]; return true;
    case 'y': case 'Y': *f = count > 2 ? YEAR4 : YEAR2; return true;
    case 'h': *f = two ? HOUR12_2 : HOUR12; return true;
    case 'H': *f = two ? HOUR24_2 : HOUR24; return true;
    case 'n': case 'N': *f = two ? MINUTE2 : MINUTE; return true;
    case 's': case 'S': *f = two ? SECOND2 : SECOND; return true;
    default: return false;
    }
}

int runLength(const char *p) {
    bool exact = *p == 'h' || *p == 'H';
    int n = 1;
    while (exact ? p[n] == p[0] : (p[n] && lower(p[n]) == lower(p[0]))) n++;
    return n;
}

// Sends the picture to the sink; false when it cannot be read (a quote
// without its end, a backslash at the end).
bool walkPicture(const char *p, Sink *s) {
    while (*p) {
        char c = *p;
        Field f;
        if (charBytes(p) == 2) {
            append(s, p, 2);
            p += 2;
        } else if (c == '"') {
            const char *end = p + 1;
            while (*end && *end != '"') end += charBytes(end);
            if (!*end) return false;
            append(s, p + 1, (int)(end - p - 1));
            p = end + 1;
        } else if (c == '\\') {
            if (!p[1]) return false;
            append(s, p + 1, charBytes(p + 1));
            p += 1 + charBytes(p + 1);
        } else if (c == '/' || c == ':') {
            putField(s, c == '/' ? DATE_SEP : TIME_SEP);
            p++;
        } else if (startsWithNoCase(p, "AM/PM")) {
            putField(s, c == 'a' ? AMPM_LOWER : AMPM);
            p += 5;
        } else if (startsWithNoCase(p, "A/P")) {
            putField(s, c == 'a' ? AP_LOWER : AP);
            p += 3;
        } else if (letterField(c, runLength(p), &f)) {
            putField(s, f);
            p += runLength(p);
        } else {
            append(s, p, 1);
            p++;
        }
    }
    return true;
}

const char *defaultDatePicture(const ZEMRegional *r) {
    static const char *const byOrder[3] = {"m/d/yyyy", "d/m/yyyy", "yyyy/m/d"};
    return byOrder[r->dateOrder >= 0 && r->dateOrder <= 2 ? r->dateOrder : 0];
}

const char *defaultTimePicture(const ZEMRegional *r) {
    return r->clock24 ? "H:nn:ss" : "h:nn:ss AM/PM";
}

// The default format of a kind: 1 date, 2 time, 3 both.
bool walkDefault(int kind, Sink *s) {
    const ZEMRegional *r = s->loc->reg;
    switch (kind) {
    case 1: return walkPicture(defaultDatePicture(r), s);
    case 2: return walkPicture(defaultTimePicture(r), s);
    case 3:
        return walkPicture(defaultDatePicture(r), s) && walkPicture(" ", s) &&
               walkPicture(defaultTimePicture(r), s);
    default: return false;
    }
}

// The date brought into range by the calendar's own rule.
DateFields inRange(const DateFields *date) {
    unsigned char packed[ZEM_VALUE_SIZE];
    DateFields d;
    SvcDateUnpack(packed, SvcDatePack(packed, date), &d);
    return d;
}

void copyText(char *to, const char *from, size_t size) {
    size_t n = strlen(from);
    if (n >= size) n = size - 1;
    memcpy(to, from, n);
    to[n] = 0;
}

}  // namespace

extern "C" {

// No format is stored in the record: the default formats follow the
// settings in force when the conversion runs. A time read alone is given
// the date 1 January 1900, which is what the record starts with.
ZEMAPI void ZEMCALL SvcConvInit(ConvRequest *request) {
    memset(request, 0, sizeof *request);
    request->kind = 3;
    request->useDefaults = 1;
    request->date.month = 1;
    request->date.day = 1;
    request->date.year = 1900;
    request->pointChar = '.';
}

ZEMAPI int ZEMCALL SvcDateFormat(ConvRequest *request, int flags) {
    (void)flags;
    if (!request || !request->output) return 0;
    request->output[0] = 0;
    Locale loc = localeOf(request);
    DateFields date = inRange(&request->date);
    Sink s{};
    s.loc = &loc;
    s.date = &date;
    bool ok = request->useDefaults ? walkDefault(request->kind, &s)
                                   : request->picture && walkPicture(request->picture, &s);
    if (!ok || s.overflow) return 0;
    memcpy(request->output, s.buf, (size_t)s.len + 1);
    return 1;
}

// Usable: not empty, readable, and showing at least one part of the date.
ZEMAPI int ZEMCALL SvcDatePictureCheck(const char *picture) {
    if (!picture || !*picture) return 0;
    const ZEMRegional *r = SvcRegional();
    Locale loc = {r, r->dateSeparator, r->timeSeparator};
    Sink s{};
    s.loc = &loc;
    return walkPicture(picture, &s) && s.valueFields > 0;
}

// Without a picture, the width of the kind's default format.
ZEMAPI int ZEMCALL SvcPictureWidth(ConvRequest *request, int previous) {
    if (!request) return previous;
    Locale loc = localeOf(request);
    Sink s{};
    s.loc = &loc;
    bool ok = request->picture ? walkPicture(request->picture, &s) : walkDefault(request->kind, &s);
    return ok && s.width > previous ? s.width : previous;
}

}  // extern "C"

void SvcConvLoadLocale(ConvLocale *block) {
    const ZEMRegional *r = SvcRegional();
    memset(block, 0, sizeof *block);
    block->localeWord0 = r->dateOrder;
    block->localeWord1 = r->clock24;
    block->localeWord2 = r->currencyDecimals;
    copyText(block->localeText1, r->dateSeparator, sizeof block->localeText1);
    copyText(block->localeText2, r->timeSeparator, sizeof block->localeText2);
    copyText(block->localeText3, r->decimalPoint, sizeof block->localeText3);
    block->regional = *r;
    gLoadedBlock.store(block);
}
