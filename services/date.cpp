// The calendar beneath DateTime values: the packed form inside the 25-byte
// value and the running day number.
//
// The calendar is the proleptic Gregorian one, for the years -4712 to 9999.
// The running day number is the Julian Day Number (1 January 2000 is
// 2451545), so (day number + 2) mod 7 counts the weekdays from Saturday.
//
// Fields out of range are brought into range before anything is packed or
// counted, by one rule:
//   - a month outside 1..12 carries whole years into the year (month 13 of
//     2001 is January 2002, month 0 is December of the year before);
//   - the year is then held to -4712..9999;
//   - the day is clamped into 1..the days of that month (29 February 2001
//     becomes 28 February 2001, day 40 of a 31-day month the 31st);
//   - hour, minute and second are clamped into 0..23 and 0..59, fraction
//     into 0..999999 microseconds.
// So DateConstruct(2001, 13, 40, 25, 61, 61) is 31 January 2002 23:59:59.
#include <string.h>

#include "services/values.h"

namespace {

enum { YEAR_MIN = -4712, YEAR_MAX = 9999, PACKED_BYTES = 10, YEAR_BIAS = 5000 };

int isLeap(int32_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int daysInMonth(int32_t month, int32_t year) {
    static const unsigned char days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : days[month - 1];
}

int32_t clamp(int32_t value, int32_t low, int32_t high) {
    return value < low ? low : value > high ? high : value;
}

// Division rounded towards minus infinity, for the month carry.
int32_t floorDiv(int32_t a, int32_t b) { return a / b - (a % b != 0 && (a < 0) != (b < 0)); }

// The out-of-range rule of the file comment.
DateFields normalised(const DateFields *in) {
    DateFields f = *in;
    if (f.month < 1 || f.month > 12) {
        int32_t w = clamp(f.month, -12000000, 12000000) - 1;
        int32_t carry = floorDiv(w, 12);
        f.month = w - carry * 12 + 1;
        // The year is held in range before adding so that nothing overflows.
        f.year = clamp(f.year, YEAR_MIN - 1000000, YEAR_MAX + 1000000) + clamp(carry, -1000000, 1000000);
    }
    f.year = clamp(f.year, YEAR_MIN, YEAR_MAX);
    f.day = clamp(f.day, 1, daysInMonth(f.month, f.year));
    f.hour = clamp(f.hour, 0, 23);
    f.minute = clamp(f.minute, 0, 59);
    f.second = clamp(f.second, 0, 59);
    f.fraction = clamp(f.fraction, 0, 999999);
    return f;
}

// Julian Day Number of a date in range. Counting years from -4800 keeps
// every quotient non-negative, so plain division is floor division.
int32_t julianDay(int32_t month, int32_t day, int32_t year) {
    int32_t a = (14 - month) / 12;
    int32_t y = year + 4800 - a;
    int32_t m = month + 12 * a - 3;
    return day + (153 * m + 2) / 5 + 365 * y + y / 4 - y / 100 + y / 400 - 32045;
}

int32_t firstDay(void) { return julianDay(1, 1, YEAR_MIN); }
int32_t lastDay(void) { return julianDay(12, 31, YEAR_MAX); }

}  // namespace

extern "C" {

ZEMAPI int32_t ZEMCALL SvcDayNumber(const DateFields *fields) {
    DateFields f = normalised(fields);
    return julianDay(f.month, f.day, f.year);
}

// A day number outside the calendar's years is held to its first or last day.
ZEMAPI void ZEMCALL SvcDayFromNumber(int32_t day, DateFields *fields) {
    int32_t a = clamp(day, firstDay(), lastDay()) + 32044;
    int32_t b = (4 * a + 3) / 146097;
    int32_t c = a - 146097 * b / 4;
    int32_t d = (4 * c + 3) / 1461;
    int32_t e = c - 1461 * d / 4;
    int32_t m = (5 * e + 2) / 153;
    fields->day = e - (153 * m + 2) / 5 + 1;
    fields->month = m + 3 - 12 * (m / 10);
    fields->year = 100 * b + d - 4800 + m / 10;
}

// Packed form, 10 bytes: year + 5000 in two bytes, month, day, hour, minute,
// second, fraction in three bytes, all most significant byte first. Equal
// dates therefore have equal bytes.
ZEMAPI int ZEMCALL SvcDatePack(unsigned char *content, const DateFields *fields) {
    DateFields f = normalised(fields);
    uint32_t year = (uint32_t)(f.year + YEAR_BIAS);
    content[0] = (unsigned char)(year >> 8);
    content[1] = (unsigned char)year;
    content[2] = (unsigned char)f.month;
    content[3] = (unsigned char)f.day;
    content[4] = (unsigned char)f.hour;
    content[5] = (unsigned char)f.minute;
    content[6] = (unsigned char)f.second;
    content[7] = (unsigned char)(f.fraction >> 16);
    content[8] = (unsigned char)(f.fraction >> 8);
    content[9] = (unsigned char)f.fraction;
    return PACKED_BYTES;
}

// A short count reads the missing bytes as zero; the fields then go through
// the out-of-range rule, so whatever the bytes hold gives a valid date.
ZEMAPI void ZEMCALL SvcDateUnpack(const unsigned char *content, int count, DateFields *fields) {
    unsigned char b[PACKED_BYTES] = {0};
    if (count > PACKED_BYTES) count = PACKED_BYTES;
    if (count > 0) memcpy(b, content, (size_t)count);
    DateFields f;
    f.year = (int32_t)((b[0] << 8) | b[1]) - YEAR_BIAS;
    f.month = b[2];
    f.day = b[3];
    f.hour = b[4];
    f.minute = b[5];
    f.second = b[6];
    f.fraction = (int32_t)(((uint32_t)b[7] << 16) | ((uint32_t)b[8] << 8) | b[9]);
    *fields = normalised(&f);
}

}  // extern "C"
