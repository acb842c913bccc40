// Date arithmetic: the unit rules with their carries, the month-end clip,
// whole-day differences and month lengths, with reference cases from
// Python's datetime.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>

#include "eval/datemath.h"

namespace {

const int kUnits[] = {UnitDay, UnitMonth, UnitYear, UnitHour, UnitMinute, UnitSecond};

DateTime dateOf(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int fraction = 0) {
    DateFields f = {mo, d, y, h, mi, s, fraction};
    DateTime v;
    memset(&v, 0, sizeof v);
    v.bytes[0] = (unsigned char)SvcDatePack(v.bytes + 1, &f);
    return v;
}

// "y-m-d h:m:s", "y-m-d h:m:s.f" with a fraction, or "null".
std::string show(const DateTime &v) {
    if (v.bytes[0] == 0) return "null";
    DateFields f;
    SvcDateUnpack(v.bytes + 1, v.bytes[0], &f);
    char text[80];
    snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", f.year, f.month, f.day, f.hour, f.minute,
             f.second);
    std::string out = text;
    if (f.fraction) out += "." + std::to_string(f.fraction);
    return out;
}

Number numberOf(const char *text) {
    Number n;
    SvcNumFromText(&n, text);
    return n;
}

std::string step(const DateTime &date, const char *count, int op, int unit) {
    Number n = numberOf(count);
    DateTime r;
    memset(&r, 0xA5, sizeof r);
    DateStep(&r, &date, &n, op, unit);
    return show(r);
}

TEST(DateMath, DaysInMonth) {
    struct { int month, year, days; } cases[] = {
        {2, 2000, 29}, {2, 1900, 28}, {2, 2004, 29}, {2, 2001, 28}, {2, 2100, 28},
        {2, 2400, 29}, {2, 0, 29},    {2, -4, 29},   {2, -100, 28}, {1, 2001, 31},
        {3, 2001, 31}, {4, 2001, 30}, {5, 2001, 31}, {6, 2001, 30}, {7, 2001, 31},
        {8, 2001, 31}, {9, 2001, 30}, {10, 2001, 31}, {11, 2001, 30}, {12, 2001, 31},
    };
    for (auto &c : cases)
        EXPECT_EQ(c.days, DaysInMonth(c.month, c.year)) << c.month << "/" << c.year;
}

TEST(DateMath, MonthsCarryYearsAndClipTheDay) {
    struct { DateTime date; const char *count; int op; const char *want; } cases[] = {
        {dateOf(2001, 3, 31), "1", '-', "2001-2-28 0:0:0"},
        {dateOf(2004, 3, 31), "1", '-', "2004-2-29 0:0:0"},
        {dateOf(2001, 1, 31), "1", '+', "2001-2-28 0:0:0"},
        {dateOf(2003, 1, 31), "13", '+', "2004-2-29 0:0:0"},
        {dateOf(2001, 1, 15), "23", '+', "2002-12-15 0:0:0"},
        {dateOf(2001, 3, 15), "21", '+', "2002-12-15 0:0:0"},
        {dateOf(2001, 1, 15), "1", '-', "2000-12-15 0:0:0"},
        {dateOf(2001, 1, 15), "13", '-', "1999-12-15 0:0:0"},
        {dateOf(2001, 1, 15), "12", '-', "2000-1-15 0:0:0"},
        {dateOf(2001, 1, 15), "24", '-', "1999-1-15 0:0:0"},
        {dateOf(2001, 12, 15), "12", '+', "2002-12-15 0:0:0"},
        {dateOf(2000, 2, 29), "12", '+', "2001-2-28 0:0:0"},
        {dateOf(2000, 2, 29), "48", '+', "2004-2-29 0:0:0"},
        {dateOf(2001, 5, 31, 13, 14, 15, 7), "-1", '+', "2001-4-30 13:14:15.7"},
        {dateOf(2001, 8, 31), "0", '+', "2001-8-31 0:0:0"},
    };
    for (auto &c : cases) EXPECT_EQ(c.want, step(c.date, c.count, c.op, UnitMonth)) << c.want;
}

