// The decimal Number services, the calendar, date arithmetic, reading and writing dates, number formats
// and pictures, and the regional settings; with reference cases from tests/oracles.py.
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "eval/convert.h"
#include "eval/datemath.h"
#include "services/platform.h"
#include "support.h"

namespace {

DateFields fields(int32_t y, int32_t mo, int32_t d, int32_t h = 0, int32_t mi = 0, int32_t s = 0, int32_t f = 0) {
    return DateFields{mo, d, y, h, mi, s, f};
}

std::string show(const DateFields &f) {  // "2000-01-02 12:30:00[.fraction]"
    char text[96];
    int n = snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour, f.minute, f.second);
    if (f.fraction) snprintf(text + n, sizeof text - n, ".%06d", f.fraction);
    return text;
}

DateTime dateOf(const DateFields &f) {
    DateTime d = {};
    d.bytes[0] = (unsigned char)SvcDatePack(d.bytes + 1, &f);
    return d;
}

Number num(const char *text) {  // null for nullptr or "null"
    Number n = {};
    if (text && strcmp(text, "null")) SvcNumFromText(&n, text);
    return n;
}

// Digits without trailing zeros, E and the exponent of the last digit.
std::string canonical(const Number &v) {
    NumDigits d;
    if (!NumDecode(&v, &d)) return "null";
    // Byte 0 counts the bytes used behind it: the sign, the digit count, two of exponent, the digit pairs.
    if (v.bytes[0] != 4 + (d.count + 1) / 2) return "length byte " + std::to_string(v.bytes[0]);
    if (d.count == 0) return "0";
    return std::string(d.negative ? "-" : "") + std::string(d.digits, d.count) + "E" +
           std::to_string(d.exponent);
}

// The same value as a host may build it by hand: a leading zero digit when there is room, and each 9 as a
// nibble above 9, which reads as 9.
Number handBuilt(Number v) {
    unsigned char *b = v.bytes;
    int count = b[2];
    if (b[0] == 0 || count == 0) return v;
    if (count < 40) {
        for (int i = 24; i > 5; i--) b[i] = (unsigned char)(b[i] >> 4 | b[i - 1] << 4);
        b[5] >>= 4;
        b[2] = (unsigned char)++count;
        b[0] = (unsigned char)(4 + (count + 1) / 2);
    }
    for (int i = 0; i < count; i++) {
        int shift = i % 2 ? 0 : 4;
        unsigned char &byte = b[5 + i / 2];
        if ((byte >> shift & 0x0F) == 9) byte = (unsigned char)((byte & ~(0x0F << shift)) | (0x0A + i % 6) << shift);
    }
    return v;
}

// What op makes of a and b, as the reference cases write it; besides theirs: text (a read as a literal),
// long, int, double (of strtod of a), todouble (ok when strtod of b), encode (the digits a times 10^b).
// byHand gives the operands as handBuilt does.
std::string apply(const std::string &op, const char *a, const char *b, bool byHand = false) {
    Number x = num(a), y = num(b), r;
    if (byHand) x = handBuilt(x), y = handBuilt(y);
    memset(&r, 0xAB, sizeof r);
    double d = -1;
    if (op == "cmp") {
        int c = SvcNumCompare(&x, &y);
        return std::to_string((c > 0) - (c < 0));
    }
    if (op == "long") return std::to_string(SvcNumToLong(&x));
    if (op == "todouble") {
        SvcNumToDouble(&x, &d);
        return d == strtod(b, nullptr) ? "ok" : std::to_string(d);
    }
    if (op == "round") SvcNumRound(&r, &x, atoi(b));
    if (op == "trunc") SvcNumTruncate(&(r = x), 300, atoi(b));
    if (op == "text") SvcNumFromText(&r, a);
    if (op == "double") SvcNumFromDouble(&r, strtod(a, nullptr));
    if (op == "encode") NumEncodeDigits(&r, *a == '-', a + (*a == '-'), (int)strlen(a + (*a == '-')), atoi(b));
    if (op == "int") SvcNumFromInt(&r, atoi(a));
    auto fn = op == "add" ? SvcNumAdd : op == "sub" ? SvcNumSub : op == "mul" ? SvcNumMul
              : op == "div" ? SvcNumDiv : nullptr;
    if (fn) fn(&r, &x, &y);
    return canonical(r);
}

// show() of a date step's result; a null result must have every byte 0.
std::string step(const DateTime &date, const char *count, int op, int unit) {
    DateTime r, null = {};
    DateFields f;
    memset(&r, 0xA5, sizeof r);
    Number n = num(count);
    DateStep(&r, &date, &n, op, unit);
    if (!r.bytes[0]) return memcmp(&r, &null, sizeof r) ? "null with bytes left" : "null";
    SvcDateUnpack(r.bytes + 1, r.bytes[0], &f);
    return show(f);
}

// Restores the default regional settings and code page when a test ends.
struct Settings {
    ZEMRegional r;
    Settings() { ZEMGetRegionalSettings(&r); }
    void apply() { ASSERT_TRUE(ZEMSetRegionalSettings(&r)); }
    void german() {  // "," point, "." grouping, day/month/year, " DM" behind
        r.dateOrder = 1;
        strcpy(r.dateSeparator, ".");
        strcpy(r.decimalPoint, ",");
        strcpy(r.grouping, ".");
        strcpy(r.currency, " DM");
        r.currencyAfter = r.clock24 = 1;
        apply();
    }
    ~Settings() { ZEMSetRegionalSettings(nullptr), SvcSelectCodePage(932); }
};

