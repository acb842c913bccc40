// Date arithmetic: what tests/datemath_oracle.py leaves out (fractions, a
// count's fraction, counts at the ends of 32 bits, null dates, bad units).
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>

#include "eval/datemath.h"

namespace {

DateTime dateOf(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int fraction = 0) {
    DateFields f = {mo, d, y, h, mi, s, fraction};
    DateTime v;
    memset(&v, 0, sizeof v);
    v.bytes[0] = (unsigned char)SvcDatePack(v.bytes + 1, &f);
    return v;
}

std::string show(const DateTime &v) {
    if (v.bytes[0] == 0) return "null";
    DateFields f;
    SvcDateUnpack(v.bytes + 1, v.bytes[0], &f);
    char text[80];
    snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", f.year, f.month, f.day, f.hour, f.minute, f.second);
    return text + (f.fraction ? "." + std::to_string(f.fraction) : "");
}

// The result of the step, with every byte of a null result checked.
std::string step(const DateTime &date, const char *count, int op, int unit) {
    Number n;
    SvcNumFromText(&n, count);
    DateTime r;
    memset(&r, 0xA5, sizeof r);
    DateStep(&r, &date, &n, op, unit);
    for (unsigned char b : r.bytes)
        if (r.bytes[0] == 0 && b != 0) return "null with bytes left";
    return show(r);
}

}  // namespace

TEST(DateMath, Steps) {
    const int months[][3] = {{2, 0, 29}, {2, -4, 29}, {2, -100, 28}, {2, 2400, 29}};
    for (auto &c : months) EXPECT_EQ(c[2], DaysInMonth(c[0], c[1])) << c[0] << "/" << c[1];
    DateTime null, d = dateOf(2001, 5, 10, 12, 0, 0);
    memset(&null, 0, sizeof null);
    const struct { DateTime date; const char *count; int op, unit; const char *want; } cases[] = {
        {dateOf(2001, 5, 31, 13, 14, 15, 7), "-1", '+', UnitMonth, "2001-4-30 13:14:15.7"},
        {dateOf(2001, 3, 1, 10, 20, 30, 123), "1.9", '+', 0, "2001-3-2 10:20:30.123"},
        {dateOf(2001, 5, 10, 10, 5, 6, 77), "59", '+', UnitSecond, "2001-5-10 10:6:5.77"},
        {d, "2147483647", '+', UnitMinute, "6084-6-1 14:7:0"}, {d, "2147483647", '+', UnitSecond, "2069-5-28 15:14:7"},
        {d, "-2147483648", '+', UnitSecond, "1933-4-22 8:45:52"},
        {d, "2147483648", '-', UnitSecond, "1933-4-22 8:45:53"},  // held to 2^31 - 1
        {null, "1", '+', 0, "null"}, {null, "1", '-', UnitMonth, "null"}, {null, "1", '+', UnitSecond, "null"},
        {d, "1", '+', 3, "null"}, {d, "1", '+', 64, "null"}, {d, "1", '+', -1, "null"}, {d, "1", '+', UnitHour | UnitDay, "null"},
    };
    for (auto &c : cases) EXPECT_EQ(c.want, step(c.date, c.count, c.op, c.unit)) << c.want;
    for (int unit : {(int)UnitDay, (int)UnitMonth, (int)UnitYear, (int)UnitHour}) {
        EXPECT_EQ("9999", step(d, "2147483647", '+', unit).substr(0, 4)) << unit;
        EXPECT_EQ("-4712", step(d, "2147483648", '-', unit).substr(0, 5)) << unit;
    }
    for (auto [a, b] : {std::pair{&null, &d}, {&d, &null}}) {
        Number r;
        SvcNumFromText(&r, "5");
        DateDifference(&r, a, b);
        EXPECT_EQ(0, r.bytes[0]);
    }
}

TEST(DateMath, AgreesWithPythonDatetime) {
    std::ifstream in(DATEMATH_CASES_FILE);
    ASSERT_TRUE(in.good()) << DATEMATH_CASES_FILE;
    int count[2] = {0, 0}, bad = 0;
    for (std::string line; std::getline(in, line) && bad < 10;) {
        std::istringstream s(line);
        char kind, op;
        int y, mo, d, h, mi, sec, unit, days;
        std::string n;
        s >> kind >> y >> mo >> d >> h >> mi >> sec;
        DateTime date = dateOf(y, mo, d, h, mi, sec);
        if (kind == 'S') s >> op >> n >> unit;
        s >> y >> mo >> d >> h >> mi >> sec;
        DateTime other = dateOf(y, mo, d, h, mi, sec);
        Number diff, want;
        if (kind == 'D') s >> days, DateDifference(&diff, &date, &other), SvcNumFromLong(&want, days);
        bool ok = kind == 'S' ? step(date, n.c_str(), op, unit) == show(other) : !memcmp(&diff, &want, sizeof diff);
        count[kind == 'S']++;
        if (s.fail() || !ok) ADD_FAILURE() << line, bad++;
    }
    EXPECT_GE(count[1], 4000);
    EXPECT_GE(count[0], 1000);
}
