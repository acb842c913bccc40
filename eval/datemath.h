// Date arithmetic: a step of one calendar unit with its carries, the
// difference of two dates in days, and the length of a month.
#ifndef ZEM_DATEMATH_H
#define ZEM_DATEMATH_H

#include "zemi40.h"

// Unit codes, as the operator nodes carry them; 0 means DAY.
enum { UnitDay = 1, UnitMonth = 2, UnitYear = 4, UnitHour = 8, UnitMinute = 16, UnitSecond = 32 };

// result = date op count unit; op is '+' or '-'; count is not null.
void DateStep(DateTime *result, const DateTime *date, const Number *count, int op, int unit);
// result = days of first - days of second; null when either is null.
void DateDifference(Number *result, const DateTime *first, const DateTime *second);
int DaysInMonth(int month, int year);

#endif
