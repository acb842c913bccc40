// The calendar, the date reader and the date pictures.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "services/platform.h"
#include "services/values.h"
#include "support.h"

namespace {

DateFields fields(int32_t year, int32_t month, int32_t day, int32_t hour = 0, int32_t minute = 0,
                  int32_t second = 0, int32_t fraction = 0) {
    return DateFields{month, day, year, hour, minute, second, fraction};
}

// "2000-01-02 12:30:00", with ".fraction" when there is one.
std::string show(const DateFields &f) {
    char text[96];
    int n = snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day,
                     f.hour, f.minute, f.second);
    if (f.fraction) snprintf(text + n, sizeof text - n, ".%06d", f.fraction);
    return text;
}

DateFields roundTrip(const DateFields &in) {
    unsigned char packed[24];
    DateFields out;
    SvcDateUnpack(packed, SvcDatePack(packed, &in), &out);
    return out;
}

DateFields fromDay(int32_t day) {
    DateFields f = fields(0, 0, 0);
    SvcDayFromNumber(day, &f);
    return f;
}

// Restores the default regional settings and code page when a test ends.
struct Settings {
    ZEMRegional r;
    Settings() { ZEMGetRegionalSettings(&r); }
    void apply() { ASSERT_TRUE(ZEMSetRegionalSettings(&r)); }
    ~Settings() {
        ZEMSetRegionalSettings(nullptr);
        SvcSelectCodePage(932);
    }
};

// ---- Calendar.

TEST(Calendar, DayNumbersAreJulianDays) {
    const struct {
        DateFields date;
        int32_t day;
    } cases[] = {
        {fields(2000, 1, 1), 2451545},   {fields(1970, 1, 1), 2440588}, {fields(1, 1, 1), 1721426},
        {fields(1582, 10, 15), 2299161}, {fields(9999, 12, 31), 5373484},
        {fields(-4712, 1, 1), 38},       {fields(0, 3, 1), 1721120},    {fields(-1, 12, 31), 1721059},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.day, SvcDayNumber(&c.date)) << show(c.date);
        EXPECT_EQ(show(c.date), show(fromDay(c.day)));
    }
    // Day numbers beyond the calendar are held to its ends.
    EXPECT_EQ(show(fields(-4712, 1, 1)), show(fromDay(INT32_MIN)));
    EXPECT_EQ(show(fields(-4712, 1, 1)), show(fromDay(37)));
    EXPECT_EQ(show(fields(9999, 12, 31)), show(fromDay(INT32_MAX)));
}

TEST(Calendar, EveryDayFollowsTheOneBefore) {
    DateFields start = fields(-4712, 1, 1), end = fields(9999, 12, 31);
    DateFields previous = start;
    int bad = 0;
    int32_t last = SvcDayNumber(&end);
    for (int32_t n = SvcDayNumber(&start) + 1; n <= last && bad < 5; n++) {
        DateFields d = fromDay(n);
        bool next = (d.day == previous.day + 1 && d.month == previous.month && d.year == previous.year) ||
                    (d.day == 1 && d.month == previous.month + 1 && d.year == previous.year) ||
                    (d.day == 1 && d.month == 1 && previous.month == 12 && d.year == previous.year + 1);
        if (!next || SvcDayNumber(&d) != n) {
            ADD_FAILURE() << n << ": " << show(previous) << " then " << show(d);
            bad++;
        }
        previous = d;
    }
    EXPECT_EQ(show(end), show(previous));
}

TEST(Calendar, LeapYears) {
    const int32_t leap[] = {2000, 2004, 2400, 1600, 4, 0, -4};
    const int32_t common[] = {1900, 2001, 2100, 1, -100};
    for (int32_t year : leap) EXPECT_EQ(29, roundTrip(fields(year, 2, 31)).day) << year;
    for (int32_t year : common) EXPECT_EQ(28, roundTrip(fields(year, 2, 31)).day) << year;
    DateFields march = fields(2000, 3, 1), february = fields(2000, 2, 1);
    EXPECT_EQ(29, SvcDayNumber(&march) - SvcDayNumber(&february));
}