// The text of a picture, or with a null picture the default format of kind; "" when refused.
std::string format(const char *picture, const DateFields &d, int kind = 3) {
    ConvRequest request;
    SvcConvInit(&request);
    char text[100];
    request.output = text;
    request.kind = kind;
    request.useDefaults = picture == nullptr;
    request.picture = request.picture2 = picture;
    request.date = d;
    return SvcDateFormat(&request, 0) ? text : "";
}

// show() of the date read, or "-" when refused (the fields then stay as they were).
std::string parse(const char *text, int kind = 3) {
    ConvRequest request;
    SvcConvInit(&request);
    request.kind = kind;
    request.input = text;
    DateFields before = request.date;
    int ok = SvcDateParse(&request);
    return ok ? show(request.date) : show(request.date) == show(before) ? "-" : "refused but changed";
}

}  // namespace

TEST(Number, EdgeCasesReferenceCasesOperandsAndEqualBytes) {
    const struct { const char *op, *a, *b, *want; } cases[] = {
        {"add", "null", "1", "null"}, {"add", "1", "null", "null"}, {"sub", "-1", "null", "null"},
        {"mul", "null", "null", "null"}, {"div", "null", "2", "null"}, {"div", "1", "0", "null"}, {"div", "0", "-7", "0"},
        {"mul", "4294967296", "4294967296", "18446744073709551616E0"},  // short operands, 2^64 as product
        // 79-digit products whose dropped digits are 5 and then zeros down to one unit in the lowest 32
        // digits, or none: a tie left to even, else rounded up
        {"mul", "8170611634433877345018440218891048189952", "1189322938173063448630273342132568359375", "9717495835735915197582732028748728154766E39"},
        {"mul", "1234567890123456789012345678901234567891", "1888759546548899064663327711822677925211", "2331801888333411288917719182455223458525E39"},
        {"mul", "1234567890123456789012345678901234567891", "2154889906466332771182267792521100000000", "2660357885274473593883792513416111458823E39"},
        {"mul", "1234567890123456789012345678901234567891", "2146633277118226779252110000000000000000", "2650164515800650966982838317446183831747E39"},
        {"mul", "1234567890123456789012345678901234567891", "1211822677925211000000000000000000000000", "1496077366689885058743778505874377850589E39"},
        // short operands whose result has its leading digit just inside or just past the range
        {"add", "4.0E+300", "5.0E+300", "9E300"}, {"add", "5.0E+300", "5.0E+300", "null"},
        {"mul", "2.0E+150", "5.0E+150", "null"}, {"div", "1.0E-299", "2", "5E-300"}, {"div", "1.0E-300", "2", "0"},
        {"mul", "1.0E-150", "1.0E-151", "0"},
        {"add", "1.000000000000000000000000000000000000002", "5.000000000000000000000000000000000000001E-40", "1000000000000000000000000000000000000003E-39"},
        {"div", "108760847838574171285357002", "83788126777700146700000000092336056", "1298046059999999999999999998569529379685E-48"},
        {"div", "58781458159009828352013016", "8170954104537609470000000000748981", "7193952799999999999999999999340574687709E-48"},
        {"cmp", "0", "-0", "0"}, {"cmp", "1", "null", "1"}, {"cmp", "-1.0E+300", "null", "1"},
        {"cmp", "null", "-1.0E+300", "-1"}, {"cmp", "null", "null", "0"}, {"round", "1.5", "2147483647", "15E-1"},
        {"round", "1.5", "-2147483648", "0"}, {"round", "null", "2", "null"}, {"trunc", "1.5", "2147483647", "15E-1"},
        {"trunc", "1.5", "-2147483648", "0"}, {"trunc", "null", "2", "null"}, {"text", "12.", "x", "12E0"},
        {"text", "10000000000000000000000000000000000000005000", "x", "1E43"},  // a tie to even
        {"text", ".5", "x", "5E-1"}, {"text", "+2", "x", "2E0"}, {"text", "-0.000", "x", "0"},
        {"text", "1.5e-3", "x", "15E-4"}, {"text", "1.0E+301", "x", "null"}, {"text", "9.0E-301", "x", "0"},
        {"text", "1.0e+99999999999999999999", "x", "null"}, {"text", "1.0e-99999999999999999999", "x", "0"},
        {"text", "12345678901234567890123456789012345678905", "x", "123456789012345678901234567890123456789E2"},
        {"text", "1234567890123456789012345678901234567890500000000000000000001", "x", "1234567890123456789012345678901234567891E21"},
        {"text", "0.000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000012", "x", "12E-99"},
        {"text", "1.5E3", "x", "0"}, {"text", "1.E+3", "x", "0"}, {"text", ".5E+1", "x", "0"}, {"text", "1.5E+", "x", "0"},
        {"text", "", "x", "0"}, {"text", ".", "x", "0"}, {"text", "-", "x", "0"}, {"text", "1 ", "x", "0"},
        {"text", nullptr, "x", "0"}, {"long", "2.9", "x", "2"}, {"long", "2147483648", "x", "2147483647"},
        {"long", "-2147483649", "x", "-2147483648"}, {"long", "1.0E+300", "x", "2147483647"},
        {"long", "-1.0E+300", "x", "-2147483648"}, {"long", "1.0E-300", "x", "0"}, {"long", "null", "x", "0"},
        {"int", "-40", "x", "-4E1"}, {"int", "2147483647", "x", "2147483647E0"}, {"int", "-2147483648", "x", "-2147483648E0"},
        {"double", "0.3", "x", "3E-1"}, {"double", "0x1.5555555555555p-2", "x", "3333333333333333E-16"},
        {"double", "123456789012345680000.0", "x", "12345678901234568E4"}, {"double", "1e-301", "x", "0"},
        {"double", "6.02214076e23", "x", "602214076E15"}, {"double", "-1e-300", "x", "-1E-300"},
        {"double", "4503599627370497.0", "x", "4503599627370497E0"}, {"double", "1e301", "x", "null"},
        {"todouble", "0.3333333333333333333333333333333333333333", "0x1.5555555555555p-2", "ok"},
        {"todouble", "9.999999999999999999999999999999999999999E+300", "1e301", "ok"},
        {"todouble", "123456789012345678901234567890", "1.2345678901234568e29", "ok"}, {"todouble", "null", "0", "ok"},
        {"text", "0.0E+99999", "x", "0"}, {"double", "nan", "x", "null"}, {"double", "inf", "x", "null"},
        {"encode", "000123", "0", "123E0"}, {"encode", "-12300", "-2", "-123E0"}, {"encode", "", "0", "0"},
        {"encode", "0000123456789012345678901234567890123456789049999", "-5", "123456789012345678901234567890123456789E1"},
        {"encode", "99999999999999999999999999999999999999995", "260", "null"}, {"encode", "1", "301", "null"},
        {"encode", "99", "-302", "0"}, {"encode", "999999999999999999999999999999999999999999", "-342", "1E-300"},
    };
    for (const auto &c : cases) EXPECT_EQ(apply(c.op, c.a, c.b), c.want) << c.op << " " << c.a << " " << c.b;
    EXPECT_GE(EachReferenceLine(ZEM_NUMBER_CASES, ' ', [](const CaseFields &c) {
        std::string got = apply(c.at(0), c.at(1).c_str(), c.at(2).c_str());
        if (got == c.at(3) && c.at(0) != "cmp" && c.at(0) != "round" && c.at(0) != "trunc")
            got = apply(c.at(0), c.at(1).c_str(), c.at(2).c_str(), true);
        return got == c.at(3) ? "" : "got " + got;
    }), 4000);
    // A result may be an operand; zero has one form whatever its sign or path, and so has any value.
    Number a = num("1.25"), b = num("0.5");
    SvcNumAdd(&a, &a, &a);
    SvcNumMul(&a, &a, &a);
    SvcNumDiv(&b, &a, &b);
    EXPECT_EQ(canonical(b), "125E-1");
    SvcNumRound(&a, &a, 1);
    EXPECT_EQ(canonical(a), "63E-1");
    SvcNumSub(&b, &b, &b);
    EXPECT_EQ(canonical(b), "0");
    Number zero, minusOne = num("-1"), one = num("1"), small = num("-0.4"), three = num("3"), half = num("0.5");
    SvcNumFromInt(&zero, 0);
    Number zeros[10] = {num("-0"), num("0.000"), num("-0.0E+5"), zero, num("null")}, ways[4] = {num("1.500")};
    SvcNumFromDouble(&zeros[9], -0.0);
    SvcNumNegate(&zeros[3]);
    SvcNumNullToZero(&zeros[4]);
    SvcNumAdd(&zeros[5], &minusOne, &one);
    SvcNumMul(&zeros[6], &minusOne, &zero);
    SvcNumRound(&zeros[7], &small, 0);
    SvcNumTruncate(&small, 300, 0);
    zeros[8] = small;
    for (const Number &z : zeros) EXPECT_EQ(0, memcmp(&z, &zero, sizeof z)) << canonical(z);
    Number two = num("2"), null = num("null"), five = num("5"), oneHalf = num("1.5");
    SvcNumDiv(&ways[1], &three, &two);
    SvcNumMul(&ways[2], &three, &half);
    SvcNumFromDouble(&ways[3], 1.5);
    for (const Number &w : ways) EXPECT_EQ(0, memcmp(&w, &oneHalf, sizeof w)) << canonical(w);
    EXPECT_FALSE(SvcNumIsZero(&null));
    SvcNumNullToZero(&five);
    EXPECT_EQ(canonical(five), "5E0");
}

