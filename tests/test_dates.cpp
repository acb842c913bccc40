// The calendar, reading and writing dates, the number formats and pictures,
// the conversion rules between values and text, and the regional settings
// they read.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "eval/convert.h"
#include "services/platform.h"
#include "support.h"

namespace {

DateFields fields(int32_t year, int32_t month, int32_t day, int32_t hour = 0, int32_t minute = 0,
                  int32_t second = 0, int32_t fraction = 0) {
    return DateFields{month, day, year, hour, minute, second, fraction};
}

// "2000-01-02 12:30:00", with ".fraction" when there is one.
std::string show(const DateFields &f) {
    char text[96];
    int n = snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour,
                     f.minute, f.second);
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

DateTime dateOf(const DateFields &f) {
    DateTime d;
    memset(&d, 0, sizeof d);
    d.bytes[0] = (unsigned char)SvcDatePack(d.bytes + 1, &f);
    return d;
}

Number num(const char *text) {
    Number n;
    memset(&n, 0, sizeof n);
    if (text) SvcNumFromText(&n, text);
    return n;
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
        r.currencyAfter = r.clock24 = 1;
        apply();
    }
    ~Settings() {
        ZEMSetRegionalSettings(nullptr);
        SvcSelectCodePage(932);
    }
};

}  // namespace

// ---- Calendar.

TEST(Calendar, DayNumbersAreJulianDays) {
    const struct { DateFields date; int32_t day; } cases[] = {
        {fields(1582, 10, 15), 2299161}, {fields(-4712, 1, 1), 38}, {fields(0, 3, 1), 1721120},
                 {fields(-1, 12, 31), 1721059}};
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
    DateFields start = fields(-4712, 1, 1), end = fields(9999, 12, 31), previous = start;
    int bad = 0;
    for (int32_t n = SvcDayNumber(&start) + 1, last = SvcDayNumber(&end); n <= last && bad < 5; n++) {
        DateFields d = fromDay(n);
        bool next = (d.day == previous.day + 1 && d.month == previous.month && d.year == previous.year) ||
                    (d.day == 1 && d.month == previous.month + 1 && d.year == previous.year) ||
                    (d.day == 1 && d.month == 1 && previous.month == 12 && d.year == previous.year + 1);
        if (!next || SvcDayNumber(&d) != n) ADD_FAILURE() << n << ": " << show(previous) << " then " << show(d), bad++;
        previous = d;
    }
    EXPECT_EQ(show(end), show(previous));
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
        DateFields d = fields(std::stoi(col[0]), std::stoi(col[1]), std::stoi(col[2]), std::stoi(col[3]),
                              std::stoi(col[4]), std::stoi(col[5]));
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
    const struct { DateFields in, out; } cases[] = {
        {fields(2001, 2, 29), fields(2001, 2, 28)},   {fields(1900, 2, 31), fields(1900, 2, 28)},
        {fields(0, 2, 31), fields(0, 2, 29)},          {fields(-100, 2, 31), fields(-100, 2, 28)},
        {fields(2001, 13, 40, 25, 61, 61), fields(2002, 1, 31, 23, 59, 59)},
        {fields(2000, 0, 15), fields(1999, 12, 15)},   {fields(2000, -12, 15), fields(1998, 12, 15)},
        {fields(2000, 25, 31), fields(2002, 1, 31)},   {fields(2000, 4, 31), fields(2000, 4, 30)},
        {fields(2000, 5, -7, -1, -1, -1, -1), fields(2000, 5, 1)},
        {fields(2000, 5, 5, 1, 2, 3, 1000000), fields(2000, 5, 5, 1, 2, 3, 999999)},
        {fields(0, 0, 0), fields(-1, 12, 1)},           {fields(10000, 1, 1), fields(9999, 1, 1)},
        {fields(-5000, 1, 1), fields(-4712, 1, 1)},
        {fields(big, big, big, big, big, big, big), fields(9999, 12, 31, 23, 59, 59, 999999)},
        {fields(small, small, small, small, small, small, small), fields(-4712, 12, 1)},
        // Every field kept.
        {fields(-4712, 1, 1, 0, 0, 0, 1), fields(-4712, 1, 1, 0, 0, 0, 1)},
        {fields(-1, 6, 15, 6, 7, 8, 65536), fields(-1, 6, 15, 6, 7, 8, 65536)},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(show(c.out), show(roundTrip(c.in))) << show(c.in);
        DateFields day = fields(c.out.year, c.out.month, c.out.day);
        EXPECT_EQ(SvcDayNumber(&day), SvcDayNumber(&c.in)) << "day number of " << show(c.in);
    }
    // Equal dates have equal bytes, and one microsecond tells two apart.
    DateTime a = dateOf(fields(2000, 14, 1)), b = dateOf(fields(2001, 2, 1));
    DateTime c = dateOf(fields(2001, 2, 1, 0, 0, 0, 1));
    EXPECT_EQ(0, memcmp(&a, &b, sizeof a));
    EXPECT_NE(0, memcmp(&a, &c, sizeof a));
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
        EXPECT_EQ(c.expect ? c.expect : show(before), show(request.date)) << setting << ": " << c.text;
        EXPECT_EQ(c.expect != nullptr, ok != 0) << setting << ": \"" << c.text << "\" kind " << c.kind;
    }
}