// Cases worked out by Python's datetime (tests/date_oracle.py): the day
// number, the names, and the default text both ways.
TEST(Calendar, AgreesWithTheOracle) {
    std::ifstream in(DATE_CASES_FILE);
    ASSERT_TRUE(in.good()) << DATE_CASES_FILE;
    int count = 0, bad = 0;
    char text[100];
    for (std::string line; std::getline(in, line) && bad < 10; count++) {
        std::vector<std::string> col;
        std::stringstream split(line);
        for (std::string c; std::getline(split, c, '\t');) col.push_back(c);
        ASSERT_EQ(10u, col.size()) << line;
        DateFields d = fields(std::stoi(col[0]), std::stoi(col[1]), std::stoi(col[2]),
                              std::stoi(col[3]), std::stoi(col[4]), std::stoi(col[5]));
        int32_t jdn = std::stoi(col[6]);
        bool ok = SvcDayNumber(&d) == jdn && show(fromDay(jdn)) == show(fields(d.year, d.month, d.day));
        ConvRequest request;
        SvcConvInit(&request);
        request.date = d;
        request.output = text;
        request.useDefaults = 0;
        request.picture = request.picture2 = "dddd|mmmm";
        ok = ok && SvcDateFormat(&request, 0) && col[7] + "|" + col[8] == text;
        request.useDefaults = 1;
        ok = ok && SvcDateFormat(&request, 0) && col[9] == text;
        request.input = col[9].c_str();
        request.date = fields(1, 1, 1);
        ok = ok && SvcDateParse(&request) && show(request.date) == show(d);
        if (!ok) ADD_FAILURE() << line << " -> day " << SvcDayNumber(&d) << ", text " << text, bad++;
    }
    EXPECT_GT(count, 4000);
}

TEST(Calendar, FieldsOutOfRangeComeIntoRange) {
    const int32_t big = INT32_MAX, small = INT32_MIN;
    const struct {
        DateFields in, out;
    } cases[] = {
        {fields(2001, 2, 29), fields(2001, 2, 28)},  // a YEAR step from 29 February
        {fields(2001, 13, 40, 25, 61, 61), fields(2002, 1, 31, 23, 59, 59)},
        {fields(2000, 0, 15), fields(1999, 12, 15)},   {fields(2000, -12, 15), fields(1998, 12, 15)},
        {fields(2000, 25, 31), fields(2002, 1, 31)},   {fields(2000, 4, 31), fields(2000, 4, 30)},
        {fields(2000, 5, -7, -1, -1, -1, -1), fields(2000, 5, 1)},
        {fields(2000, 5, 5, 1, 2, 3, 1000000), fields(2000, 5, 5, 1, 2, 3, 999999)},
        {fields(0, 0, 0), fields(-1, 12, 1)},  // DateConstruct of nulls only
        {fields(10000, 1, 1), fields(9999, 1, 1)},     {fields(-5000, 1, 1), fields(-4712, 1, 1)},
        {fields(big, big, big, big, big, big, big), fields(9999, 12, 31, 23, 59, 59, 999999)},
        {fields(small, small, small, small, small, small, small), fields(-4712, 12, 1)},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(show(c.out), show(roundTrip(c.in))) << show(c.in);
        DateFields day = fields(c.out.year, c.out.month, c.out.day);
        EXPECT_EQ(SvcDayNumber(&day), SvcDayNumber(&c.in)) << "day number of " << show(c.in);
    }
}

