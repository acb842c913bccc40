// The value text conversion rules, the number formats and pictures, and the
// regional settings they read.
#include <string>

#include "eval/convert.h"
#include "services/platform.h"
#include "support.h"

namespace {

Number num(const char *text) {
    Number n;
    SvcNumFromText(&n, text);
    return n;
}

Number nullNumber() {
    Number n;
    memset(&n, 0, sizeof n);
    return n;
}

DateTime dateOf(int32_t year, int32_t month, int32_t day, int32_t hour = 0, int32_t minute = 0,
                int32_t second = 0) {
    DateFields f = {month, day, year, hour, minute, second, 0};
    DateTime d;
    memset(&d, 0, sizeof d);
    d.bytes[0] = (unsigned char)SvcDatePack(d.bytes + 1, &f);
    return d;
}

std::string show(const DateTime &d) {
    DateFields f;
    SvcDateUnpack(d.bytes + 1, d.bytes[0], &f);
    char text[96];
    snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d.%06d", f.year, f.month, f.day, f.hour,
             f.minute, f.second, f.fraction);
    return text;
}

bool sameNumber(const Number &a, const Number &b) {
    return a.bytes[0] != 0 && b.bytes[0] != 0 && SvcNumCompare(&a, &b) == 0;
}

// Restores the default regional settings and code page when a test ends.
struct Settings {
    ZEMRegional r;
    Settings() { ZEMGetRegionalSettings(&r); }
    void apply() { ASSERT_TRUE(ZEMSetRegionalSettings(&r)); }
    // Point ",", grouping ".", day/month/year, "DM" behind the amount.
    void german() {
        r.dateOrder = 1;
        strcpy(r.dateSeparator, ".");
        strcpy(r.decimalPoint, ",");
        strcpy(r.grouping, ".");
        strcpy(r.currency, " DM");
        r.currencyAfter = 1;
        r.clock24 = 1;
        apply();
    }
    ~Settings() {
        ZEMSetRegionalSettings(nullptr);
        SvcSelectCodePage(932);
    }
};

// ---- Dates.

TEST(Convert, TextToDateTriesDateAndTimeThenTimeAlone) {
    const struct {
        const char *text, *expect;  // 0: refused
    } cases[] = {
        {"1/2/2000 12:30", "2000-01-02 12:30:00.000000"}, {"10-5-3", "2003-10-05 00:00:00.000000"},
        {"3 PM", "1900-01-01 15:00:00.000000"},  // through the second try
        {"1:30:15.25", "1900-01-01 01:30:15.250000"},
        {"13-5-3", nullptr}, {"12:30 XM", nullptr}, {"", nullptr}, {nullptr, nullptr},
    };
    DateTime untouched;
    memset(&untouched, 0xAB, sizeof untouched);
    for (const auto &c : cases) {
        DateTime result = untouched;
        const char *label = c.text ? c.text : "null";
        EXPECT_EQ(c.expect ? 1 : 0, TextToDate(&result, c.text)) << label;
        EXPECT_EQ(c.expect ? c.expect : "untouched",
                  memcmp(&result, &untouched, sizeof result) ? show(result) : "untouched") << label;
    }
}

TEST(Convert, DateToTextUsesTheDefaultFormat) {
    Settings keep;
    char out[100] = "x";
    DateTime none = nullNumber(), d = dateOf(2000, 1, 2, 12, 30);
    EXPECT_EQ(1, DateToText(&none, out));
    EXPECT_STREQ("", out);
    EXPECT_EQ(1, DateToText(&d, out));
    EXPECT_STREQ("1/2/2000 12:30:00 PM", out);
    keep.german();
    EXPECT_EQ(1, DateToText(&d, out));
    EXPECT_STREQ("2.1.2000 12:30:00", out);
}

