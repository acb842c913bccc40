// Date arithmetic on unpacked fields. Each unit has its rule; a time field
// that leaves its range carries whole units into the next larger field, up
// to the day. Counts are worked in 64 bits so that no sum can overflow; the
// calendar holds out-of-range days and years to its own limits.
#include "eval/datemath.h"

#include <string.h>

namespace {

bool isNull(const Number *value) { return value->bytes[0] == 0; }

void unpack(const DateTime *date, DateFields *fields) {
    SvcDateUnpack(date->bytes + 1, date->bytes[0], fields);
}

void pack(DateTime *result, const DateFields *fields) {
    result->bytes[0] = (unsigned char)SvcDatePack(result->bytes + 1, fields);
}

// Division rounded towards minus infinity, and the remainder that goes
// with it (always 0..m-1 for a positive m).
int64_t floorDiv(int64_t a, int64_t m) { return a / m - (a % m != 0 && a < 0); }
int64_t floorMod(int64_t a, int64_t m) { return a - floorDiv(a, m) * m; }

int32_t toInt32(int64_t v) {
    return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : (int32_t)v;
}

void stepDays(DateFields *f, int64_t n) {
    DateFields kept = *f;
    SvcDayFromNumber(toInt32(SvcDayNumber(f) + n), f);
    f->hour = kept.hour;
    f->minute = kept.minute;
    f->second = kept.second;
    f->fraction = kept.fraction;
}

void stepYears(DateFields *f, int64_t n) { f->year = toInt32(f->year + n); }

void stepMonths(DateFields *f, int64_t n) {
    int64_t v = f->month + n;
    int64_t year = f->year;
    if (v < 1 || v > 12) {
        year += floorDiv(v - 1, 12);
        v = floorMod(v - 1, 12) + 1;
    }
    f->month = (int32_t)v;
    f->year = toInt32(year);
    int last = DaysInMonth(f->month, f->year);
    if (f->day > last) f->day = last;
}

// One time field moved by n; whole overflows go to `carry`, the next
// larger unit's rule.
void stepTime(DateFields *f, int32_t *field, int64_t modulus, int64_t n,
              void (*carry)(DateFields *, int64_t)) {
    int64_t v = *field + n;
    if (v >= 0 && v < modulus) {
        *field = (int32_t)v;
        return;
    }
    *field = (int32_t)floorMod(v, modulus);
    carry(f, floorDiv(v, modulus));
}

void stepHours(DateFields *f, int64_t n) { stepTime(f, &f->hour, 24, n, stepDays); }
void stepMinutes(DateFields *f, int64_t n) { stepTime(f, &f->minute, 60, n, stepHours); }
void stepSeconds(DateFields *f, int64_t n) { stepTime(f, &f->second, 60, n, stepMinutes); }

}  // namespace

int DaysInMonth(int month, int year) {
    switch (month) {
    case 2: return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
    case 4: case 6: case 9: case 11: return 30;
    default: return 31;
    }
}

void DateStep(DateTime *result, const DateTime *date, const Number *count, int op, int unit) {
    memset(result, 0, sizeof *result);
    if (isNull(date)) return;
    int64_t n = SvcNumToLong(count);
    if (op == '-') n = -n;
    void (*rule)(DateFields *, int64_t);
    switch (unit) {
    case 0: case UnitDay: rule = stepDays; break;
    case UnitMonth: rule = stepMonths; break;
    case UnitYear: rule = stepYears; break;
    case UnitHour: rule = stepHours; break;
    case UnitMinute: rule = stepMinutes; break;
    case UnitSecond: rule = stepSeconds; break;
    default: return;
    }
    DateFields f;
    unpack(date, &f);
    rule(&f, n);
    pack(result, &f);
}

void DateDifference(Number *result, const DateTime *first, const DateTime *second) {
    if (isNull(first) || isNull(second)) {
        result->bytes[0] = 0;
        return;
    }
    DateFields a, b;
    unpack(first, &a);
    unpack(second, &b);
    SvcNumFromLong(result, SvcDayNumber(&a) - SvcDayNumber(&b));
}