TEST(Calendar, PackKeepsEveryField) {
    const DateFields cases[] = {
        fields(2000, 2, 29, 23, 59, 59, 999999), fields(1, 1, 1),
        fields(9999, 12, 31, 12, 30, 15, 250000), fields(-4712, 1, 1, 0, 0, 0, 1),
        fields(-1, 6, 15, 6, 7, 8, 65536),
    };
    for (const auto &d : cases) {
        unsigned char packed[24];
        int count = SvcDatePack(packed, &d);
        EXPECT_TRUE(count > 0 && count <= 24);
        DateFields back;
        SvcDateUnpack(packed, count, &back);
        EXPECT_EQ(show(d), show(back));
    }
    // Equal dates have equal bytes, and one microsecond tells two apart.
    unsigned char a[24] = {0}, b[24] = {0}, c[24] = {0};
    DateFields d1 = fields(2000, 14, 1), d2 = fields(2001, 2, 1), d3 = fields(2001, 2, 1, 0, 0, 0, 1);
    int n = SvcDatePack(a, &d1);
    ASSERT_EQ(n, SvcDatePack(b, &d2));
    EXPECT_EQ(0, memcmp(a, b, (size_t)n));
    SvcDatePack(c, &d3);
    EXPECT_NE(0, memcmp(a, c, (size_t)n));
}

// ---- Reading dates and times.

struct ParseCase {
    const char *text;
    int kind;
    const char *expect;  // show() of the fields, or 0 for a refusal
};

void checkParses(const ParseCase *cases, size_t count, const char *setting) {
    for (size_t i = 0; i < count; i++) {
        const ParseCase &c = cases[i];
        ConvRequest request;
        SvcConvInit(&request);
        request.kind = c.kind;
        request.input = c.text;
        DateFields before = request.date;
        int ok = SvcDateParse(&request);
        // A refusal leaves the fields as they were.
        EXPECT_EQ(c.expect ? c.expect : show(before), show(request.date))
            << setting << ": \"" << c.text << "\" kind " << c.kind;
        EXPECT_EQ(c.expect != nullptr, ok != 0) << setting << ": \"" << c.text << "\" kind " << c.kind;
    }
}