TEST(Calendar, DayNumbersFieldsStepsAndReferenceCases) {
    const struct { DateFields date; int32_t day; } days[] = {
        {fields(-4712, 1, 1), 38}, {fields(0, 3, 1), 1721120}, {fields(-1, 12, 31), 1721059}};
    for (const auto &c : days) {
        DateFields back = fields(0, 0, 0);
        SvcDayFromNumber(c.day, &back);
        EXPECT_EQ(c.day, SvcDayNumber(&c.date)) << show(c.date);
        EXPECT_EQ(show(c.date), show(back));
    }
    const int32_t big = INT32_MAX, small = INT32_MIN;
    const struct { DateFields in, out; } cases[] = {
        {fields(-100, 2, 31), fields(-100, 2, 28)}, {fields(2001, 13, 40, 25, 61, 61), fields(2002, 1, 31, 23, 59, 59)},
        {fields(2000, -12, 15), fields(1998, 12, 15)}, {fields(2000, 5, -7, -1, -1, -1, -1), fields(2000, 5, 1)},
        {fields(2000, 5, 5, 1, 2, 3, 1000000), fields(2000, 5, 5, 1, 2, 3, 999999)}, {fields(0, 0, 0), fields(-1, 12, 1)},
        {fields(big, big, big, big, big, big, big), fields(9999, 12, 31, 23, 59, 59, 999999)},
        {fields(small, small, small, small, small, small, small), fields(-4712, 12, 1)},
        {fields(-4712, 1, 1, 0, 0, 0, 1), fields(-4712, 1, 1, 0, 0, 0, 1)},
        {fields(-1, 6, 15, 6, 7, 8, 65536), fields(-1, 6, 15, 6, 7, 8, 65536)},
    };
    for (const auto &c : cases) {
        unsigned char packed[24];
        DateFields out, day = fields(c.out.year, c.out.month, c.out.day);
        SvcDateUnpack(packed, SvcDatePack(packed, &c.in), &out);
        EXPECT_EQ(show(c.out), show(out)) << show(c.in);
        EXPECT_EQ(SvcDayNumber(&day), SvcDayNumber(&c.in)) << "day number of " << show(c.in);
    }
    // Python's datetime: the day number, the names, and the default text both ways.
    EXPECT_GT(EachReferenceLine(DATE_CASES_FILE, '\t', [](const CaseFields &col) {
        auto n = [&col](size_t i) { return stoi(col.at(i)); };
        DateFields d = fields(n(0), n(1), n(2), n(3), n(4), n(5)), back = fields(0, 0, 0);
        SvcDayFromNumber(n(6), &back);
        bool ok = col.size() == 10 && SvcDayNumber(&d) == n(6);
        ok = ok && show(back) == show(fields(d.year, d.month, d.day));
        ok = ok && format("dddd|mmmm", d) == col[7] + "|" + col[8] && format(nullptr, d) == col[9];
        ok = ok && parse(col[9].c_str()) == show(d);
        return ok ? "" : "day " + std::to_string(SvcDayNumber(&d)) + ", text " + format(nullptr, d);
    }), 4000);
    const int months[][3] = {{2, 0, 29}, {2, -4, 29}, {2, -100, 28}, {2, 2400, 29}};
    for (auto &c : months) EXPECT_EQ(c[2], DaysInMonth(c[0], c[1])) << c[0] << "/" << c[1];
    DateTime null = {}, d = dateOf(fields(2001, 5, 10, 12));
    const struct { DateTime date; const char *count; int op, unit; const char *want; } stepCases[] = {
        {dateOf(fields(2001, 5, 31, 13, 14, 15, 7)), "-1", '+', UnitMonth, "2001-04-30 13:14:15.000007"},
        {dateOf(fields(2001, 3, 1, 10, 20, 30, 123)), "1.9", '+', 0, "2001-03-02 10:20:30.000123"},
        {dateOf(fields(2001, 5, 10, 10, 5, 6, 77)), "59", '+', UnitSecond, "2001-05-10 10:06:05.000077"},
        {d, "2147483647", '+', UnitMinute, "6084-06-01 14:07:00"}, {d, "-2147483648", '+', UnitSecond, "1933-04-22 08:45:52"},
        {d, "2147483647", '+', UnitSecond, "2069-05-28 15:14:07"},
        {d, "2147483648", '-', UnitSecond, "1933-04-22 08:45:53"},  // held to 2^31 - 1
        {null, "1", '+', 0, "null"}, {null, "1", '-', UnitMonth, "null"}, {null, "1", '+', UnitSecond, "null"},
        {d, "1", '+', 3, "null"}, {d, "1", '+', 64, "null"}, {d, "1", '+', -1, "null"}, {d, "1", '+', UnitHour | UnitDay, "null"},
    };
    for (auto &c : stepCases) EXPECT_EQ(c.want, step(c.date, c.count, c.op, c.unit)) << c.want;
    for (int unit : {(int)UnitDay, (int)UnitMonth, (int)UnitYear, (int)UnitHour}) {
        EXPECT_EQ("9999", step(d, "2147483647", '+', unit).substr(0, 4)) << unit;
        EXPECT_EQ("-4712", step(d, "2147483648", '-', unit).substr(0, 5)) << unit;
    }
    for (auto [a, b] : {std::pair{&null, &d}, {&d, &null}}) {
        Number r = num("5");
        DateDifference(&r, a, b);
        EXPECT_EQ(0, r.bytes[0]);
    }
    int steps = 0;  // and the steps and differences of Python's datetime
    int lines = EachReferenceLine(DATEMATH_CASES_FILE, ' ', [&steps](const CaseFields &c) {
        auto at = [&c](size_t i) {  // the date and time in c[i] to c[i + 5]
            auto n = [&c](size_t k) { return stoi(c.at(k)); };
            return fields(n(i), n(i + 1), n(i + 2), n(i + 3), n(i + 4), n(i + 5));
        };
        DateTime date = dateOf(at(1));
        if (c.at(0) == "S") {
            steps++;
            return step(date, c.at(8).c_str(), c[7][0], stoi(c[9])) == show(at(10)) ? "" : "step";
        }
        DateTime other = dateOf(at(7));
        Number diff, want;
        DateDifference(&diff, &date, &other);
        SvcNumFromLong(&want, stoi(c.at(13)));
        return c.size() == 14 && !memcmp(&diff, &want, sizeof diff) ? "" : "difference";
    });
    EXPECT_GE(steps, 4000);
    EXPECT_GE(lines - steps, 1000);
}