TEST(Convert, DateToTextPictureChecksNullFirstThenThePicture) {
    char out[100];
    DateTime none = nullNumber(), d = dateOf(2004, 2, 9, 15, 7);
    const struct {
        const DateTime *date;
        const char *picture;
        int result;
        const char *text;
    } cases[] = {
        {&none, "\"unclosed", 1, ""},  // the null test comes before the picture's
        {&none, nullptr, 1, ""}, {&d, "\"unclosed", 0, ""}, {&d, "xqz!", 0, ""}, {&d, nullptr, 0, ""},
        {&d, "dddd d mmmm yyyy, h:nn am/pm", 1, "Monday 9 February 2004, 3:07 pm"},
    };
    for (const auto &c : cases) {
        memset(out, 'x', sizeof out);
        EXPECT_EQ(c.result, DateToTextPicture(c.date, c.picture, out)) << (c.picture ? c.picture : "null");
        EXPECT_STREQ(c.text, out);
    }
}

TEST(Convert, PictureConversionsKeepTheSettingsOfTheirFirstLoad) {
    Settings keep;
    char out[100];
    DateTime d = dateOf(2004, 3, 9, 15, 7);
    // The first picture conversion of the process loads the locale block.
    ASSERT_EQ(1, DateToTextPicture(&d, "mmmm d/m", out));
    EXPECT_EQ(0, LocaleDirty());
    EXPECT_STREQ("March 9/3", out);

    strcpy(keep.r.monthNames[2], "Maerz");
    strcpy(keep.r.dateSeparator, "-");
    keep.apply();
    ASSERT_EQ(1, DateToTextPicture(&d, "mmmm d/m", out));
    EXPECT_STREQ("March 9/3", out);
    EXPECT_EQ(1, DateToText(&d, out));  // the default format follows at once
    EXPECT_STREQ("3-9-2004 3:07:00 PM", out);
    EXPECT_EQ(0, LocaleDirty());
}