TEST(DateParse, LiteralFormsUnderTheDefaultSettings) {
    static const ParseCase cases[] = {
        // Dates alone.
        {"1/2/2000", 1, "2000-01-02 00:00:00"},    {"1-2-2000", 1, "2000-01-02 00:00:00"},
        {"1.2.2000", 1, "2000-01-02 00:00:00"},    {"1\\2\\2000", 1, "2000-01-02 00:00:00"},
        {"02/29/2000", 1, "2000-02-29 00:00:00"},  {"10-5-3", 1, "2003-10-05 00:00:00"},
        {"1/2/29", 1, "2029-01-02 00:00:00"},      {"1/2/30", 1, "1930-01-02 00:00:00"},
        {"1/2/100", 1, "100-01-02 00:00:00"},      {"1-jan-2000", 1, "2000-01-01 00:00:00"},
        {"31.DECEMBER.99", 1, "1999-12-31 00:00:00"}, {"2000-Feb-29", 1, "2000-02-29 00:00:00"},
        {"1 Jan 2000", 1, "2000-01-01 00:00:00"},  {"1 January, 2000", 1, "2000-01-01 00:00:00"},
        {"Jan 1, 2000", 1, "2000-01-01 00:00:00"}, {"January 1,2000", 1, "2000-01-01 00:00:00"},
        {"september 30 1999", 1, "1999-09-30 00:00:00"}, {" 1/2/2000\t", 1, "2000-01-02 00:00:00"},
        {"13-5-3", 1, nullptr},     {"4/31/2000", 1, nullptr},  {"2/29/2001", 1, nullptr},
        {"2/29/1900", 1, nullptr},  {"0/1/2000", 1, nullptr},   {"1/0/2000", 1, nullptr},
        {"1/2/0000", 1, nullptr},   {"1/2/20000", 1, nullptr},  {"001/2/2000", 1, nullptr},
        {"1/2-2000", 1, nullptr},   {"1:2:2000", 1, nullptr},   {"1/2", 1, nullptr},
        {"1 Foo 2000", 1, nullptr}, {"31-Apr-2000", 1, nullptr}, {"Jan 1 , 2000", 1, nullptr},
        {"1/2/2000x", 1, nullptr},  {"", 1, nullptr},           {"1/2/2000 12:30", 1, nullptr},
        // Dates with a time.
        {"1/2/2000", 3, "2000-01-02 00:00:00"},            {"1/2/2000 12:30", 3, "2000-01-02 12:30:00"},
        {"1/2/2000 1:30:15.25", 3, "2000-01-02 01:30:15.250000"},
        {"1/2/2000 1:30:15.1234567", 3, "2000-01-02 01:30:15.123456"},
        {"1/2/2000 12:30 PM", 3, "2000-01-02 12:30:00"},   {"1/2/2000 12:30 am", 3, "2000-01-02 00:30:00"},
        {"1/2/2000 3PM", 3, "2000-01-02 15:00:00"},        {"1/2/2000 12.30", 3, "2000-01-02 12:30:00"},
        {"1/2/2000 23", 3, "2000-01-02 23:00:00"},         {"1 Jan 2000 12:30 PM", 3, "2000-01-01 12:30:00"},
        {"Jan 1, 2000 12:30", 3, "2000-01-01 12:30:00"},   {"1.2.2000.12.30", 3, "2000-01-02 12:30:00"},
        {"1-Jan-2000 11:59:59 pm", 3, "2000-01-01 23:59:59"}, {"1/2/2000-12:30", 3, "2000-01-02 12:30:00"},
        {"1/2/2000-3", 3, nullptr},  // stays a date minus three
        {"1.2.2000.12", 3, nullptr},     {"1/2/2000 25:00", 3, nullptr}, {"1/2/2000 12:60", 3, nullptr},
        {"1/2/2000 12:30:60", 3, nullptr}, {"1/2/2000 13 PM", 3, nullptr}, {"1/2/2000 0 AM", 3, nullptr},
        {"1/2/2000 12:5", 3, nullptr},   {"1/2/2000 1 PMX", 3, nullptr}, {"12:30", 3, nullptr},
        // Times alone take the date the request starts with.
        {"12:30", 2, "1900-01-01 12:30:00"},       {"3 PM", 2, "1900-01-01 15:00:00"},
        {"3pm", 2, "1900-01-01 15:00:00"},         {"12 AM", 2, "1900-01-01 00:00:00"},
        {"12 PM", 2, "1900-01-01 12:00:00"},       {"1.30.15.25", 2, "1900-01-01 01:30:15.250000"},
        {"12.30 pm", 2, "1900-01-01 12:30:00"},    {"23:59:59", 2, "1900-01-01 23:59:59"},
        {"3", 2, nullptr}, {"24:00", 2, nullptr}, {"12:30:15:25:1", 2, nullptr}, {"1/2/2000", 2, nullptr},
        {"12:30", 1, nullptr}, {"12:30", 4, nullptr},
    };
    checkParses(cases, sizeof cases / sizeof cases[0], "m/d/y");
}

TEST(DateParse, FollowsTheDateOrderAndNamesOfTheSettings) {
    Settings keep;
    keep.r.dateOrder = 1;
    strcpy(keep.r.monthAbbrev[2], "Mrz");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    static const ParseCase dmy[] = {
        {"1/2/2000", 1, "2000-02-01 00:00:00"},  {"13-5-3", 1, "2003-05-13 00:00:00"},
        {"12/31/1999", 1, nullptr},              {"1 Mrz 2000", 1, "2000-03-01 00:00:00"},
        {"1 Mar 2000", 1, nullptr},              {"Jan 2, 2000", 1, "2000-01-02 00:00:00"},
        {"2.1.2000 3 nachm", 3, "2000-01-02 15:00:00"}, {"3 PM", 2, nullptr},
    };
    checkParses(dmy, sizeof dmy / sizeof dmy[0], "d/m/y");

    keep.r.dateOrder = 2;
    strcpy(keep.r.dateSeparator, "~");  // a separator of its own counts too
    keep.apply();
    static const ParseCase ymd[] = {
        {"2000/1/2", 1, "2000-01-02 00:00:00"}, {"2000~1~2", 1, "2000-01-02 00:00:00"},
        {"10-5-3", 1, "2010-05-03 00:00:00"},   {"1/2/2000", 1, nullptr},
    };
    checkParses(ymd, sizeof ymd / sizeof ymd[0], "y/m/d");
}

