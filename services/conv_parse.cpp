// Text to date and time: the reader behind SvcDateParse. It reads the date
// and time forms that the expression language admits as literals, under the
// regional settings in force, and refuses anything that is not a real date
// or time: the tokeniser relies on the refusal to read "10-5-3" as a date
// but "13-5-3" as arithmetic.
//
// Dates (N a number, W a month name, full or abbreviated, in any case):
//   N s N s N     in the settings' order (m/d/y, d/m/y or y/m/d); s is one of
//                 - / \ . and the same both times
//   N s W s N     day, month, year; s any of - / \ . :  (a first number of
//                 three or four digits is the year: 2000-Jan-5)
//   N W, N        day, month, year: "1 Jan 2000", "1 January, 2000"
//   W N, N        month, day, year: "Jan 1, 2000", "January 1 2000"
// A year of one or two digits is taken in a window: 00-29 are 2000-2029,
// 30-99 are 1930-1999. Three or four digits are the year itself (1..9999).
//
// Times: H, H:M, H:M:S or H:M:S.F (":" or "." between the parts, minutes
// and seconds with two digits), optionally followed by the AM or PM
// designator of the settings, with or without blanks before it. With a
// designator the hour is 1..12. F is a decimal fraction of the second, kept
// to the microsecond. A time alone needs at least two parts or a designator
// ("12:30", "3 PM"); after a date it follows blanks, or one of - / \ . : and
// then needs at least hours and minutes ("1.2.2000.12.30"), so that
// "1/2/2000-3" stays a date minus three.
//
// Kind 1 reads a date alone, kind 2 a time alone (its date is the one the
// request starts with), kind 3 a date with an optional time. Blanks (space,
// tab, newline) may surround the text.
#include <string.h>

#include "services/values.h"