TEST(DateText, ReadingPicturesWidthsAndSettings) {
    Settings keep;
    const char *Jan2 = "2000-01-02 00:00:00", *Jan1 = "2000-01-01 00:00:00", *T = "2000-01-02 12:30:00";
    const struct { const char *text; int kind; const char *expect; } reads[] = {
        {"1-2-2000", 1, Jan2}, {"1\\2\\2000", 1, Jan2}, {" 1/2/2000\t", 1, Jan2}, {"10-5-3", 1, "2003-10-05 00:00:00"},
        {"1/2/29", 1, "2029-01-02 00:00:00"}, {"1/2/30", 1, "1930-01-02 00:00:00"}, {"1/2/100", 1, "100-01-02 00:00:00"},
        {"31.DECEMBER.99", 1, "1999-12-31 00:00:00"}, {"2000-Feb-1", 1, "2000-02-01 00:00:00"}, {"1 January, 2000", 1, Jan1},
        {"Jan 1, 2000", 1, Jan1}, {"13-5-3", 1, "-"}, {"4/31/2000", 1, "-"}, {"0/1/2000", 1, "-"}, {"1/2/0000", 1, "-"},
        {"1/2/20000", 1, "-"}, {"001/2/2000", 1, "-"}, {"001 Jan 2000", 1, "-"}, {"Jan 001, 2000", 1, "-"},
        {"2000-Jan-001", 1, "-"}, {"1/2-2000", 1, "-"}, {"1:2:2000", 1, "-"}, {"1/2", 1, "-"}, {"1 Foo 2000", 1, "-"},
        {"Jan 1 , 2000", 1, "-"}, {"1/2/2000x", 1, "-"}, {"", 1, "-"}, {"1/2/2000 12:30", 1, "-"},
        {"1/2/2000 1:30:15.1234567", 3, "2000-01-02 01:30:15.123456"}, {"1/2/2000 12:30 am", 3, "2000-01-02 00:30:00"},
        {"1/2/2000 3PM", 3, "2000-01-02 15:00:00"}, {"1/2/2000 12.30", 3, T}, {"1 Jan 2000 12:30 PM", 3, "2000-01-01 12:30:00"},
        {"1.2.2000.12.30", 3, T}, {"1/2/2000-12:30", 3, T}, {"1/2/2000-3", 3, "-"}, {"1.2.2000.12", 3, "-"},
        {"1/2/2000 25:00", 3, "-"}, {"1/2/2000 12:60", 3, "-"}, {"1/2/2000 12:30:60", 3, "-"}, {"1/2/2000 13 PM", 3, "-"},
        {"1/2/2000 0 AM", 3, "-"}, {"1/2/2000 12:5", 3, "-"}, {"1/2/2000 1 PMX", 3, "-"}, {"12:30", 3, "-"},
        {"12 AM", 2, "1900-01-01 00:00:00"}, {"1.30.15.25", 2, "1900-01-01 01:30:15.250000"}, {"3", 2, "-"},
        {"24:00", 2, "-"}, {"12:30:15:25:1", 2, "-"}, {"1/2/2000", 2, "-"}, {"12:30", 1, "-"}, {"12:30", 4, "-"},
    };
    for (const auto &c : reads) EXPECT_EQ(c.expect, parse(c.text, c.kind)) << c.text << " kind " << c.kind;
    keep.r.dateOrder = 1;
    strcpy(keep.r.monthAbbrev[2], "Mrz");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    EXPECT_EQ("2003-05-13 00:00:00 2000-03-01 00:00:00 - - 2000-01-02 15:00:00 -",
              parse("13-5-3", 1) + " " + parse("1 Mrz 2000", 1) + " " + parse("12/31/1999", 1) + " " +
                  parse("1 Mar 2000", 1) + " " + parse("2.1.2000 3 nachm") + " " + parse("3 PM", 2));
    keep.r.dateOrder = 2;
    strcpy(keep.r.dateSeparator, "~");  // a separator of its own counts too
    keep.apply();
    EXPECT_EQ(std::string(Jan2) + " 2010-05-03 00:00:00 -", parse("2000~1~2", 1) + " " + parse("10-5-3", 1) + " " + parse("1/2/2000", 1));
    ASSERT_TRUE(ZEMSetRegionalSettings(nullptr));
    ZEMGetRegionalSettings(&keep.r);
    DateFields d = fields(2004, 2, 9, 15, 7, 5, 250000), early = fields(987, 11, 30, 0, 0, 9);
    const struct { const char *picture; DateFields date; int kind; const char *expect; } cases[] = {
        {"mm/dd/yy", d, 3, "02/09/04"}, {"ddd, mmm d", d, 3, "Mon, Feb 9"}, {"DDDDD MMMMM", d, 3, "Monday February"},
        {"yyyy-mm-dd", early, 3, "0987-11-30"}, {"y yyy", d, 3, "04 2004"}, {"yyyy", fields(-44, 3, 15), 3, "-0044"},
        {"hh:nn am/pm", d, 3, "03:07 pm"}, {"h A/P", d, 3, "3 P"}, {"h a/p", early, 3, "12 a"}, {"H:nn", early, 3, "0:00"},
        {"HH:NN:SS", d, 3, "15:07:05"}, {"h:n:s", early, 3, "12:0:9"}, {"\"day\" d \\d\\a\\y", d, 3, "day 9 day"},
        {"\"\" d", d, 3, " 9"}, {"[h] xqz", d, 3, "[3] xqz"}, {"hH", d, 3, "315"}, {nullptr, d, 1, "2/9/2004"},
        {nullptr, d, 2, "3:07:05 PM"}, {nullptr, d, 4, ""}, {"\"d", d, 3, ""}, {"yyyy \\", d, 3, ""},
    };
    for (const auto &c : cases) EXPECT_EQ(c.expect, format(c.picture, c.date, c.kind)) << c.picture;
    // Nothing is written for a text that would pass 99 bytes.
    EXPECT_EQ(std::string(95, 'x') + "2004", format(("\"" + std::string(95, 'x') + "\"yyyy").c_str(), d));
    EXPECT_EQ("", format(("\"" + std::string(96, 'x') + "\"yyyy").c_str(), d));
    const struct { const char *picture; int usable; } checks[] = {{"\"Date: \"yyyy", 1}, {"a/p", 1}, {":", 0}, {"", 0},
        {nullptr, 0}, {"\"text only\"", 0}, {"d\\", 0}, {"xqz-", 0}, {"\\d\\m", 0}};
    for (const auto &c : checks)
        EXPECT_EQ(c.usable, SvcDatePictureCheck(c.picture) != 0) << (c.picture ? c.picture : "null");
    auto width = [](const char *picture, int previous) {
        ConvRequest request;
        SvcConvInit(&request);
        request.useDefaults = 0;
        request.picture = request.picture2 = picture;
        return SvcPictureWidth(&request, previous);
    };
    const struct { const char *picture; int width; } widths[] = {{"m/d/yyyy", 11}, {"mmm", 3}, {"dddd", 9},
        {"ddd", 3}, {"h:nn AM/PM", 8}, {"\"at\" HH", 5}, {"\\x A/P", 4}};
    for (const auto &c : widths) {
        EXPECT_EQ(c.width, width(c.picture, 0)) << c.picture;
        EXPECT_EQ(c.width + 10, width(c.picture, c.width + 10)) << c.picture;
    }
    EXPECT_EQ(7, width("\"d", 7));  // an unreadable picture keeps the width given
    strcpy(keep.r.dateSeparator, "-");  // the separators of / and : come from the settings, as do the names
    strcpy(keep.r.timeSeparator, "h");
    strcpy(keep.r.monthNames[1], "Februar");
    strcpy(keep.r.monthNames[4], "Mayyyyyyyyyyyy");
    strcpy(keep.r.dayAbbrev[1], "Mo");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    EXPECT_EQ(14, width("mmmm", 0));
    EXPECT_EQ("Mo 9-2-2004 Februar 3h07 nachm N", format("ddd d/m/yyyy mmmm h:nn AM/PM A/P", d));
    keep.r.dateOrder = 2;  // day first and the 24-hour clock: Convert.Dates
    strcpy(keep.r.timeSeparator, ":");
    strcpy(keep.r.pm, "PM");
    keep.apply();
    EXPECT_EQ("2004-2-9 3:07:05 PM", format(nullptr, d, 3));
    EXPECT_EQ(show(fields(2004, 2, 9, 15, 7, 5)), parse("2004-2-9 3:07:05 PM")) << "read back";
}