TEST(Convert, DatePictureWidth) {
    EXPECT_EQ(0, DatePictureWidth(0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, DatePictureWidth(0x0002, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(9, DatePictureWidth(0x0002, nullptr, nullptr, nullptr, "[%s]", nullptr, "{ts '%s'}"));
    EXPECT_EQ(0, DatePictureWidth(0x0001, nullptr, nullptr, nullptr, "[%s]", "x", "{ts '%s'}"));
    EXPECT_EQ(0, DatePictureWidth(0, "", "", "", nullptr, nullptr, nullptr));

    const char *p1 = "m/d/yyyy";                 // 2+1+2+1+5
    const char *p2 = "mmmm d, yyyy h:nn AM/PM";  // 9+1+2+2+5+1+2+1+2+1+2
    const char *p3 = "HH:nn";
    EXPECT_EQ(11, DatePictureWidth(0, p1, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(28, DatePictureWidth(0, p1, p2, p3, nullptr, nullptr, nullptr));
    EXPECT_EQ(5, DatePictureWidth(0, nullptr, nullptr, p3, "[%s]", "[%s]", "[%s]"));
    EXPECT_EQ(28 + 10, DatePictureWidth(0x0002, p1, p2, p3, "{d '%s'}", "{t '%s'}", "{ts '%s'}X"));
    EXPECT_EQ(11, DatePictureWidth(0, p1, "\"bad", nullptr, nullptr, nullptr, nullptr));
}

TEST(Convert, DateLiteralRewrite) {
    const char *p1 = "yyyy-mm-dd", *p2 = "yyyy-mm-dd HH:nn", *p3 = "HH.nn";
    const struct {
        const char *text;
        const char *pictures[3];
        int kind;
        const char *output;
    } cases[] = {
        // A date alone is a date (8), though kind 3 would read it as well.
        {"1/2/2000", {p1, p2, p3}, 8, "2000-01-02"},
        {"1/2/2000 3:04 PM", {p1, p2, p3}, 10, "2000-01-02 15:04"},
        {"3:04 PM", {p1, p2, p3}, 9, "15.04"},
        {"12:30", {p1, p2, p3}, 9, "12.30"},
        {"1/2/2000", {nullptr, p2, p3}, 8, ""},  // no picture for the kind
        {"1/2/2000 12:00", {p1, nullptr, p3}, 10, ""}, {"1/2/2000", {"\"bad", p2, p3}, 8, ""},
        {"13-5-3", {p1, p2, p3}, 0, ""},
    };
    for (const auto &c : cases) {
        char out[100];
        memset(out, 'x', sizeof out);
        EXPECT_EQ(c.kind, DateLiteralRewrite(c.text, out, c.pictures[0], c.pictures[1], c.pictures[2]))
            << c.text;
        EXPECT_STREQ(c.output, out) << c.text;
    }
}

// ---- Numbers.

TEST(Convert, TextToNumber) {
    Settings keep;
    const struct {
        const char *text;
        const char *expect;  // 0: not a number
    } cases[] = {
        {"1234.5", "1234.5"}, {"  -1,234,567.25 ", "-1234567.25"}, {"+.5", "0.5"}, {"5.", "5"},
        {"1e3", "1000"}, {"2.5E-3", "0.0025"}, {"-0", "0"}, {"000123", "123"}, {"123,456", "123456"},
        // 45 digits round to 40.
        {"123456789012345678901234567890123456789012345",
         "1.234567890123456789012345678901234567890E+44"},
        // A tie at the 41st digit broken by a non-zero digit far behind it.
        {"100000000000000000000000000000000000000250000000000000000000000001",
         "1.000000000000000000000000000000000000003E+65"},
        {"1,23", nullptr}, {"1234,567", nullptr}, {"1,2345", nullptr}, {",123", nullptr},
        {"1.2.3", nullptr}, {"1 2", nullptr}, {"$5", nullptr}, {"", nullptr}, {"-", nullptr},
        {".", nullptr}, {"1e", nullptr}, {"1E+400", nullptr},  // too large for a Number
        {nullptr, nullptr},
    };
    for (const auto &c : cases) {
        Number result = num("42");
        int ok = TextToNumber(&result, c.text);
        const char *label = c.text ? c.text : "null";
        EXPECT_EQ(c.expect ? 1 : 0, ok) << label;
        if (c.expect) {
            Number expect = num(c.expect);
            EXPECT_TRUE(sameNumber(expect, result)) << label;
        } else {
            EXPECT_NE(0, result.bytes[0]) << label << ": zero, not null";
            EXPECT_TRUE(SvcNumIsZero(&result)) << label;
        }
    }
    keep.german();
    Number result;
    EXPECT_EQ(1, TextToNumber(&result, "-1.234,5"));
    Number expect = num("-1234.5");
    EXPECT_TRUE(sameNumber(expect, result));
    EXPECT_EQ(0, TextToNumber(&result, "1,234.5"));
}

struct FormatCase {
    const char *number;
    int arg;  // decimals, where the rule takes them
    const char *text;
};

TEST(Convert, NumberToTextHasAPointAndNoGroupingInEveryRegion) {
    Settings keep;
    static const FormatCase cases[] = {
        {"1234.5", 2, "1234.50"}, {"2.345", 2, "2.35"},     {"-2.345", 2, "-2.35"},
        {"2.5", 0, "3"},          {"-2.5", 0, "-3"},         {"0.005", 2, "0.01"},
        {"0.0049999", 2, "0.00"}, {"-0.004", 2, "0.00"},     {"9.999", 2, "10.00"},
        {"-999.996", 2, "-1000.00"}, {"0", 3, "0.000"},      {"123", -2, "123"},
        {"1.0E+20", 0, "100000000000000000000"},             {"1.5E-7", 8, "0.00000015"},
        {"12345678901234567890.123456789", 5, "12345678901234567890.12346"},
        {"-1.0E-300", 3, "0.000"},
    };
    for (int region = 0; region < 2; region++) {
        if (region == 1) keep.german();
        for (const auto &c : cases) {
            char out[328];
            Number n = num(c.number);
            EXPECT_EQ(1, NumberToText(&n, c.arg, out)) << c.number;
            EXPECT_STREQ(c.text, out) << c.number << " region " << region;
        }
    }
}

TEST(Convert, NumberFormatsNeverPassTheirBuffer) {
    // Plain digits may take 327 bytes and the terminator: 1E+300 has 301 digits.
    char out[400];
    Number big = num("1.0E+300");
    ASSERT_EQ(1, NumberToText(&big, 25, out));
    EXPECT_EQ(327u, strlen(out));
    memset(out, 'x', sizeof out);
    EXPECT_EQ(0, NumberToText(&big, 26, out));
    EXPECT_STREQ("", out);
    Number one = num("1");
    EXPECT_EQ(0, NumberToText(&one, INT32_MAX, out));
    // The other formats stop at 100.
    Number wide = num("1.0E+71");  // 72 digits, 23 grouping marks, ".00" and "$": 99 bytes
    EXPECT_EQ(1, NumberToCurrencyText(&wide, out));
    EXPECT_EQ(99u, strlen(out));
    EXPECT_EQ(1, NumberToRegional(&wide, out));
    EXPECT_EQ(98u, strlen(out));
    Number wider = num("1.0E+72");
    memset(out, 'x', sizeof out);
    EXPECT_EQ(0, NumberToCurrencyText(&wider, out));
    EXPECT_STREQ("", out);
    EXPECT_EQ(0, NumberToRegional(&wider, out));
    EXPECT_STREQ("", out);
    EXPECT_EQ(0, NumberToTextPicture(&big, "0", out));
    EXPECT_STREQ("", out);
}

TEST(Convert, NullNumbersFormatAsEmptyText) {
    Number none = nullNumber();
    char out[328];
    for (int rule = 0; rule < 4; rule++) {
        memset(out, 'x', sizeof out);
        int ok = rule == 0   ? NumberToRegional(&none, out)
                 : rule == 1 ? NumberToCurrencyText(&none, out)
                 : rule == 2 ? NumberToText(&none, 2, out)
                             : NumberToTextPicture(&none, "0.00", out);
        EXPECT_EQ(1, ok) << rule;
        EXPECT_STREQ("", out) << rule;
    }
}

TEST(Convert, RegionalAndCurrencyFormats) {
    Settings keep;
    static const struct {
        const char *number;
        const char *regional, *currency;
        const char *germanRegional, *germanCurrency;
    } cases[] = {
        {"1234567.891", "1,234,567.89", "$1,234,567.89", "1.234.567,89", "1.234.568 DM"},
        {"-1234.5", "-1,234.50", "-$1,234.50", "-1.234,50", "-1.235 DM"},
        {"0", "0.00", "$0.00", "0,00", "0 DM"},
        {"999.995", "1,000.00", "$1,000.00", "1.000,00", "1.000 DM"},
        {"-0.004", "0.00", "$0.00", "0,00", "0 DM"},
        {"-1", "-1.00", "-$1.00", "-1,00", "-1 DM"},
        {"100", "100.00", "$100.00", "100,00", "100 DM"},
        {"123456", "123,456.00", "$123,456.00", "123.456,00", "123.456 DM"},
        {"0.125", "0.13", "$0.13", "0,13", "0 DM"},
    };
    for (int region = 0; region < 2; region++) {
        if (region == 1) {
            keep.r.currencyDecimals = 0;
            keep.german();
        }
        for (const auto &c : cases) {
            char out[100];
            Number n = num(c.number);
            EXPECT_EQ(1, NumberToRegional(&n, out));
            EXPECT_STREQ(region ? c.germanRegional : c.regional, out) << c.number;
            EXPECT_EQ(1, NumberToCurrencyText(&n, out));
            EXPECT_STREQ(region ? c.germanCurrency : c.currency, out) << c.number;
        }
    }
}

TEST(Convert, NumberPictures) {
    Settings keep;
    static const struct {
        const char *picture;
        const char *number;
        const char *text;
    } cases[] = {
        {"#,##0.00", "1234.5", "1,234.50"},   {"#,##0.00", "0", "0.00"},
        {"#,##0.00", "-1234567.891", "-1,234,567.89"}, {"#,##0.00", "999.999", "1,000.00"},
        {"0.000", "-3.1415", "-3.142"},       {"\"$\"#,##0", "-1234.5", "-$1,235"},
        {"0%", "0.256", "26%"},               {"0.0%", "0.2567", "25.7%"},
        {"#.##", "0.5", ".5"},                {"#.##", "2", "2."},
        {"0.0#", "1.5", "1.5"},               {"0.0#", "1.255", "1.26"},
        {"0.#0", "1.5", "1.50"},              {"000-00-0000", "123456789", "123-45-6789"},
        {"00000", "42", "00042"},             {"#", "12345", "12345"},
        {"#", "0.4", ""},                     {"0,000", "5", "0,005"},
        {"#,###", "1234567", "1,234,567"},    {"#,###", "0", ""},
        {"#,", "1234", "1234,"},  // a comma behind the places is text
        {"0.00,", "1.5", "1.50,"},            {"Total: 0", "7", "Total: 7"},
        {"\\#0", "5", "#5"},                  {"0 \"units\"", "3", "3 units"},
        {"0.00", "-0.001", "0.00"},           {"0;(0)", "5", "0;(5)"},  // one section only
        {"0", "1.0E+40", "10000000000000000000000000000000000000000"},
    };
    for (const auto &c : cases) {
        char out[100];
        Number n = num(c.number);
        EXPECT_EQ(1, NumberToTextPicture(&n, c.picture, out)) << c.picture;
        EXPECT_STREQ(c.text, out) << c.picture << " with " << c.number;
    }
    keep.german();
    char out[100];
    Number n = num("1234.5");
    EXPECT_EQ(1, NumberToTextPicture(&n, "#,##0.00", out));
    EXPECT_STREQ("1.234,50", out);
}

TEST(Convert, BadNumberPictures) {
    const char *bad[] = {"", "\"0", "0.0.0", "abc", "0\\", "\"0\"", "\\0", "%", ".", ",", nullptr};
    for (const char *picture : bad) {
        ConvRequest request;
        SvcConvInit(&request);
        request.numberPicture = picture;
        EXPECT_EQ(0, SvcNumPictureCheck(&request)) << (picture ? picture : "null");
        char out[100];
        memset(out, 'x', sizeof out);
        Number n = num("5");
        EXPECT_EQ(0, NumberToTextPicture(&n, picture, out));
        EXPECT_STREQ("", out);
    }
}

TEST(Convert, DoubleByteCharactersInANumberPicture) {
    Settings keep;
    // 0x83 0x5C is one character under 932 and ends in a backslash; under
    // 1252 the backslash escapes the 0 behind it.
    Number n = num("5");
    char out[100];
    ASSERT_TRUE(SvcSelectCodePage(932));
    EXPECT_EQ(1, NumberToTextPicture(&n, "\x83\x5c" "0 0", out));
    EXPECT_STREQ("\x83\x5c" "0 5", out);
    ASSERT_TRUE(SvcSelectCodePage(1252));
    EXPECT_EQ(1, NumberToTextPicture(&n, "\x83\x5c" "0 0", out));
    EXPECT_STREQ("\x83" "0 5", out);
    EXPECT_EQ(0, NumberToTextPicture(&n, "\x83\x5c" "0", out));
}

TEST(Convert, PlainFormatTakesItsOwnMarks) {
    // The service's plain format with a point and grouping of the caller's.
    const struct {
        char group, point;
        int fixed, decimals;
        const char *number, *text;
    } cases[] = {
        {',', '.', 1, 2, "1234567.891", "1,234,567.89"}, {'.', ',', 1, 1, "1234567.891", "1.234.567,9"},
        {0, '.', 0, 0, "1234.5678", "1234.5678"},  // as many decimals as it has
        {0, '.', 0, 0, "1.0E+3", "1000"},          {0, 0, 1, 1, "2.25", "2.3"},  // no point given: "."
        {'.', '.', 1, 1, "1234", "1234.0"},  // a grouping mark equal to the point is dropped
    };
    for (const auto &c : cases) {
        ConvRequest request;
        SvcConvInit(&request);
        char out[100];
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
}

// ---- The regional settings.

TEST(Regional, DefaultsAndRestore) {
    ZEMRegional r;
    ZEMGetRegionalSettings(&r);
    EXPECT_EQ(0, r.dateOrder + r.currencyAfter + r.clock24);
    EXPECT_EQ(2, r.currencyDecimals);
    std::string texts = std::string(r.dateSeparator) + r.timeSeparator + r.decimalPoint + r.grouping +
                        r.currency + r.am + r.pm + r.monthNames[8] + r.monthAbbrev[11] +
                        r.dayNames[0] + r.dayAbbrev[6];
    EXPECT_EQ("/:.,$AMPMSeptemberDecSundaySat", texts);

    ZEMRegional changed = r;
    changed.dateOrder = 2;
    ASSERT_EQ(1, ZEMSetRegionalSettings(&changed));
    ZEMRegional now;
    ZEMGetRegionalSettings(&now);
    EXPECT_EQ(2, now.dateOrder);
    ASSERT_EQ(1, ZEMSetRegionalSettings(nullptr));
    ZEMGetRegionalSettings(&now);
    EXPECT_EQ(0, memcmp(&r, &now, sizeof r));
}

TEST(Regional, ARecordWithABadFieldIsRefusedWhole) {
    ZEMRegional before;
    ZEMGetRegionalSettings(&before);
    using Spoil = void (*)(ZEMRegional *);
    const Spoil spoils[] = {
        [](ZEMRegional *r) { r->am[0] = 0; },
        [](ZEMRegional *r) { memset(r->dateSeparator, '-', sizeof r->dateSeparator); },
        [](ZEMRegional *r) { r->timeSeparator[0] = 0; }, [](ZEMRegional *r) { r->grouping[0] = 0; },
        [](ZEMRegional *r) { r->currency[0] = 0; },      [](ZEMRegional *r) { r->monthNames[11][0] = 0; },
        [](ZEMRegional *r) { memset(r->monthAbbrev[0], 'J', sizeof r->monthAbbrev[0]); },
        [](ZEMRegional *r) { r->dayNames[3][0] = 0; },  [](ZEMRegional *r) { r->dayAbbrev[6][0] = 0; },
        [](ZEMRegional *r) { r->dateOrder = 3; },       [](ZEMRegional *r) { r->dateOrder = -1; },
        [](ZEMRegional *r) { r->currencyAfter = 2; },   [](ZEMRegional *r) { r->currencyDecimals = 10; },
        [](ZEMRegional *r) { r->clock24 = -1; },        [](ZEMRegional *r) { strcpy(r->pm, "AM"); },
        [](ZEMRegional *r) { strcpy(r->grouping, "."); },  // the same as the point
        [](ZEMRegional *r) { strcpy(r->dateSeparator, "1"); },
    };
    for (size_t i = 0; i < sizeof spoils / sizeof spoils[0]; i++) {
        ZEMRegional r = before;
        r.dateOrder = 1;  // a good change beside the bad one
        spoils[i](&r);
        EXPECT_EQ(0, ZEMSetRegionalSettings(&r)) << "spoil " << i;
        ZEMRegional now;
        ZEMGetRegionalSettings(&now);
        EXPECT_EQ(0, memcmp(&before, &now, sizeof now)) << "spoil " << i << " was half applied";
    }
}

// ---- What every rule shares.

TEST(Convert, NoRuleAllocates) {
    LeakCheck leaks;
    char out[328];
    DateTime d;
    Number n = num("1234.5");
    SvcFailAllocAfter(1);
    EXPECT_EQ(1, TextToDate(&d, "1/2/2000 12:30"));
    EXPECT_EQ(1, DateToText(&d, out));
    EXPECT_EQ(1, DateToTextPicture(&d, "yyyy", out));
    EXPECT_EQ(8, DateLiteralRewrite("1/2/2000", out, "d", nullptr, nullptr));
    EXPECT_EQ(1, TextToNumber(&n, "1,234.5"));
    EXPECT_EQ(1, NumberToText(&n, 2, out));
    EXPECT_EQ(1, NumberToTextPicture(&n, "0.0", out));
    EXPECT_EQ(1, NumberToRegional(&n, out));
    EXPECT_EQ(1, NumberToCurrencyText(&n, out));
    EXPECT_GT(DatePictureWidth(0, "mmmm", nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(SvcFailAllocPending());
    SvcFailAllocAfter(0);
}

}  // namespace