namespace {

struct Reader {
    const char *p;
    const ZEMRegional *reg;
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? (char)(c + 32) : c; }

bool skipBlanks(Reader *r) {
    const char *start = r->p;
    while (isBlank(*r->p)) r->p++;
    return r->p != start;
}

// A run of at most maxDigits digits; its value and length.
bool readNumber(Reader *r, int maxDigits, int32_t *value, int *digits) {
    int n = 0;
    int32_t v = 0;
    while (isDigit(r->p[n])) {
        if (n == maxDigits) return false;
        v = v * 10 + (r->p[n] - '0');
        n++;
    }
    if (n == 0) return false;
    r->p += n;
    *value = v;
    if (digits) *digits = n;
    return true;
}

bool equalNoCase(const char *text, size_t len, const char *name) {
    if (strlen(name) != len) return false;
    for (size_t i = 0; i < len; i++)
        if (lower(text[i]) != lower(name[i])) return false;
    return true;
}

// A month's full or abbreviated name: 1..12.
bool readMonthName(Reader *r, int32_t *month) {
    size_t len = 0;
    while (isLetter(r->p[len])) len++;
    for (int m = 0; m < 12 && len > 0; m++) {
        if (equalNoCase(r->p, len, r->reg->monthNames[m]) ||
            equalNoCase(r->p, len, r->reg->monthAbbrev[m])) {
            r->p += len;
            *month = m + 1;
            return true;
        }
    }
    return false;
}

// A year of one or two digits falls in the window 1930..2029.
int32_t windowed(int32_t year, int digits) {
    return digits > 2 ? year : year + (year < 30 ? 2000 : 1900);
}

bool readYear(Reader *r, int32_t *year) {
    int digits;
    if (!readNumber(r, 4, year, &digits)) return false;
    *year = windowed(*year, digits);
    return true;
}

// A separator of the listed characters; gives it, or 0.
char readSeparator(Reader *r, const char *allowed) {
    char c = *r->p;
    if (!c || !strchr(allowed, c)) return 0;
    r->p++;
    return c;
}

// Blanks, or a comma and any blanks.
bool readGap(Reader *r) {
    if (*r->p == ',') {
        r->p++;
        skipBlanks(r);
        return true;
    }
    return skipBlanks(r);
}

bool realDate(const DateFields *f) {
    if (f->month < 1 || f->month > 12 || f->day < 1 || f->year < 1 || f->year > 9999) return false;
    // The calendar clamps a day past the month's end, so a real day survives
    // the trip through the day number unchanged.
    DateFields back;
    SvcDayFromNumber(SvcDayNumber(f), &back);
    return back.day == f->day;
}

// N s N s N in the settings' order. The settings' own separator counts too
// when it is a single byte.
bool readNumericDate(Reader *r, DateFields *f) {
    char allowed[8] = "-/\\.";
    const char *own = r->reg->dateSeparator;
    if (own[0] && !own[1] && !isBlank(own[0]) && !strchr(allowed, own[0]))
        allowed[strlen(allowed)] = own[0];
    int32_t n[3];
    int digits[3];
    if (!readNumber(r, 4, &n[0], &digits[0])) return false;
    char sep = readSeparator(r, allowed);
    if (!sep || !readNumber(r, 4, &n[1], &digits[1]) || *r->p != sep) return false;
    r->p++;
    if (!readNumber(r, 4, &n[2], &digits[2])) return false;
    // Where month, day and year stand under each date order.
    static const int monthAt[3] = {0, 1, 1}, dayAt[3] = {1, 0, 2}, yearAt[3] = {2, 2, 0};
    int order = r->reg->dateOrder >= 0 && r->reg->dateOrder <= 2 ? r->reg->dateOrder : 0;
    if (digits[monthAt[order]] > 2 || digits[dayAt[order]] > 2) return false;
    f->month = n[monthAt[order]];
    f->day = n[dayAt[order]];
    f->year = windowed(n[yearAt[order]], digits[yearAt[order]]);
    return true;
}

// N s W s N: day, month name, year; or year, month name, day when the first
// number has more than two digits.
bool readWordDate(Reader *r, DateFields *f) {
    int32_t first;
    int digits;
    if (!readNumber(r, 4, &first, &digits) || !readSeparator(r, "-/\\.:") ||
        !readMonthName(r, &f->month) || !readSeparator(r, "-/\\.:"))
        return false;
    if (digits > 2) {
        f->year = first;
        return readNumber(r, 2, &f->day, nullptr);
    }
    f->day = first;
    return readYear(r, &f->year);
}

// N W gap N: day, month name, year.
bool readDayFirst(Reader *r, DateFields *f) {
    return readNumber(r, 2, &f->day, nullptr) && skipBlanks(r) && readMonthName(r, &f->month) &&
           readGap(r) && readYear(r, &f->year);
}

// W N gap N: month name, day, year.
bool readMonthFirst(Reader *r, DateFields *f) {
    return readMonthName(r, &f->month) && skipBlanks(r) && readNumber(r, 2, &f->day, nullptr) &&
           readGap(r) && readYear(r, &f->year);
}

bool readDate(Reader *r, DateFields *f) {
    bool (*const forms[])(Reader *, DateFields *) = {readNumericDate, readWordDate, readDayFirst,
                                                      readMonthFirst};
    for (auto form : forms) {
        Reader attempt = *r;
        DateFields d = *f;
        if (form(&attempt, &d) && realDate(&d)) {
            *r = attempt;
            *f = d;
            return true;
        }
    }
    return false;
}

// The AM or PM designator, not followed by a letter: 1 AM, 2 PM, 0 none.
int readDesignator(Reader *r) {
    const char *names[2] = {r->reg->am, r->reg->pm};
    for (int i = 0; i < 2; i++) {
        size_t len = strlen(names[i]);
        if (len && strlen(r->p) >= len && equalNoCase(r->p, len, names[i]) && !isLetter(r->p[len])) {
            r->p += len;
            return i + 1;
        }
    }
    return 0;
}

bool isTimeSeparator(const Reader *r) {
    char c = *r->p;
    const char *own = r->reg->timeSeparator;
    return (c == ':' || c == '.' || (own[0] == c && !own[1])) && isDigit(r->p[1]);
}

// The fraction digits as microseconds; digits past the sixth are dropped.
bool readFraction(Reader *r, int32_t *micro) {
    int n = 0;
    int32_t v = 0;
    for (; isDigit(r->p[n]); n++)
        if (n < 6) v = v * 10 + (r->p[n] - '0');
    if (n == 0) return false;
    for (int i = n; i < 6; i++) v *= 10;
    r->p += n;
    *micro = v;
    return true;
}

// A time; `minParts` is how many of hour, minute, second it needs when it has
// no designator.
bool readTime(Reader *r, DateFields *f, int minParts, bool designatorWillDo) {
    int32_t part[3] = {0, 0, 0};
    int32_t fraction = 0;
    int parts = 1;
    if (!readNumber(r, 2, &part[0], nullptr)) return false;
    while (parts < 4 && isTimeSeparator(r)) {
        r->p++;
        int digits = 2;
        if (parts == 3 ? !readFraction(r, &fraction) : !readNumber(r, 2, &part[parts], &digits))
            return false;
        if (digits != 2) return false;  // minutes and seconds have two digits
        parts++;
    }
    Reader afterTime = *r;
    skipBlanks(r);
    int designator = readDesignator(r);
    if (!designator) *r = afterTime;
    if (parts < minParts && !(designator && designatorWillDo)) return false;
    if (part[1] > 59 || part[2] > 59) return false;
    if (designator) {
        if (part[0] < 1 || part[0] > 12) return false;
        part[0] = part[0] % 12 + (designator == 2 ? 12 : 0);
    } else if (part[0] > 23) {
        return false;
    }
    f->hour = part[0];
    f->minute = part[1];
    f->second = part[2];
    f->fraction = fraction;
    return true;
}

bool atEnd(Reader *r) {
    skipBlanks(r);
    return *r->p == 0;
}

bool readDateAndTime(Reader *r, DateFields *f) {
    if (!readDate(r, f)) return false;
    f->hour = f->minute = f->second = f->fraction = 0;
    const char *dateEnd = r->p;
    if (atEnd(r)) return true;
    if (r->p != dateEnd) return readTime(r, f, 1, true);  // blanks stood between
    return readSeparator(r, "-/\\.:") && readTime(r, f, 2, false);
}

}  // namespace

extern "C" {

ZEMAPI int ZEMCALL SvcDateParse(ConvRequest *request) {
    if (!request || !request->input) return 0;
    Reader r = {request->input, SvcRegional()};
    DateFields f = request->date;
    skipBlanks(&r);
    bool ok;
    switch (request->kind) {
    case 1: ok = readDate(&r, &f); f.hour = f.minute = f.second = f.fraction = 0; break;
    case 2: ok = readTime(&r, &f, 2, true); break;
    case 3: ok = readDateAndTime(&r, &f); break;
    default: ok = false; break;
    }
    if (!ok || !atEnd(&r)) return 0;
    request->date = f;
    return 1;
}

}  // extern "C"