// ---- Writing dates.

// The text of a picture, or with a null picture the default format of kind.
std::string format(const char *picture, const DateFields &d, int kind = 3, int *ok = nullptr) {
    ConvRequest request;
    SvcConvInit(&request);
    char text[100];
    memset(text, '#', sizeof text);
    request.output = text;
    request.kind = kind;
    request.useDefaults = picture == nullptr;
    request.picture = request.picture2 = picture;
    request.date = d;
    int result = SvcDateFormat(&request, 0);
    if (ok) *ok = result;
    return result ? text : "";
}

TEST(DateFormat, Pictures) {
    Settings keep;
    DateFields d = fields(2004, 2, 9, 15, 7, 5, 250000);  // a Monday
    DateFields early = fields(987, 11, 30, 0, 0, 9);      // a Friday
    const struct {
        const char *picture;
        const DateFields *date;
        const char *expect;
    } cases[] = {
        {"m/d/yyyy", &d, "2/9/2004"},           {"mm/dd/yy", &d, "02/09/04"},
        {"ddd, mmm d", &d, "Mon, Feb 9"},       {"DDDDD MMMMM", &d, "Monday February"},
        {"yyyy-mm-dd dddd", &early, "0987-11-30 Friday"}, {"y yyy", &d, "04 2004"},
        {"h:nn:ss AM/PM", &d, "3:07:05 PM"},    {"hh:nn am/pm", &d, "03:07 pm"},
        {"h A/P", &d, "3 P"},                   {"h a/p", &early, "12 a"},
        {"H:nn", &early, "0:00"},               {"HH:NN:SS", &d, "15:07:05"},
        {"h:n:s", &early, "12:0:9"},            {"\"day\" d \\d\\a\\y", &d, "day 9 day"},
        {"\"\" d", &d, " 9"},                   {"[h] xqz", &d, "[3] xqz"},
        {"hH", &d, "315"},
    };
    for (const auto &c : cases) EXPECT_EQ(c.expect, format(c.picture, *c.date)) << c.picture;

    // The separators of / and : come from the settings, as do the names.
    strcpy(keep.r.dateSeparator, "-");
    strcpy(keep.r.timeSeparator, "h");
    strcpy(keep.r.monthNames[1], "Februar");
    strcpy(keep.r.dayAbbrev[1], "Mo");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    EXPECT_EQ("Mo 9-2-2004 Februar 3h07 nachm N", format("ddd d/m/yyyy mmmm h:nn AM/PM A/P", d));
}

TEST(DateFormat, DefaultFormatsFollowTheSettings) {
    Settings keep;
    DateFields d = fields(2004, 2, 9, 15, 7, 5, 250000), midnight = fields(1999, 12, 31);
    EXPECT_EQ("2/9/2004", format(nullptr, d, 1));
    EXPECT_EQ("3:07:05 PM", format(nullptr, d, 2));
    EXPECT_EQ("2/9/2004 3:07:05 PM", format(nullptr, d, 3));
    EXPECT_EQ("12/31/1999 12:00:00 AM", format(nullptr, midnight, 3));
    EXPECT_EQ("", format(nullptr, d, 4));

    const struct {
        int order, clock24;
        const char *separator, *text;
    } settings[] = {{1, 1, ".", "9.2.2004 15:07:05"}, {2, 0, "-", "2004-2-9 3:07:05 PM"}};
    for (const auto &s : settings) {
        keep.r.dateOrder = s.order;
        keep.r.clock24 = s.clock24;
        strcpy(keep.r.dateSeparator, s.separator);
        keep.apply();
        EXPECT_EQ(s.text, format(nullptr, d, 3));
        // The default text reads back as the date it was made from.
        ConvRequest request;
        SvcConvInit(&request);
        request.input = s.text;
        ASSERT_TRUE(SvcDateParse(&request)) << s.text;
        EXPECT_EQ(show(fields(2004, 2, 9, 15, 7, 5)), show(request.date));
    }
}

