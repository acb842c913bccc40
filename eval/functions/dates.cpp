// The built-in functions on DateTime values: their parts, dates built from
// parts, the day step and the date texts. A null date gives a null result or
// the empty text; a null entry in the argument vector (an argument that
// failed) fails the call.
#include <string.h>

#include "eval/convert.h"
#include "eval/datemath.h"
#include "eval/functions/builtins.h"
#include "services/services.h"

namespace {

enum { TEXT_BUFFER = 100 };  // what a date text takes at most

const DateTime *dateArg(void **arguments, int i) { return (const DateTime *)arguments[i]; }
bool isNull(const DateTime *value) { return value->bytes[0] == 0; }



void unpack(const DateTime *date, DateFields *fields) {
    SvcDateUnpack(date->bytes + 1, date->bytes[0], fields);
}

void pack(DateTime *result, const DateFields *fields) {
    result->bytes[0] = (unsigned char)SvcDatePack(result->bytes + 1, fields);
}

int quarterOf(const DateFields *f) {
    if (f->month <= 3) return 1;
    if (f->month <= 6) return 2;
    if (f->month <= 9) return 3;
    return 4;
}

// Weekdays from 0, Saturday, by the running day number.
int weekdayOf(const DateFields *f) { return (SvcDayNumber(f) + 2) % 7; }

int yearOf(const DateFields *f) { return f->year; }
int monthOf(const DateFields *f) { return f->month; }
int dayOf(const DateFields *f) { return f->day; }
int hourOf(const DateFields *f) { return f->hour; }
int minuteOf(const DateFields *f) { return f->minute; }
int secondOf(const DateFields *f) { return f->second; }

// A Number from one part of the date; null for a null date.
int datePart(void **value, void **arguments, int (*part)(const DateFields *)) {
    Number *result = NumberResult(value, arguments, 1);
    if (!result) return 0;
    const DateTime *date = dateArg(arguments, 0);
    if (isNull(date)) return 1;
    DateFields f;
    unpack(date, &f);
    SvcNumFromLong(result, part(&f));
    return 1;
}

// The date at midnight of the given day of its month; null stays null.
int dateOnDay(void **value, void **arguments, bool lastDay) {
    DateTime *result = NumberResult(value, arguments, 1);
    if (!result) return 0;
    const DateTime *date = dateArg(arguments, 0);
    if (isNull(date)) return 1;
    DateFields f;
    unpack(date, &f);
    f.day = lastDay ? DaysInMonth(f.month, f.year) : 1;
    f.hour = f.minute = f.second = f.fraction = 0;
    pack(result, &f);
    return 1;
}


}  // namespace

extern "C" {


BUILTIN(FUNDateYear) { return datePart(value, arguments, yearOf); }
BUILTIN(FUNDateMonth) { return datePart(value, arguments, monthOf); }
BUILTIN(FUNDateDay) { return datePart(value, arguments, dayOf); }
BUILTIN(FUNDateHour) { return datePart(value, arguments, hourOf); }
BUILTIN(FUNDateMinute) { return datePart(value, arguments, minuteOf); }
BUILTIN(FUNDateSecond) { return datePart(value, arguments, secondOf); }
BUILTIN(FUNDateQuarter) { return datePart(value, arguments, quarterOf); }
BUILTIN(FUNWeekDay) { return datePart(value, arguments, weekdayOf); }

BUILTIN(FUNDateMonthBegin) { return dateOnDay(value, arguments, false); }
BUILTIN(FUNDateMonthEnd) { return dateOnDay(value, arguments, true); }

// Nothing checks the parts: the calendar brings them into range as it packs.
BUILTIN(FUNDateConstruct) {
    DateTime *result = NumberResult(value, arguments, 6);
    if (!result) return 0;
    DateFields f;
    f.year = IntegerArgument(arguments[0]);
    f.month = IntegerArgument(arguments[1]);
    f.day = IntegerArgument(arguments[2]);
    f.hour = IntegerArgument(arguments[3]);
    f.minute = IntegerArgument(arguments[4]);
    f.second = IntegerArgument(arguments[5]);
    f.fraction = 0;
    pack(result, &f);
    return 1;
}

// The time of day stays as it was.
BUILTIN(FUNDateAddDay) {
    DateTime *result = NumberResult(value, arguments, 2);
    if (!result) return 0;
    Number days;
    SvcNumFromLong(&days, IntegerArgument(arguments[1]));
    DateStep(result, dateArg(arguments, 0), &days, '+', UnitDay);
    return 1;
}

BUILTIN(FUNDateToStr) {
    if (!HaveArguments(arguments, 1)) return 0;
    char buffer[TEXT_BUFFER];
    if (!DateToText(dateArg(arguments, 0), buffer)) buffer[0] = 0;
    return GiveText(size, value, buffer);
}

BUILTIN(FUNDateToStrPicture) {
    if (!HaveArguments(arguments, 2)) return 0;
    char buffer[TEXT_BUFFER];
    const char *picture = (const char *)arguments[1];
    if (!DateToTextPicture(dateArg(arguments, 0), picture, buffer)) buffer[0] = 0;
    return GiveText(size, value, buffer);
}

#undef BUILTIN

}  // extern "C"