// 0x83 0x64 is one character under 932 whose trail byte is a 'd'; under 1252 two, the second a day
// field. 0x83 0x5C ends in a backslash, which escapes the next byte only under 1252.
TEST(DateFormat, DoubleByteCharactersInAPictureAreCopiedWhole) {
    Settings keep;
    Number n = num("5");
    char out[100];
    const struct { unsigned codePage; const char *picture, *expect, *number; } cases[] = {
        {932, "\x83\x64 d", "\x83\x64 9", "\x83\x5c" "0 5"}, {1252, "\x83\x64 d", "\x83" "9 9", "\x83" "0 5"},
        {932, "\x83\x5c" "d", "\x83\x5c" "9", "\x83\x5c" "0 5"}, {1252, "\x83\x5c" "d", "\x83" "d", "\x83" "0 5"}};
    for (const auto &c : cases) {
        ASSERT_TRUE(SvcSelectCodePage(c.codePage));
        EXPECT_EQ(c.expect, format(c.picture, fields(2004, 2, 9))) << c.codePage << " " << c.picture;
        EXPECT_EQ(1, NumberToTextPicture(&n, "\x83\x5c" "0 0", out));
        EXPECT_STREQ(c.number, out);
        EXPECT_EQ(c.codePage == 932, NumberToTextPicture(&n, "\x83\x5c" "0", out));
    }
}