TEST(DateFormat, BadPicturesAndLongTexts) {
    const struct {
        const char *picture;
        int usable;
    } checks[] = {
        {"d", 1},  {"\"Date: \"yyyy", 1}, {"a/p", 1}, {":", 0},     {"", 0},         {nullptr, 0},
        {"\"text only\"", 0}, {"\"d", 0}, {"d\\", 0}, {"xqz-", 0}, {"\\d\\m", 0},
    };
    for (const auto &c : checks)
        EXPECT_EQ(c.usable, SvcDatePictureCheck(c.picture) != 0) << (c.picture ? c.picture : "null");
    // A picture that cannot be read writes nothing, and so does one whose
    // text would pass 99 bytes.
    DateFields d = fields(2004, 2, 9);
    std::string fits = "\"" + std::string(95, 'x') + "\"yyyy";
    std::string over = "\"" + std::string(96, 'x') + "\"yyyy";
    const struct {
        const char *picture;
        const char *text;
    } cases[] = {{"\"d", ""}, {"yyyy \\", ""}, {over.c_str(), ""}, {fits.c_str(), nullptr}};
    for (const auto &c : cases) {
        int ok = -1;
        std::string text = format(c.picture, d, 3, &ok);
        EXPECT_EQ(c.text ? c.text : std::string(95, 'x') + "2004", text);
        EXPECT_EQ(c.text == nullptr, ok != 0);
    }
}

TEST(DateFormat, DoubleByteCharactersInAPictureAreCopiedWhole) {
    Settings keep;
    // 0x83 0x64 is one character under 932 whose trail byte is a 'd'; under
    // 1252 the same bytes are two characters, the second a day field. 0x83
    // 0x5C ends in a backslash, which escapes the next byte only under 1252.
    const struct {
        unsigned codePage;
        const char *picture, *expect;
    } cases[] = {
        {932, "\x83\x64 d", "\x83\x64 9"}, {1252, "\x83\x64 d", "\x83" "9 9"},
        {932, "\x83\x5c" "d", "\x83\x5c" "9"}, {1252, "\x83\x5c" "d", "\x83" "d"},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(SvcSelectCodePage(c.codePage));
        EXPECT_EQ(c.expect, format(c.picture, fields(2004, 2, 9))) << c.codePage << " " << c.picture;
    }
}

TEST(DateFormat, PictureWidthIsTheLongestText) {
    Settings keep;
    auto width = [](const char *picture, int previous) {
        ConvRequest request;
        SvcConvInit(&request);
        request.useDefaults = 0;
        request.picture = request.picture2 = picture;
        return SvcPictureWidth(&request, previous);
    };
    const struct {
        const char *picture;
        int width;
    } cases[] = {
        {"m/d/yyyy", 2 + 1 + 2 + 1 + 5}, {"mmmm", 9}, {"mmm", 3}, {"dddd", 9}, {"ddd", 3},
        {"h:nn AM/PM", 2 + 1 + 2 + 1 + 2}, {"\"at\" HH", 2 + 1 + 2}, {"\\x A/P", 1 + 1 + 2},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.width, width(c.picture, 0)) << c.picture;
        EXPECT_EQ(c.width + 10, width(c.picture, c.width + 10)) << c.picture;
    }
    EXPECT_EQ(7, width("\"d", 7));  // an unreadable picture keeps the width given
    // The longest names of a year's dates reach the width; only a year
    // before 0 would take the fifth byte of yyyy.
    const char *picture = "dddd, mmmm d, yyyy h:nn:ss AM/PM";
    size_t most = 0;
    for (int month = 1; month <= 12; month++)
        for (int day = 21; day <= 27; day++)
            most = std::max(most, format(picture, fields(2000, month, day, 11 + day % 2)).size());
    EXPECT_EQ((int)most + 1, width(picture, 0));
    strcpy(keep.r.monthNames[4], "Mayyyyyyyyyyyy");
    keep.apply();
    EXPECT_EQ(14, width("mmmm", 0));
}

}  // namespace