TEST(DateMath, DaysKeepTheTimeOfDay) {
    DateTime d = dateOf(2001, 3, 1, 10, 20, 30, 123);
    EXPECT_EQ("2001-2-28 10:20:30.123", step(d, "1", '-', UnitDay));
    EXPECT_EQ("2001-2-28 10:20:30.123", step(d, "-1", '+', UnitDay));
    EXPECT_EQ(step(d, "3", '+', UnitDay), step(d, "3", '+', 0)) << "no unit means DAY";
    EXPECT_EQ("2002-1-1 0:0:0", step(dateOf(2001, 12, 31), "1", '+', 0));
    EXPECT_EQ("2000-12-31 0:0:0", step(dateOf(2001, 1, 1), "1", '-', 0));
    EXPECT_EQ("2001-3-2 10:20:30.123", step(d, "1.9", '+', 0)) << "the integer part only";
}

TEST(DateMath, YearsMoveTheYearAlone) {
    EXPECT_EQ("2011-6-30 1:2:3", step(dateOf(2001, 6, 30, 1, 2, 3), "10", '+', UnitYear));
    EXPECT_EQ("1991-6-30 1:2:3", step(dateOf(2001, 6, 30, 1, 2, 3), "10", '-', UnitYear));
    EXPECT_EQ("2004-2-29 0:0:0", step(dateOf(2000, 2, 29), "4", '+', UnitYear));
    // The day is not clipped by the rule; the calendar holds it to the 28th.
    EXPECT_EQ("2001-2-28 0:0:0", step(dateOf(2000, 2, 29), "1", '+', UnitYear));
}

TEST(DateMath, TimeFieldsCarryBothWays) {
    struct { DateTime date; const char *count; int op, unit; const char *want; } cases[] = {
        {dateOf(2001, 5, 10, 23, 30), "1", '+', UnitHour, "2001-5-11 0:30:0"},
        {dateOf(2001, 5, 10, 0, 30), "1", '-', UnitHour, "2001-5-9 23:30:0"},
        {dateOf(2001, 5, 10, 0, 30), "24", '-', UnitHour, "2001-5-9 0:30:0"},
        {dateOf(2001, 5, 10, 0, 30), "48", '+', UnitHour, "2001-5-12 0:30:0"},
        {dateOf(2001, 5, 10, 0, 30), "25", '-', UnitHour, "2001-5-8 23:30:0"},
        {dateOf(2001, 5, 10, 23, 59, 59), "1", '+', UnitSecond, "2001-5-11 0:0:0"},
        {dateOf(2001, 12, 31, 23, 59, 59), "1", '+', UnitSecond, "2002-1-1 0:0:0"},
        {dateOf(2002, 1, 1, 0, 0, 0), "1", '-', UnitSecond, "2001-12-31 23:59:59"},
        {dateOf(2001, 12, 31, 23, 59, 30), "1", '+', UnitMinute, "2002-1-1 0:0:30"},
        {dateOf(2001, 5, 10, 10, 0, 0), "60", '-', UnitMinute, "2001-5-10 9:0:0"},
        {dateOf(2001, 5, 10, 10, 0, 0), "3600", '-', UnitSecond, "2001-5-10 9:0:0"},
        {dateOf(2001, 5, 10, 10, 0, 0), "-3600", '+', UnitSecond, "2001-5-10 9:0:0"},
        {dateOf(2001, 5, 10, 10, 0, 0), "86400", '+', UnitSecond, "2001-5-11 10:0:0"},
        {dateOf(2001, 5, 10, 10, 5, 6, 77), "59", '+', UnitSecond, "2001-5-10 10:6:5.77"},
        {dateOf(2000, 2, 28, 23, 0, 0), "1", '+', UnitHour, "2000-2-29 0:0:0"},
        {dateOf(2001, 3, 1, 0, 0, 0), "1", '-', UnitMinute, "2001-2-28 23:59:0"},
    };
    for (auto &c : cases) EXPECT_EQ(c.want, step(c.date, c.count, c.op, c.unit)) << c.want;
}

TEST(DateMath, NullDateAndUnknownUnitGiveNull) {
    DateTime null;
    memset(&null, 0, sizeof null);
    DateTime d = dateOf(2001, 5, 10);
    EXPECT_EQ("null", step(null, "1", '+', 0));
    for (int unit : kUnits) EXPECT_EQ("null", step(null, "1", '+', unit));
    for (int unit : {3, 64, -1, UnitHour | UnitDay}) {
        Number n = numberOf("1");
        DateTime r;
        memset(&r, 0xA5, sizeof r);
        DateStep(&r, &d, &n, '+', unit);
        for (unsigned char b : r.bytes) ASSERT_EQ(0, b) << "unit " << unit << ": all bytes cleared";
    }
}