TEST(Convert, Dates) {
    Settings keep;
    const char *none = "untouched";
    const struct { const char *text, *expect; } reads[] = {
        {"1/2/2000 12:30", "2000-01-02 12:30:00"}, {"3 PM", "1900-01-01 15:00:00"}, {"12:30 XM", none}, {nullptr, none}};
    for (const auto &c : reads) {
        DateTime result, untouched;
        memset(&untouched, 0xAB, sizeof untouched);
        result = untouched;
        DateFields f;
        EXPECT_EQ(c.expect != none, TextToDate(&result, c.text) == 1);
        SvcDateUnpack(result.bytes + 1, result.bytes[0], &f);
        EXPECT_EQ(c.expect, memcmp(&result, &untouched, sizeof result) ? show(f) : none);
    }
    char out[100];
    DateTime null = num(nullptr), d = dateOf(fields(2004, 2, 9, 15, 7));
    const struct { const DateTime *date; const char *picture; int result; const char *text; } writes[] = {
        {&null, "-", 1, ""}, {&d, "-", 1, "2/9/2004 3:07:00 PM"}, {&null, "\"unclosed", 1, ""}, {&null, nullptr, 1, ""},
        {&d, "\"unclosed", 0, ""}, {&d, nullptr, 0, ""}, {&d, "dddd d mmmm yyyy", 1, "Monday 9 February 2004"}};
    for (const auto &c : writes) {  // "-": the default format
        memset(out, 'x', sizeof out);
        bool plain = c.picture && !strcmp(c.picture, "-");
        EXPECT_EQ(c.result, plain ? DateToText(c.date, out) : DateToTextPicture(c.date, c.picture, out));
        EXPECT_STREQ(c.text, out);
    }
    // The picture conversions keep the settings of their first load; the default format follows them at once.
    EXPECT_EQ(0, LocaleDirty());
    strcpy(keep.r.monthNames[1], "Februar");
    keep.german();
    ASSERT_EQ(1, DateToTextPicture(&d, "mmmm d/m", out));
    EXPECT_STREQ("February 9/2", out);
    EXPECT_EQ(1, DateToText(&d, out));
    EXPECT_STREQ("9.2.2004 15:07:00", out);
    ASSERT_TRUE(ZEMSetRegionalSettings(nullptr));
    const char *q1 = "yyyy-mm-dd", *q2 = "yyyy-mm-dd HH:nn", *q3 = "HH.nn";
    const struct { const char *text, *pictures[3]; int kind; const char *output; } rewrites[] = {
        {"1/2/2000", {q1, q2, q3}, 8, "2000-01-02"},  // a date alone is a date, though kind 3 reads it too
        {"1/2/2000 3:04 PM", {q1, q2, q3}, 10, "2000-01-02 15:04"}, {"12:30", {q1, q2, q3}, 9, "12.30"},
        {"1/2/2000", {nullptr, q2, q3}, 8, ""}, {"1/2/2000 12:00", {q1, nullptr, q3}, 10, ""}, {"13-5-3", {q1, q2, q3}, 0, ""}};
    for (const auto &c : rewrites) {
        memset(out, 'x', sizeof out);
        EXPECT_EQ(c.kind, DateLiteralRewrite(c.text, out, c.pictures[0], c.pictures[1], c.pictures[2]));
        EXPECT_STREQ(c.output, out) << c.text;
    }
}