const char *const Jan2 = "2000-01-02 00:00:00", *const Jan1 = "2000-01-01 00:00:00";

TEST(DateParse, LiteralFormsUnderTheDefaultSettings) {
    static const ParseCase cases[] = {
        // Dates alone.
        {"1-2-2000", 1, Jan2}, {"1.2.2000", 1, Jan2}, {"1\\2\\2000", 1, Jan2}, {" 1/2/2000\t", 1, Jan2},
        {"10-5-3", 1, "2003-10-05 00:00:00"}, {"1/2/29", 1, "2029-01-02 00:00:00"},
        {"1/2/30", 1, "1930-01-02 00:00:00"}, {"1/2/100", 1, "100-01-02 00:00:00"},
        {"1-jan-2000", 1, Jan1}, {"31.DECEMBER.99", 1, "1999-12-31 00:00:00"}, {"2000-Feb-1", 1, "2000-02-01 00:00:00"},
        {"1 January, 2000", 1, Jan1}, {"Jan 1, 2000", 1, Jan1}, {"september 30 1999", 1, "1999-09-30 00:00:00"},
        {"13-5-3", 1, nullptr}, {"4/31/2000", 1, nullptr}, {"2/29/2001", 1, nullptr}, {"0/1/2000", 1, nullptr},
        {"1/0/2000", 1, nullptr}, {"1/2/0000", 1, nullptr}, {"1/2/20000", 1, nullptr},
        {"001/2/2000", 1, nullptr}, {"001 Jan 2000", 1, nullptr}, {"Jan 001, 2000", 1, nullptr},
        {"2000-Jan-001", 1, nullptr}, {"1/2-2000", 1, nullptr}, {"1:2:2000", 1, nullptr},
        {"1/2", 1, nullptr}, {"1 Foo 2000", 1, nullptr}, {"31-Apr-2000", 1, nullptr},
        {"Jan 1 , 2000", 1, nullptr}, {"1/2/2000x", 1, nullptr}, {"", 1, nullptr},
        {"1/2/2000 12:30", 1, nullptr},
        // Dates with a time.
        {"1/2/2000", 3, Jan2}, {"1/2/2000 1:30:15.1234567", 3, "2000-01-02 01:30:15.123456"},
        {"1/2/2000 12:30 PM", 3, "2000-01-02 12:30:00"}, {"1/2/2000 12:30 am", 3, "2000-01-02 00:30:00"},
        {"1/2/2000 3PM", 3, "2000-01-02 15:00:00"}, {"1/2/2000 12.30", 3, "2000-01-02 12:30:00"},
        {"1/2/2000 23", 3, "2000-01-02 23:00:00"}, {"1 Jan 2000 12:30 PM", 3, "2000-01-01 12:30:00"},
        {"1.2.2000.12.30", 3, "2000-01-02 12:30:00"}, {"1/2/2000-12:30", 3, "2000-01-02 12:30:00"},
        {"1/2/2000-3", 3, nullptr},  // stays a date minus three
        {"1.2.2000.12", 3, nullptr}, {"1/2/2000 25:00", 3, nullptr}, {"1/2/2000 12:60", 3, nullptr},
        {"1/2/2000 12:30:60", 3, nullptr}, {"1/2/2000 13 PM", 3, nullptr}, {"1/2/2000 0 AM", 3, nullptr},
        {"1/2/2000 12:5", 3, nullptr}, {"1/2/2000 1 PMX", 3, nullptr}, {"12:30", 3, nullptr},
        // Times alone take the date the request starts with.
        {"3pm", 2, "1900-01-01 15:00:00"}, {"12 AM", 2, "1900-01-01 00:00:00"},
        {"12 PM", 2, "1900-01-01 12:00:00"}, {"1.30.15.25", 2, "1900-01-01 01:30:15.250000"},
        {"12.30 pm", 2, "1900-01-01 12:30:00"}, {"23:59:59", 2, "1900-01-01 23:59:59"},
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
        {"1/2/2000", 1, "2000-02-01 00:00:00"}, {"13-5-3", 1, "2003-05-13 00:00:00"},
        {"12/31/1999", 1, nullptr}, {"1 Mrz 2000", 1, "2000-03-01 00:00:00"}, {"1 Mar 2000", 1, nullptr},
        {"2.1.2000 3 nachm", 3, "2000-01-02 15:00:00"}, {"3 PM", 2, nullptr},
    };
    checkParses(dmy, sizeof dmy / sizeof dmy[0], "d/m/y");
    keep.r.dateOrder = 2;
    strcpy(keep.r.dateSeparator, "~");  // a separator of its own counts too
    keep.apply();
    static const ParseCase ymd[] = {
        {"2000~1~2", 1, Jan2}, {"10-5-3", 1, "2010-05-03 00:00:00"}, {"1/2/2000", 1, nullptr}};
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

TEST(DateFormat, PicturesAndDefaults) {
    Settings keep;
    DateFields d = fields(2004, 2, 9, 15, 7, 5, 250000), early = fields(987, 11, 30, 0, 0, 9);
    const struct { const char *picture; DateFields date; int kind; const char *expect; } cases[] = {
        {"mm/dd/yy", d, 3, "02/09/04"}, {"ddd, mmm d", d, 3, "Mon, Feb 9"}, {"DDDDD MMMMM", d, 3, "Monday February"},
        {"yyyy-mm-dd dddd", early, 3, "0987-11-30 Friday"}, {"y yyy", d, 3, "04 2004"},
        {"yyyy", fields(-44, 3, 15), 3, "-0044"}, {"hh:nn am/pm", d, 3, "03:07 pm"}, {"h A/P", d, 3, "3 P"},
        {"h a/p", early, 3, "12 a"}, {"H:nn", early, 3, "0:00"}, {"HH:NN:SS", d, 3, "15:07:05"},
        {"h:n:s", early, 3, "12:0:9"}, {"\"day\" d \\d\\a\\y", d, 3, "day 9 day"}, {"\"\" d", d, 3, " 9"},
        {"[h] xqz", d, 3, "[3] xqz"}, {"hH", d, 3, "315"},
        {nullptr, d, 1, "2/9/2004"}, {nullptr, d, 2, "3:07:05 PM"},
        {nullptr, fields(1999, 12, 31), 3, "12/31/1999 12:00:00 AM"}, {nullptr, d, 4, ""},
    };
    for (const auto &c : cases) EXPECT_EQ(c.expect, format(c.picture, c.date, c.kind)) << c.picture;

    // The separators of / and : come from the settings, as do the names.
    strcpy(keep.r.dateSeparator, "-");
    strcpy(keep.r.timeSeparator, "h");
    strcpy(keep.r.monthNames[1], "Februar");
    strcpy(keep.r.dayAbbrev[1], "Mo");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    EXPECT_EQ("Mo 9-2-2004 Februar 3h07 nachm N", format("ddd d/m/yyyy mmmm h:nn AM/PM A/P", d));
    const struct { int order, clock24; const char *separator, *text; } settings[] = {
        {1, 1, ".", "9.2.2004 15:07:05"}, {2, 0, "-", "2004-2-9 3:07:05 PM"}};
    for (const auto &s : settings) {
        keep.r.dateOrder = s.order;
        keep.r.clock24 = s.clock24;
        strcpy(keep.r.dateSeparator, s.separator);
        strcpy(keep.r.timeSeparator, ":");
        strcpy(keep.r.pm, "PM");
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
    const struct { const char *picture; int usable; } checks[] = {
        {"d", 1}, {"\"Date: \"yyyy", 1}, {"a/p", 1}, {":", 0}, {"", 0}, {nullptr, 0},
                  {"\"text only\"", 0}, {"\"d", 0}, {"d\\", 0}, {"xqz-", 0}, {"\\d\\m", 0}};
    for (const auto &c : checks)
        EXPECT_EQ(c.usable, SvcDatePictureCheck(c.picture) != 0) << (c.picture ? c.picture : "null");
    // A picture that cannot be read writes nothing, nor one whose text would pass 99 bytes.
    std::string fits = "\"" + std::string(95, 'x') + "\"yyyy", over = "\"" + std::string(96, 'x') + "\"yyyy";
    const char *cases[][2] = {{"\"d", ""}, {"yyyy \\", ""}, {over.c_str(), ""}, {fits.c_str(), nullptr}};
    for (const auto &c : cases) {
        int ok = -1;
        EXPECT_EQ(c[1] ? c[1] : std::string(95, 'x') + "2004", format(c[0], fields(2004, 2, 9), 3, &ok));
        EXPECT_EQ(c[1] == nullptr, ok != 0);
    }
}

// 0x83 0x64 is one character under 932 whose trail byte is a 'd'; under
// 1252 the same bytes are two characters, the second a day field. 0x83 0x5C
// ends in a backslash, which escapes the next byte only under 1252.
TEST(DateFormat, DoubleByteCharactersInAPictureAreCopiedWhole) {
    Settings keep;
    const struct { unsigned codePage; const char *picture, *expect; } cases[] = {
        {932, "\x83\x64 d", "\x83\x64 9"}, {1252, "\x83\x64 d", "\x83" "9 9"},
                 {932, "\x83\x5c" "d", "\x83\x5c" "9"}, {1252, "\x83\x5c" "d", "\x83" "d"}};
    for (const auto &c : cases) {
        ASSERT_TRUE(SvcSelectCodePage(c.codePage));
        EXPECT_EQ(c.expect, format(c.picture, fields(2004, 2, 9))) << c.codePage << " " << c.picture;
    }
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

TEST(DateFormat, PictureWidthIsTheLongestText) {
    Settings keep;
    auto width = [](const char *picture, int previous) {
        ConvRequest request;
        SvcConvInit(&request);
        request.useDefaults = 0;
        request.picture = request.picture2 = picture;
        return SvcPictureWidth(&request, previous);
    };
    const struct { const char *picture; int width; } cases[] = {
        {"m/d/yyyy", 2 + 1 + 2 + 1 + 5}, {"mmm", 3}, {"dddd", 9}, {"ddd", 3},
                 {"h:nn AM/PM", 2 + 1 + 2 + 1 + 2}, {"\"at\" HH", 2 + 1 + 2}, {"\\x A/P", 1 + 1 + 2}};
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

// ---- The conversion rules between values and text.

TEST(Convert, Dates) {
    Settings keep;
    const char *none = "untouched";
    const struct { const char *text, *expect; } reads[] = {
        {"1/2/2000 12:30", "2000-01-02 12:30:00"}, {"3 PM", "1900-01-01 15:00:00"},
                 {"1:30:15.25", "1900-01-01 01:30:15.250000"}, {"13-5-3", none}, {"12:30 XM", none},
                 {"", none}, {nullptr, none}};
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
    const struct {
        const DateTime *date;
        const char *picture;  // "-": the default format
        int result;
        const char *text;
    } writes[] = {{&null, "-", 1, ""}, {&d, "-", 1, "2/9/2004 3:07:00 PM"}, {&null, "\"unclosed", 1, ""},
                  {&null, nullptr, 1, ""}, {&d, "\"unclosed", 0, ""}, {&d, "xqz!", 0, ""}, {&d, nullptr, 0, ""},
                  {&d, "dddd d mmmm yyyy, h:nn am/pm", 1, "Monday 9 February 2004, 3:07 pm"}};
    for (const auto &c : writes) {
        memset(out, 'x', sizeof out);
        bool plain = c.picture && !strcmp(c.picture, "-");
        EXPECT_EQ(c.result, plain ? DateToText(c.date, out) : DateToTextPicture(c.date, c.picture, out));
        EXPECT_STREQ(c.text, out);
    }
    // The picture conversions keep the settings of their first load; the
    // default format follows the settings at once.
    EXPECT_EQ(0, LocaleDirty());
    strcpy(keep.r.monthNames[1], "Februar");
    keep.german();
    ASSERT_EQ(1, DateToTextPicture(&d, "mmmm d/m", out));
    EXPECT_STREQ("February 9/2", out);
    EXPECT_EQ(1, DateToText(&d, out));
    EXPECT_STREQ("9.2.2004 15:07:00", out);
}

TEST(Convert, DatePictureWidthAndLiteralRewrite) {
    const char *p1 = "m/d/yyyy", *p2 = "mmmm d, yyyy h:nn AM/PM", *p3 = "HH:nn";  // 11, 28, 5
    EXPECT_EQ(0, DatePictureWidth(0x0002, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(9, DatePictureWidth(0x0002, nullptr, nullptr, nullptr, "[%s]", nullptr, "{ts '%s'}"));
    EXPECT_EQ(0, DatePictureWidth(0x0001, nullptr, nullptr, nullptr, "[%s]", "x", "{ts '%s'}"));
    EXPECT_EQ(0, DatePictureWidth(0, "", "", "", nullptr, nullptr, nullptr));
    EXPECT_EQ(28, DatePictureWidth(0, p1, p2, p3, nullptr, nullptr, nullptr));
    EXPECT_EQ(5, DatePictureWidth(0, nullptr, nullptr, p3, "[%s]", "[%s]", "[%s]"));
    EXPECT_EQ(28 + 10, DatePictureWidth(0x0002, p1, p2, p3, "{d '%s'}", "{t '%s'}", "{ts '%s'}X"));
    EXPECT_EQ(11, DatePictureWidth(0, p1, "\"bad", nullptr, nullptr, nullptr, nullptr));
    const char *q1 = "yyyy-mm-dd", *q2 = "yyyy-mm-dd HH:nn", *q3 = "HH.nn";
    const struct { const char *text, *pictures[3]; int kind; const char *output; } cases[] = {
        {"1/2/2000", {q1, q2, q3}, 8, "2000-01-02"},  // a date alone is a date, though kind 3 reads it too
        {"1/2/2000 3:04 PM", {q1, q2, q3}, 10, "2000-01-02 15:04"}, {"12:30", {q1, q2, q3}, 9, "12.30"},
        {"1/2/2000", {nullptr, q2, q3}, 8, ""}, {"1/2/2000 12:00", {q1, nullptr, q3}, 10, ""},
        {"1/2/2000", {"\"bad", q2, q3}, 8, ""}, {"13-5-3", {q1, q2, q3}, 0, ""},
    };
    for (const auto &c : cases) {
        char out[100];
        memset(out, 'x', sizeof out);
        EXPECT_EQ(c.kind, DateLiteralRewrite(c.text, out, c.pictures[0], c.pictures[1], c.pictures[2]));
        EXPECT_STREQ(c.output, out) << c.text;
    }
}

TEST(Convert, TextToNumber) {
    Settings keep;
    const char *cases[][2] = {  // text, number or 0 for none
        {"  -1,234,567.25 ", "-1234567.25"}, {"+.5", "0.5"}, {"5.", "5"}, {"1e3", "1000"}, {"2.5E-3", "0.0025"},
        {"-0", "0"}, {"123,456", "123456"},
        {"123456789012345678901234567890123456789012345", "1.234567890123456789012345678901234567890E+44"},
        // A tie at the 41st digit broken by a non-zero digit far behind it.
        {"100000000000000000000000000000000000000250000000000000000000000001",
         "1.000000000000000000000000000000000000003E+65"},
        {"1,23", 0}, {"1234,567", 0}, {"1,2345", 0}, {",123", 0}, {"1.2.3", 0}, {"1 2", 0}, {"$5", 0},
        {"", 0}, {"-", 0}, {".", 0}, {"1e", 0}, {"1E+400", 0}, {nullptr, 0},
    };
    for (int region = 0; region < 2; region++) {
        for (const auto &c : cases) {
            Number result = num("42"), expect = num(c[1] ? c[1] : "0");
            EXPECT_EQ(c[1] ? 1 : 0, TextToNumber(&result, c[0])) << (c[0] ? c[0] : "null");
            EXPECT_EQ(0, memcmp(&expect, &result, sizeof result)) << (c[0] ? c[0] : "null");
            if (region) break;
        }
        keep.german();
        cases[0][0] = "  -1.234.567,25 ";
    }
    Number result;
    EXPECT_EQ(0, TextToNumber(&result, "1,234.5"));
}

TEST(Convert, NumberFormats) {
    Settings keep;
    static const struct {
        const char *number;
        int decimals;
        const char *text, *regional, *currency, *germanRegional, *germanCurrency;
    } cases[] = {
        {"1234567.891", 2, "1234567.89", "1,234,567.89", "$1,234,567.89", "1.234.567,89", "1.234.568 DM"},
        {"-1234.5", 0, "-1235", "-1,234.50", "-$1,234.50", "-1.234,50", "-1.235 DM"},
        {"0", 3, "0.000", "0.00", "$0.00", "0,00", "0 DM"},
        {"999.995", 2, "1000.00", "1,000.00", "$1,000.00", "1.000,00", "1.000 DM"},
        {"-0.004", 2, "0.00", "0.00", "$0.00", "0,00", "0 DM"},
        {"123456", -2, "123456", "123,456.00", "$123,456.00", "123.456,00", "123.456 DM"},
        {"0.125", 8, "0.12500000", "0.13", "$0.13", "0,13", "0 DM"},
        {"12345678901234567890.123456789", 5, "12345678901234567890.12346", "12,345,678,901,234,567,890.12",
         "$12,345,678,901,234,567,890.12", "12.345.678.901.234.567.890,12", "12.345.678.901.234.567.890 DM"},
    };
    for (int region = 0; region < 2; region++) {
        if (region == 1) {
            keep.r.currencyDecimals = 0;
            keep.german();
        }
        for (const auto &c : cases) {
            char out[328];
            Number n = num(c.number);
            EXPECT_EQ(1, NumberToText(&n, c.decimals, out));
            EXPECT_STREQ(c.text, out) << c.number << " region " << region;  // "." and no grouping in every region
            EXPECT_EQ(1, NumberToRegional(&n, out));
            EXPECT_STREQ(region ? c.germanRegional : c.regional, out) << c.number;
            EXPECT_EQ(1, NumberToCurrencyText(&n, out));
            EXPECT_STREQ(region ? c.germanCurrency : c.currency, out) << c.number;
        }
    }
    Number none = num(nullptr);
    for (int rule = 0; rule < 4; rule++) {
        char out[328] = "x";
        EXPECT_EQ(1, rule == 0 ? NumberToRegional(&none, out) : rule == 1 ? NumberToCurrencyText(&none, out)
                     : rule == 2 ? NumberToText(&none, 2, out) : NumberToTextPicture(&none, "0.00", out));
        EXPECT_STREQ("", out) << "null, rule " << rule;
    }
}

TEST(Convert, NumberFormatsNeverPassTheirBuffer) {
    // Plain digits may take 327 bytes and the terminator: 1E+300 has 301 digits.
    char out[400];
    Number big = num("1.0E+300"), one = num("1"), wide = num("1.0E+71"), wider = num("1.0E+72");
    ASSERT_EQ(1, NumberToText(&big, 25, out));
    EXPECT_EQ(327u, strlen(out));
    EXPECT_EQ(0, NumberToText(&one, INT32_MAX, out));
    // The other formats stop at 100: 72 digits, 23 grouping marks, ".00" and "$" make 99 bytes.
    EXPECT_EQ(1, NumberToCurrencyText(&wide, out));
    EXPECT_EQ(99u, strlen(out));
    EXPECT_EQ(1, NumberToRegional(&wide, out));
    EXPECT_EQ(98u, strlen(out));
    for (int rule = 0; rule < 4; rule++) {
        memset(out, 'x', sizeof out);
        EXPECT_EQ(0, rule == 0 ? NumberToRegional(&wider, out) : rule == 1 ? NumberToCurrencyText(&wider, out)
                     : rule == 2 ? NumberToText(&big, 26, out) : NumberToTextPicture(&big, "0", out));
        EXPECT_STREQ("", out) << rule;
    }
}

TEST(Convert, NumberPictures) {
    Settings keep;
    static const char *const cases[][3] = {
        {"#,##0.00", "-1234567.891", "-1,234,567.89"}, {"#,##0.00", "999.999", "1,000.00"}, {"#,##0.00", "0", "0.00"},
        {"\"$\"#,##0", "-1234.5", "-$1,235"}, {"0%", "0.256", "26%"}, {"0.0%", "0.2567", "25.7%"},
        {"#.##", "0.5", ".5"}, {"#.##", "2", "2."}, {"0.0#", "1.5", "1.5"}, {"0.0#", "1.255", "1.26"},
        {"0.#0", "1.5", "1.50"}, {"000-00-0000", "123456789", "123-45-6789"}, {"#", "12345", "12345"},
        {"#", "0.4", ""}, {"0,000", "5", "0,005"}, {"#,###", "0", ""},
        {"#,", "1234", "1234,"},  // a comma behind the places is text
        {"0.00,", "1.5", "1.50,"}, {"Total: 0", "7", "Total: 7"}, {"\\#0", "5", "#5"},
        {"0 \"units\"", "3", "3 units"}, {"0.00", "-0.001", "0.00"}, {"0;(0)", "5", "0;(5)"},  // one section only
        {"0", "1.0E+40", "10000000000000000000000000000000000000000"},
    };
    for (const auto &c : cases) {
        char out[100];
        Number n = num(c[1]);
        EXPECT_EQ(1, NumberToTextPicture(&n, c[0], out)) << c[0];
        EXPECT_STREQ(c[2], out) << c[0] << " with " << c[1];
    }
    keep.german();
    char out[100];
    Number n = num("1234.5");
    EXPECT_EQ(1, NumberToTextPicture(&n, "#,##0.00", out));
    EXPECT_STREQ("1.234,50", out);
    for (const char *picture : {"", "\"0", "0.0.0", "abc", "0\\", "\"0\"", "\\0", "%", ".", ",", (const char *)0}) {
        ConvRequest request;
        SvcConvInit(&request);
        request.numberPicture = picture;
        EXPECT_EQ(0, SvcNumPictureCheck(&request)) << (picture ? picture : "null");
        memset(out, 'x', sizeof out);
        EXPECT_EQ(0, NumberToTextPicture(&n, picture, out));
        EXPECT_STREQ("", out);
    }
}

TEST(Convert, PlainFormatTakesItsOwnMarks) {
    const struct { char group, point; int fixed, decimals; const char *number, *text; } cases[] = {
        {'.', ',', 1, 1, "1234567.891", "1.234.567,9"},
        {0, '.', 0, 0, "1234.5678", "1234.5678"},  // as many decimals as it has
        {0, 0, 1, 1, "2.25", "2.3"},               // no point given: "."
        {'.', '.', 1, 1, "1234", "1234.0"},        // a grouping mark equal to the point is dropped
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

TEST(Convert, NoRuleAllocates) {
    LeakCheck leaks;
    char out[328];
    DateTime d;
    Number n = num("1234.5");
    SvcFailAllocAfter(1);
    EXPECT_EQ(1, TextToDate(&d, "1/2/2000 12:30") + DateToText(&d, out) + DateToTextPicture(&d, "yyyy", out) +
                     TextToNumber(&n, "1,234.5") + NumberToText(&n, 2, out) + NumberToTextPicture(&n, "0.0", out) +
                     NumberToRegional(&n, out) + NumberToCurrencyText(&n, out) - 7);
    EXPECT_EQ(8, DateLiteralRewrite("1/2/2000", out, "d", nullptr, nullptr));
    EXPECT_GT(DatePictureWidth(0, "mmmm", nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(SvcFailAllocPending());
    SvcFailAllocAfter(0);
}

// ---- The regional settings.

TEST(Regional, DefaultsAndARecordWithABadFieldIsRefusedWhole) {
    ZEMRegional before, now;
    ZEMGetRegionalSettings(&before);
    EXPECT_EQ(0, before.dateOrder + before.currencyAfter + before.clock24);
    EXPECT_EQ(2, before.currencyDecimals);
    std::string texts = std::string(before.dateSeparator) + before.timeSeparator + before.decimalPoint +
                        before.grouping + before.currency + before.am + before.pm + before.monthNames[8] +
                        before.monthAbbrev[11] + before.dayNames[0] + before.dayAbbrev[6];
    EXPECT_EQ("/:.,$AMPMSeptemberDecSundaySat", texts);
    using Spoil = void (*)(ZEMRegional *);
    const Spoil spoils[] = {
        [](ZEMRegional *r) { r->am[0] = 0; }, [](ZEMRegional *r) { memset(r->dateSeparator, '-', 4); },
        [](ZEMRegional *r) { r->grouping[0] = 0; }, [](ZEMRegional *r) { r->currency[0] = 0; },
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
    ZEMRegional changed = before;
    changed.dateOrder = 2;
    ASSERT_EQ(1, ZEMSetRegionalSettings(&changed));
    ZEMGetRegionalSettings(&now);
    EXPECT_EQ(2, now.dateOrder);
    ASSERT_EQ(1, ZEMSetRegionalSettings(nullptr));
    ZEMGetRegionalSettings(&now);
    EXPECT_EQ(0, memcmp(&before, &now, sizeof now));
}