// Counts at the ends of the 32-bit range: the calendar holds a result
// beyond its years to its limits, and nothing overflows on the way.
TEST(DateMath, HugeCounts) {
    DateTime d = dateOf(2001, 5, 10, 12, 0, 0);
    for (int unit : {(int)UnitDay, (int)UnitMonth, (int)UnitYear, (int)UnitHour}) {
        EXPECT_EQ("9999", step(d, "2147483647", '+', unit).substr(0, 4)) << unit;
        EXPECT_EQ("-4712", step(d, "2147483648", '-', unit).substr(0, 5)) << unit;
        EXPECT_EQ("-4712", step(d, "-2147483648", '+', unit).substr(0, 5)) << unit;
    }
    EXPECT_EQ("6084-6-1 14:7:0", step(d, "2147483647", '+', UnitMinute));
    EXPECT_EQ("2069-5-28 15:14:7", step(d, "2147483647", '+', UnitSecond));
    EXPECT_EQ("1933-4-22 8:45:52", step(d, "-2147483648", '+', UnitSecond));
    EXPECT_EQ("1933-4-22 8:45:53", step(d, "2147483648", '-', UnitSecond)) << "held to 2^31 - 1";
}

TEST(DateMath, DifferenceInWholeDays) {
    struct { DateTime a, b; const char *want; } cases[] = {
        {dateOf(2001, 5, 10, 23, 59), dateOf(2001, 5, 11, 0, 1), "-1"},
        {dateOf(2001, 5, 10, 0, 0), dateOf(2001, 5, 10, 23, 59, 59), "0"},
        {dateOf(2001, 3, 1), dateOf(2001, 2, 28), "1"},
        {dateOf(2000, 3, 1), dateOf(2000, 2, 28), "2"},
        {dateOf(2001, 1, 1), dateOf(2000, 1, 1), "366"},
        {dateOf(1900, 1, 1), dateOf(2000, 1, 1), "-36524"},
    };
    for (auto &c : cases) {
        Number r;
        DateDifference(&r, &c.a, &c.b);
        Number want = numberOf(c.want);
        EXPECT_EQ(0, memcmp(&want, &r, sizeof r)) << c.want;
    }
    DateTime null, d = dateOf(2001, 1, 1);
    memset(&null, 0, sizeof null);
    for (auto [a, b] : {std::pair{&null, &d}, {&d, &null}, {&null, &null}}) {
        Number r = numberOf("5");
        DateDifference(&r, a, b);
        EXPECT_EQ(0, r.bytes[0]);
    }
}

TEST(DateMath, AgreesWithPythonDatetime) {
    std::ifstream in(DATEMATH_CASES_FILE);
    ASSERT_TRUE(in.good()) << DATEMATH_CASES_FILE;
    int steps = 0, differences = 0, bad = 0;
    for (std::string line; std::getline(in, line) && bad < 10;) {
        std::istringstream s(line);
        char kind;
        int y, mo, d, h, mi, sec;
        s >> kind >> y >> mo >> d >> h >> mi >> sec;
        DateTime date = dateOf(y, mo, d, h, mi, sec);
        if (kind == 'S') {
            char op;
            std::string count;
            int unit;
            s >> op >> count >> unit >> y >> mo >> d >> h >> mi >> sec;
            ASSERT_FALSE(s.fail()) << line;
            std::string got = step(date, count.c_str(), op, unit);
            if (got != show(dateOf(y, mo, d, h, mi, sec))) {
                ADD_FAILURE() << line << " gave " << got;
                bad++;
            }
            steps++;
        } else {
            int32_t days;
            s >> y >> mo >> d >> h >> mi >> sec >> days;
            ASSERT_FALSE(s.fail()) << line;
            DateTime other = dateOf(y, mo, d, h, mi, sec);
            Number r, want;
            DateDifference(&r, &date, &other);
            SvcNumFromLong(&want, days);
            if (memcmp(&r, &want, sizeof r) != 0) {
                ADD_FAILURE() << line;
                bad++;
            }
            differences++;
        }
    }
    EXPECT_GE(steps, 4000);
    EXPECT_GE(differences, 1000);
}

}  // namespace