TEST(Convert, NumbersAndPictures) {
    Settings keep;
    static const char *const cases[][3] = {
        {"#,##0.00", "-1234567.891", "-1,234,567.89"}, {"#,##0.00", "999.999", "1,000.00"}, {"\"$\"#,##0", "-1234.5", "-$1,235"},
        {"0.0%", "0.2567", "25.7%"}, {"#.##", "0.5", ".5"}, {"#.##", "2", "2."}, {"0.0#", "1.255", "1.26"},
        {"0.#0", "1.5", "1.50"}, {"000-00-0000", "123456789", "123-45-6789"}, {"#", "0.4", ""}, {"0,000", "5", "0,005"},
        {"#,###", "0", ""}, {"#,", "1234", "1234,"}, {"0.00,", "1.5", "1.50,"}, {"Total: 0", "7", "Total: 7"},
        {"\\#0", "5", "#5"}, {"0.00", "-0.001", "0.00"}, {"0;(0)", "5", "0;(5)"}, {"0", "1.0E+40", "10000000000000000000000000000000000000000"},
    };
    char out[400];
    for (const auto &c : cases) {
        Number n = num(c[1]);
        EXPECT_EQ(1, NumberToTextPicture(&n, c[0], out)) << c[0];
        EXPECT_STREQ(c[2], out) << c[0] << " with " << c[1];
    }
    keep.german();
    Number n = num("1234.5");
    EXPECT_EQ(1, NumberToTextPicture(&n, "#,##0.00", out));
    EXPECT_STREQ("1.234,50", out);
    for (const char *picture : {"", "\"0", "0.0.0", "abc", "0\\", "\"0\"", "\\0", "%", ".", ",", (const char *)0}) {
        memset(out, 'x', sizeof out);
        EXPECT_EQ(0, NumberToTextPicture(&n, picture, out)) << (picture ? picture : "null");
        EXPECT_STREQ("", out);
    }
    const struct { char group, point; int fixed, decimals; const char *number, *text; } plain[] = {
        {'.', ',', 1, 1, "1234567.891", "1.234.567,9"}, {0, '.', 0, 0, "1234.5678", "1234.5678"},  // all its decimals
        {0, 0, 1, 1, "2.25", "2.3"}, {'.', '.', 1, 1, "1234", "1234.0"}};  // no point: "."; a group mark equal to it: none
    for (const auto &c : plain) {
        ConvRequest request;
        SvcConvInit(&request);
        request.kind = 4;
        request.useDefaults = 0;
        request.groupChar = c.group;
        request.pointChar = c.point;
        request.fixedDecimals = c.fixed;
        request.decimals = c.decimals;
        request.number = num(c.number);
        request.output = out;
        EXPECT_EQ(1, SvcNumFormat(&request, 1));
        EXPECT_STREQ(c.text, out) << c.number;
    }
    ASSERT_TRUE(ZEMSetRegionalSettings(nullptr));
    const char *reads[][2] = {  // text, number or 0 for none; the first row is rewritten for the second region
        {"  -1,234,567.25 ", "-1234567.25"}, {"+.5", "0.5"}, {"5.", "5"}, {"2.5E-3", "0.0025"}, {"1e3", "1000"}, {"2.5E+3", "2500"},
        {"100000000000000000000000000000000000000250000000000000000000000001", "1.000000000000000000000000000000000000003E+65"},
        {"100000000000000000000000000000000000000250000000000000000000000000", "1.000000000000000000000000000000000000002E+65"},  // a tie to even
        {"1,23", 0}, {"1234,567", 0}, {"1,2345", 0}, {",123", 0}, {"1.2.3", 0}, {"1 2", 0}, {"$5", 0}, {"-", 0}, {".", 0},
        {"1e", 0}, {"1E+400", 0}, {nullptr, 0}};
    static const struct { const char *number; int decimals; const char *text, *regional, *currency, *de, *deCurrency; } writes[] = {
        {"1234567.891", 2, "1234567.89", "1,234,567.89", "$1,234,567.89", "1.234.567,89", "1.234.568 DM"},
        {"-1234.5", 0, "-1235", "-1,234.50", "-$1,234.50", "-1.234,50", "-1.235 DM"},
        {"999.995", 2, "1000.00", "1,000.00", "$1,000.00", "1.000,00", "1.000 DM"},
        {"-0.004", 2, "0.00", "0.00", "$0.00", "0,00", "0 DM"}, {"123456", -2, "123456", "123,456.00", "$123,456.00", "123.456,00", "123.456 DM"},
    };
    for (int region = 0; region < 2; region++) {
        if (region) keep.r.currencyDecimals = 0, keep.german(), reads[0][0] = "  -1.234.567,25 ";
        for (const auto &c : reads) {
            Number result = num("42"), expect = num(c[1] ? c[1] : "0");
            EXPECT_EQ(c[1] ? 1 : 0, TextToNumber(&result, c[0])) << (c[0] ? c[0] : "null");
            EXPECT_EQ(0, memcmp(&expect, &result, sizeof result)) << (c[0] ? c[0] : "null");
            if (region) break;
        }
        for (const auto &c : writes) {
            Number n = num(c.number);
            EXPECT_EQ(1, NumberToText(&n, c.decimals, out));
            EXPECT_STREQ(c.text, out) << c.number << " region " << region;  // "." and no grouping in every region
            EXPECT_EQ(1, NumberToRegional(&n, out));
            EXPECT_STREQ(region ? c.de : c.regional, out) << c.number;
            EXPECT_EQ(1, NumberToCurrencyText(&n, out));
            EXPECT_STREQ(region ? c.deCurrency : c.currency, out) << c.number;
        }
    }
    Number result;
    EXPECT_EQ(0, TextToNumber(&result, "1,234.5"));
    // Plain digits may take 327 bytes and the terminator; the other formats stop at 100 (99 bytes here).
    Number big = num("1.0E+300"), one = num("1"), wide = num("1.0E+71"), wider = num("1.0E+72"), none = num(nullptr);
    keep.r.currencyDecimals = 2;
    keep.r.currencyAfter = 0;
    strcpy(keep.r.currency, "$");
    keep.apply();
    ASSERT_EQ(1, NumberToText(&big, 25, out));
    EXPECT_EQ(327u, strlen(out));
    EXPECT_EQ(0, NumberToText(&one, INT32_MAX, out));
    EXPECT_EQ(1, NumberToCurrencyText(&wide, out));
    EXPECT_EQ(99u, strlen(out));
    for (int rule = 0; rule < 8; rule++) {
        memset(out, 'x', sizeof out);
        Number *n = rule < 4 ? &none : rule < 6 ? &wider : &big;
        int r = rule % 4 == 0 ? NumberToRegional(n, out) : rule % 4 == 1 ? NumberToCurrencyText(n, out)
                : rule % 4 == 2 ? NumberToText(n, rule < 4 ? 2 : 26, out) : NumberToTextPicture(n, rule < 4 ? "0.00" : "0", out);
        EXPECT_EQ(rule < 4, r) << rule;  // null writes "", too long nothing
        EXPECT_STREQ("", out) << rule;
    }
}

TEST(Regional, ARecordWithABadFieldIsRefusedWhole) {
    ZEMRegional before, now;
    ZEMGetRegionalSettings(&before);
    using Spoil = void (*)(ZEMRegional *);
    const Spoil spoils[] = {
        [](ZEMRegional *r) { r->am[0] = 0; }, [](ZEMRegional *r) { memset(r->dateSeparator, '-', 4); },
        [](ZEMRegional *r) { r->monthNames[11][0] = 0; }, [](ZEMRegional *r) { r->dayAbbrev[6][0] = 0; },
        [](ZEMRegional *r) { memset(r->monthAbbrev[0], 'J', sizeof r->monthAbbrev[0]); },
        [](ZEMRegional *r) { r->dayNames[3][0] = 0; }, [](ZEMRegional *r) { r->dateOrder = 3; },
        [](ZEMRegional *r) { r->dateOrder = -1; }, [](ZEMRegional *r) { r->currencyAfter = 2; },
        [](ZEMRegional *r) { r->currencyDecimals = 10; }, [](ZEMRegional *r) { r->clock24 = -1; },
        [](ZEMRegional *r) { strcpy(r->pm, "AM"); }, [](ZEMRegional *r) { strcpy(r->grouping, "."); },
        [](ZEMRegional *r) { strcpy(r->dateSeparator, "1"); }, [](ZEMRegional *r) { strcpy(r->timeSeparator, "1"); },
    };
    for (size_t i = 0; i < sizeof spoils / sizeof spoils[0]; i++) {
        ZEMRegional r = before;
        r.dateOrder = 1;  // a good change beside the bad one
        spoils[i](&r);
        EXPECT_EQ(0, ZEMSetRegionalSettings(&r)) << "spoil " << i;
        ZEMGetRegionalSettings(&now);
        EXPECT_EQ(0, memcmp(&before, &now, sizeof now)) << "spoil " << i << " was half applied";
    }
}
