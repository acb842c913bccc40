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

std::string show(const DateFields &f) {
    char text[96];
    snprintf(text, sizeof text, "%d-%02d-%02d %02d:%02d:%02d.%06d", f.year, f.month, f.day, f.hour,
             f.minute, f.second, f.fraction);
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
        {fields(2000, 1, 1), 2451545},  {fields(1970, 1, 1), 2440588},
        {fields(1, 1, 1), 1721426},     {fields(1582, 10, 15), 2299161},
        {fields(9999, 12, 31), 5373484}, {fields(-4712, 1, 1), 38},
        {fields(0, 3, 1), 1721120},     {fields(-1, 12, 31), 1721059},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.day, SvcDayNumber(&c.date)) << show(c.date);
        EXPECT_EQ(show(c.date), show(fromDay(c.day)));
    }
    // 1 January 2000 was a Saturday: (day number + 2) mod 7 is 0 then.
    DateFields saturday = fields(2000, 1, 1);
    EXPECT_EQ(0, (SvcDayNumber(&saturday) + 2) % 7);
}

TEST(Calendar, EveryDayFollowsTheOneBefore) {
    // Walk every day of the calendar: each is the day after the one before,
    // and each day number comes back from its date.
    DateFields start = fields(-4712, 1, 1), end = fields(9999, 12, 31);
    DateFields previous = fromDay(SvcDayNumber(&start));
    int32_t first = SvcDayNumber(&previous), last = SvcDayNumber(&end);
    int bad = 0;
    for (int32_t n = first + 1; n <= last && bad < 5; n++) {
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
    EXPECT_EQ(show(fields(9999, 12, 31)), show(previous));
}

TEST(Calendar, LeapYears) {
    const struct {
        int32_t year;
        int february;
    } cases[] = {{1900, 28}, {2000, 29}, {2004, 29}, {2001, 28}, {2100, 28},
                 {2400, 29}, {1600, 29}, {4, 29},    {0, 29},    {-4, 29}, {-100, 28}};
    for (const auto &c : cases) {
        DateFields first = fields(c.year, 3, 1), february = fields(c.year, 2, 1);
        EXPECT_EQ(c.february, SvcDayNumber(&first) - SvcDayNumber(&february)) << c.year;
        EXPECT_EQ(c.february, roundTrip(fields(c.year, 2, 31)).day) << c.year;
    }
}

TEST(Calendar, DayNumbersOutsideTheCalendarAreHeld) {
    EXPECT_EQ(show(fields(-4712, 1, 1)), show(fromDay(-1000000)));
    EXPECT_EQ(show(fields(-4712, 1, 1)), show(fromDay(INT32_MIN)));
    EXPECT_EQ(show(fields(9999, 12, 31)), show(fromDay(6000000)));
    EXPECT_EQ(show(fields(9999, 12, 31)), show(fromDay(INT32_MAX)));
}

// Cases worked out by Python's datetime (tests/date_oracle.py).
TEST(Calendar, AgreesWithTheOracle) {
    std::ifstream in(DATE_CASES_FILE);
    ASSERT_TRUE(in.good()) << DATE_CASES_FILE;
    std::string line;
    int count = 0, bad = 0;
    ConvRequest request;
    char text[100];
    while (std::getline(in, line) && bad < 10) {
        std::vector<std::string> cols;
        std::stringstream split(line);
        for (std::string col; std::getline(split, col, '\t');) cols.push_back(col);
        ASSERT_EQ(10u, cols.size()) << line;
        DateFields d = fields(std::stoi(cols[0]), std::stoi(cols[1]), std::stoi(cols[2]),
                              std::stoi(cols[3]), std::stoi(cols[4]), std::stoi(cols[5]));
        int32_t jdn = std::stoi(cols[6]);
        count++;
        bool ok = SvcDayNumber(&d) == jdn && show(fromDay(jdn)) == show(fields(d.year, d.month, d.day));
        // Names and the default text of the same date.
        SvcConvInit(&request);
        request.date = d;
        request.output = text;
        request.useDefaults = 0;
        request.picture = request.picture2 = "dddd|mmmm";
        ok = ok && SvcDateFormat(&request, 0) && cols[7] + "|" + cols[8] == text;
        request.useDefaults = 1;
        request.kind = 3;
        ok = ok && SvcDateFormat(&request, 0) && cols[9] == text;
        // And the default text reads back to the same date and time.
        request.input = cols[9].c_str();
        request.date = fields(1, 1, 1);
        ok = ok && SvcDateParse(&request) && show(request.date) == show(d);
        if (!ok) {
            ADD_FAILURE() << line << " -> day " << SvcDayNumber(&d) << ", text " << text;
            bad++;
        }
    }
    EXPECT_GT(count, 4000);
}

TEST(Calendar, FieldsOutOfRangeComeIntoRange) {
    const struct {
        DateFields in, out;
    } cases[] = {
        {fields(2001, 2, 29), fields(2001, 2, 28)},  // a YEAR step from 29 February
        {fields(2001, 13, 40, 25, 61, 61), fields(2002, 1, 31, 23, 59, 59)},
        {fields(2000, 0, 15), fields(1999, 12, 15)},
        {fields(2000, -11, 15), fields(1999, 1, 15)},
        {fields(2000, -12, 15), fields(1998, 12, 15)},
        {fields(2000, 25, 31), fields(2002, 1, 31)},
        {fields(2000, 4, 31), fields(2000, 4, 30)},
        {fields(2000, 5, 0), fields(2000, 5, 1)},
        {fields(2000, 5, -7, -1, -1, -1, -1), fields(2000, 5, 1)},
        {fields(2000, 5, 5, 1, 2, 3, 1000000), fields(2000, 5, 5, 1, 2, 3, 999999)},
        {fields(0, 0, 0), fields(-1, 12, 1)},  // DateConstruct of nothing but nulls
        {fields(10000, 1, 1), fields(9999, 1, 1)},
        {fields(-5000, 1, 1), fields(-4712, 1, 1)},
        {fields(9999, 13, 1), fields(9999, 1, 1)},
        {fields(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX),
         fields(9999, 12, 31, 23, 59, 59, 999999)},
        {fields(INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN),
         fields(-4712, 12, 1)},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(show(c.out), show(roundTrip(c.in))) << show(c.in);
        // The day number follows the same rule.
        DateFields clean = fields(c.out.year, c.out.month, c.out.day);
        EXPECT_EQ(SvcDayNumber(&clean), SvcDayNumber(&c.in)) << show(c.in);
    }
}

TEST(Calendar, PackKeepsEveryField) {
    const DateFields cases[] = {
        fields(2000, 2, 29, 23, 59, 59, 999999), fields(1, 1, 1),
        fields(9999, 12, 31, 12, 30, 15, 250000), fields(-4712, 1, 1, 0, 0, 0, 1),
        fields(1969, 7, 20, 20, 17, 40, 123456), fields(-1, 6, 15, 6, 7, 8, 65536),
    };
    for (const auto &d : cases) {
        unsigned char packed[24] = {0};
        int count = SvcDatePack(packed, &d);
        EXPECT_GT(count, 0);
        EXPECT_LE(count, 24);
        DateFields back;
        SvcDateUnpack(packed, count, &back);
        EXPECT_EQ(show(d), show(back));
    }
    // Equal dates have equal bytes, different dates different ones.
    unsigned char a[24] = {0}, b[24] = {0}, c[24] = {0};
    DateFields d1 = fields(2000, 14, 1), d2 = fields(2001, 2, 1), d3 = fields(2001, 2, 1, 0, 0, 0, 1);
    int n = SvcDatePack(a, &d1);
    ASSERT_EQ(n, SvcDatePack(b, &d2));
    EXPECT_EQ(0, memcmp(a, b, (size_t)n));
    SvcDatePack(c, &d3);
    EXPECT_NE(0, memcmp(a, c, (size_t)n));
}

TEST(Calendar, ShortPackedContentStillGivesADate) {
    unsigned char packed[24] = {0};
    DateFields d = fields(2000, 6, 15, 10, 20, 30, 40);
    int count = SvcDatePack(packed, &d);
    for (int n = 1; n < count; n++) {
        DateFields back = fields(0, 0, 0);
        SvcDateUnpack(packed, n, &back);
        EXPECT_EQ(show(roundTrip(back)), show(back)) << n;
    }
}

// ---- Reading dates and times.

struct ParseCase {
    const char *text;
    int kind;
    const char *expect;  // fields as show() writes them, or 0 for a refusal
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
        if (c.expect) {
            EXPECT_TRUE(ok) << setting << ": \"" << c.text << "\" kind " << c.kind;
            EXPECT_EQ(ok ? c.expect : "", ok ? show(request.date) : "") << setting << ": " << c.text;
        } else {
            EXPECT_FALSE(ok) << setting << ": \"" << c.text << "\" kind " << c.kind << " gave "
                             << show(request.date);
            EXPECT_EQ(show(before), show(request.date)) << "a refusal changed the date";
        }
    }
}

TEST(DateParse, LiteralFormsUnderTheDefaultSettings) {
    Settings keep;
    static const ParseCase cases[] = {
        // Dates, kind 1.
        {"1/2/2000", 1, "2000-01-02 00:00:00.000000"},
        {"1-2-2000", 1, "2000-01-02 00:00:00.000000"},
        {"1.2.2000", 1, "2000-01-02 00:00:00.000000"},
        {"1\\2\\2000", 1, "2000-01-02 00:00:00.000000"},
        {"12/31/1999", 1, "1999-12-31 00:00:00.000000"},
        {"02/29/2000", 1, "2000-02-29 00:00:00.000000"},
        {"10-5-3", 1, "2003-10-05 00:00:00.000000"},
        {"1/2/29", 1, "2029-01-02 00:00:00.000000"},
        {"1/2/30", 1, "1930-01-02 00:00:00.000000"},
        {"1/2/99", 1, "1999-01-02 00:00:00.000000"},
        {"1/2/00", 1, "2000-01-02 00:00:00.000000"},
        {"1/2/100", 1, "100-01-02 00:00:00.000000"},
        {"1-Jan-2000", 1, "2000-01-01 00:00:00.000000"},
        {"1-jan-2000", 1, "2000-01-01 00:00:00.000000"},
        {"31.DECEMBER.99", 1, "1999-12-31 00:00:00.000000"},
        {"2000-Feb-29", 1, "2000-02-29 00:00:00.000000"},
        {"1 Jan 2000", 1, "2000-01-01 00:00:00.000000"},
        {"1 January 2000", 1, "2000-01-01 00:00:00.000000"},
        {"1 January, 2000", 1, "2000-01-01 00:00:00.000000"},
        {"Jan 1, 2000", 1, "2000-01-01 00:00:00.000000"},
        {"January 1,2000", 1, "2000-01-01 00:00:00.000000"},
        {"september 30 1999", 1, "1999-09-30 00:00:00.000000"},
        {"  1/2/2000\t", 1, "2000-01-02 00:00:00.000000"},
        // Not real dates, or not dates at all.
        {"13-5-3", 1, nullptr},
        {"4/31/2000", 1, nullptr},
        {"2/29/2001", 1, nullptr},
        {"2/29/1900", 1, nullptr},
        {"0/1/2000", 1, nullptr},
        {"1/0/2000", 1, nullptr},
        {"1/2/0000", 1, nullptr},
        {"1/2/20000", 1, nullptr},
        {"001/2/2000", 1, nullptr},
        {"1/2-2000", 1, nullptr},  // the separators differ
        {"1:2:2000", 1, nullptr},
        {"1/2", 1, nullptr},
        {"1 Foo 2000", 1, nullptr},
        {"31-Apr-2000", 1, nullptr},
        {"Jan 1 , 2000", 1, nullptr},
        {"Ja 1, 2000", 1, nullptr},
        {"1/2/2000x", 1, nullptr},
        {"", 1, nullptr},
        {"1/2/2000 12:30", 1, nullptr},  // a date alone under kind 1
        // Dates with times, kind 3.
        {"1/2/2000", 3, "2000-01-02 00:00:00.000000"},
        {"1/2/2000 12:30", 3, "2000-01-02 12:30:00.000000"},
        {"1/2/2000 12:30:15", 3, "2000-01-02 12:30:15.000000"},
        {"1/2/2000 1:30:15.25", 3, "2000-01-02 01:30:15.250000"},
        {"1/2/2000 1:30:15.1234567", 3, "2000-01-02 01:30:15.123456"},
        {"1/2/2000 12:30 PM", 3, "2000-01-02 12:30:00.000000"},
        {"1/2/2000 12:30 am", 3, "2000-01-02 00:30:00.000000"},
        {"1/2/2000 3 PM", 3, "2000-01-02 15:00:00.000000"},
        {"1/2/2000 3PM", 3, "2000-01-02 15:00:00.000000"},
        {"1/2/2000 12.30", 3, "2000-01-02 12:30:00.000000"},
        {"1/2/2000 23", 3, "2000-01-02 23:00:00.000000"},
        {"1 Jan 2000 12:30", 3, "2000-01-01 12:30:00.000000"},
        {"1 Jan 2000 12:30 PM", 3, "2000-01-01 12:30:00.000000"},
        {"Jan 1, 2000 12:30", 3, "2000-01-01 12:30:00.000000"},
        {"1-Jan-2000 11:59:59 pm", 3, "2000-01-01 23:59:59.000000"},
        {"1.2.2000.12.30", 3, "2000-01-02 12:30:00.000000"},
        {"1.2.2000 12:30", 3, "2000-01-02 12:30:00.000000"},
        {"1/2/2000-12:30", 3, "2000-01-02 12:30:00.000000"},
        {"1/2/2000-3", 3, nullptr},  // stays a date minus three
        {"1.2.2000.12", 3, nullptr},
        {"1/2/2000 25:00", 3, nullptr},
        {"1/2/2000 12:60", 3, nullptr},
        {"1/2/2000 12:30:60", 3, nullptr},
        {"1/2/2000 13 PM", 3, nullptr},
        {"1/2/2000 0 AM", 3, nullptr},
        {"1/2/2000 12:5", 3, nullptr},
        {"1/2/2000 12:30 XM", 3, nullptr},
        {"1/2/2000 12:30 PMX", 3, nullptr},
        {"12:30", 3, nullptr},  // kind 3 needs a date
        {"3 PM", 3, nullptr},
        // Times alone, kind 2: the date is the one the request starts with.
        {"12:30", 2, "1900-01-01 12:30:00.000000"},
        {"3 PM", 2, "1900-01-01 15:00:00.000000"},
        {"3PM", 2, "1900-01-01 15:00:00.000000"},
        {"12 AM", 2, "1900-01-01 00:00:00.000000"},
        {"12 PM", 2, "1900-01-01 12:00:00.000000"},
        {"1:30:15.25", 2, "1900-01-01 01:30:15.250000"},
        {"1.30.15.25", 2, "1900-01-01 01:30:15.250000"},
        {"12.30 pm", 2, "1900-01-01 12:30:00.000000"},
        {"0:00", 2, "1900-01-01 00:00:00.000000"},
        {"23:59:59", 2, "1900-01-01 23:59:59.000000"},
        {"3", 2, nullptr},
        {"24:00", 2, nullptr},
        {"12:30:15:25:1", 2, nullptr},
        {"1/2/2000", 2, nullptr},
        {"1/2/2000 12:30", 2, nullptr},
        {"12:30", 1, nullptr},
        {"12:30", 4, nullptr},
    };
    checkParses(cases, sizeof cases / sizeof cases[0], "m/d/y");
}

TEST(DateParse, FollowsTheDateOrderAndNamesOfTheSettings) {
    Settings keep;
    keep.r.dateOrder = 1;
    strcpy(keep.r.dateSeparator, ".");
    strcpy(keep.r.monthNames[2], "Maerz");
    strcpy(keep.r.monthAbbrev[2], "Mrz");
    strcpy(keep.r.am, "vorm");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    static const ParseCase dmy[] = {
        {"1/2/2000", 1, "2000-02-01 00:00:00.000000"},
        {"31.12.1999", 1, "1999-12-31 00:00:00.000000"},
        {"13-5-3", 1, "2003-05-13 00:00:00.000000"},
        {"10-5-3", 1, "2003-05-10 00:00:00.000000"},
        {"12/31/1999", 1, nullptr},
        {"1 Mrz 2000", 1, "2000-03-01 00:00:00.000000"},
        {"maerz 2, 2000", 1, "2000-03-02 00:00:00.000000"},
        {"1 Mar 2000", 1, nullptr},
        {"1-Jan-2000", 1, "2000-01-01 00:00:00.000000"},  // word forms keep their order
        {"Jan 2, 2000", 1, "2000-01-02 00:00:00.000000"},
        {"2.1.2000 3 nachm", 3, "2000-01-02 15:00:00.000000"},
        {"3 PM", 2, nullptr},
        {"3 Vorm", 2, "1900-01-01 03:00:00.000000"},
    };
    checkParses(dmy, sizeof dmy / sizeof dmy[0], "d/m/y");

    keep.r.dateOrder = 2;
    strcpy(keep.r.dateSeparator, "~");  // a separator of its own counts too
    keep.apply();
    static const ParseCase ymd[] = {
        {"2000/1/2", 1, "2000-01-02 00:00:00.000000"},
        {"2000~1~2", 1, "2000-01-02 00:00:00.000000"},
        {"10-5-3", 1, "2010-05-03 00:00:00.000000"},
        {"1/2/2000", 1, nullptr},
        {"2000/13/1", 1, nullptr},
    };
    checkParses(ymd, sizeof ymd / sizeof ymd[0], "y/m/d");
}

// ---- Writing dates.

std::string formatWith(const char *picture, const DateFields &d, int *ok = nullptr) {
    ConvRequest request;
    SvcConvInit(&request);
    char text[100];
    memset(text, '#', sizeof text);
    request.output = text;
    request.useDefaults = 0;
    request.picture = request.picture2 = picture;
    request.date = d;
    int result = SvcDateFormat(&request, 0);
    if (ok) *ok = result;
    return text;
}

std::string formatDefault(int kind, const DateFields &d) {
    ConvRequest request;
    SvcConvInit(&request);
    char text[100];
    request.output = text;
    request.kind = kind;
    request.date = d;
    EXPECT_TRUE(SvcDateFormat(&request, 0));
    return text;
}

TEST(DateFormat, Pictures) {
    Settings keep;
    DateFields d = fields(2004, 2, 9, 15, 7, 5, 250000);   // a Monday
    DateFields early = fields(987, 11, 30, 0, 0, 9);        // a Friday
    const struct {
        const char *picture;
        const DateFields *date;
        const char *expect;
    } cases[] = {
        {"m/d/yyyy", &d, "2/9/2004"},
        {"mm/dd/yy", &d, "02/09/04"},
        {"ddd, mmm d, yyyy", &d, "Mon, Feb 9, 2004"},
        {"dddd mmmm", &d, "Monday February"},
        {"DDDDD MMMMM", &d, "Monday February"},
        {"yyyy-mm-dd", &early, "0987-11-30"},
        {"dddd", &early, "Friday"},
        {"y yyy", &d, "04 2004"},
        {"h:nn:ss AM/PM", &d, "3:07:05 PM"},
        {"hh:nn am/pm", &d, "03:07 pm"},
        {"h A/P", &d, "3 P"},
        {"h a/p", &early, "12 a"},
        {"H:nn", &early, "0:00"},
        {"HH:NN:SS", &d, "15:07:05"},
        {"h:n:s", &early, "12:0:9"},
        {"\"day\" d \\d\\a\\y", &d, "day 9 day"},
        {"\"\" d", &d, " 9"},
        {"d.m.yyyy", &d, "9.2.2004"},
        {"d-mmm-yyyy", &d, "9-Feb-2004"},
        {"[h] xqz", &d, "[3] xqz"},
        {"hH", &d, "315"},
    };
    for (const auto &c : cases) EXPECT_EQ(c.expect, formatWith(c.picture, *c.date)) << c.picture;

    // The separators of / and : come from the settings, as do the names.
    keep.r.dateSeparator[0] = '-';
    strcpy(keep.r.timeSeparator, "h");
    strcpy(keep.r.monthNames[1], "Februar");
    strcpy(keep.r.dayAbbrev[1], "Mo");
    strcpy(keep.r.pm, "nachm");
    keep.apply();
    EXPECT_EQ("Mo 9-2-2004 Februar 3h07 nachm", formatWith("ddd d/m/yyyy mmmm h:nn AM/PM", d));
    EXPECT_EQ("N", formatWith("A/P", d));
}

TEST(DateFormat, DefaultFormatsFollowTheSettings) {
    Settings keep;
    DateFields d = fields(2004, 2, 9, 15, 7, 5, 250000);
    DateFields midnight = fields(1999, 12, 31, 0, 0, 0);
    EXPECT_EQ("2/9/2004", formatDefault(1, d));
    EXPECT_EQ("3:07:05 PM", formatDefault(2, d));
    EXPECT_EQ("2/9/2004 3:07:05 PM", formatDefault(3, d));
    EXPECT_EQ("12/31/1999 12:00:00 AM", formatDefault(3, midnight));

    keep.r.dateOrder = 1;
    strcpy(keep.r.dateSeparator, ".");
    keep.r.clock24 = 1;
    keep.apply();
    EXPECT_EQ("9.2.2004 15:07:05", formatDefault(3, d));
    EXPECT_EQ("31.12.1999 0:00:00", formatDefault(3, midnight));

    keep.r.dateOrder = 2;
    strcpy(keep.r.dateSeparator, "-");
    keep.apply();
    EXPECT_EQ("2004-2-9", formatDefault(1, d));

    // Each default text reads back as what it was made from.
    for (int order = 0; order < 3; order++) {
        keep.r.dateOrder = order;
        keep.r.clock24 = order == 1;
        keep.apply();
        ConvRequest request;
        SvcConvInit(&request);
        std::string text = formatDefault(3, d);
        request.input = text.c_str();
        ASSERT_TRUE(SvcDateParse(&request)) << text;
        EXPECT_EQ(show(fields(2004, 2, 9, 15, 7, 5)), show(request.date)) << text;
    }
}

TEST(DateFormat, BadPicturesAndLongTexts) {
    Settings keep;
    const struct {
        const char *picture;
        int usable;
    } checks[] = {
        {"d", 1},       {"\"Date: \"yyyy", 1}, {"AM/PM", 1},   {"a/p", 1},
        {":", 0},       {"", 0},                {nullptr, 0},   {"\"text only\"", 0},
        {"\"d", 0},     {"d\\", 0},             {"xqz-", 0},    {"/", 0},
        {"\\d\\m", 0},
    };
    for (const auto &c : checks)
        EXPECT_EQ(c.usable, SvcDatePictureCheck(c.picture) != 0) << (c.picture ? c.picture : "null");
    // A picture that cannot be read, or none at all, writes nothing.
    DateFields d = fields(2004, 2, 9);
    for (const char *bad : {"\"d", "d\\", "yyyy \"", static_cast<const char *>(nullptr)}) {
        int ok = 1;
        EXPECT_EQ("", formatWith(bad, d, &ok)) << (bad ? bad : "null");
        EXPECT_FALSE(ok);
    }
    // 99 bytes fit, 100 do not: the output is left empty.
    std::string fits = "\"" + std::string(95, 'x') + "\"yyyy";
    std::string over = "\"" + std::string(96, 'x') + "\"yyyy";
    int ok = 0;
    EXPECT_EQ(std::string(95, 'x') + "2004", formatWith(fits.c_str(), d, &ok));
    EXPECT_TRUE(ok);
    EXPECT_EQ("", formatWith(over.c_str(), d, &ok));
    EXPECT_FALSE(ok);
}

TEST(DateFormat, DoubleByteCharactersInAPictureAreCopiedWhole) {
    Settings keep;
    DateFields d = fields(2004, 2, 9);
    // 0x83 0x64 is one character under 932 whose trail byte is a 'd'; under
    // 1252 the same bytes are two characters, the second a day field. 0x83
    // 0x5C ends in a backslash, which escapes the next byte only under 1252.
    const struct {
        unsigned codePage;
        const char *picture;
        const char *expect;
    } cases[] = {
        {932, "\x83\x64 d", "\x83\x64 9"},
        {1252, "\x83\x64 d", "\x83" "9 9"},
        {932, "\x83\x5c" "d", "\x83\x5c" "9"},
        {1252, "\x83\x5c" "d", "\x83" "d"},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(SvcSelectCodePage(c.codePage));
        EXPECT_EQ(c.expect, formatWith(c.picture, d)) << c.codePage << " " << c.picture;
    }
}

TEST(DateFormat, PictureWidthIsTheLongestText) {
    Settings keep;
    auto width = [](const char *picture, int kind, int previous) {
        ConvRequest request;
        SvcConvInit(&request);
        request.useDefaults = 0;
        request.kind = kind;
        request.picture = request.picture2 = picture;
        return SvcPictureWidth(&request, previous);
    };
    const struct {
        const char *picture;
        int width;
    } cases[] = {
        {"m/d/yyyy", 2 + 1 + 2 + 1 + 5},
        {"mmmm", 9},   // September
        {"mmm", 3},
        {"dddd", 9},   // Wednesday
        {"ddd", 3},
        {"h:nn AM/PM", 2 + 1 + 2 + 1 + 2},
        {"\"at\" HH", 2 + 1 + 2},
        {"\\x A/P", 1 + 1 + 2},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.width, width(c.picture, 3, 0)) << c.picture;
        EXPECT_EQ(c.width + 10, width(c.picture, 3, c.width + 10)) << c.picture;
    }
    EXPECT_EQ(7, width("\"d", 3, 7));  // an unreadable picture keeps the width given
    // Every date's text fits the width; the longest names reach it.
    const char *picture = "dddd, mmmm d, yyyy h:nn:ss AM/PM";
    int most = 0;
    for (int month = 1; month <= 12; month++)
        for (int day = 1; day <= 7; day++) {
            std::string text = formatWith(picture, fields(2000, month, day + 20, 11 + day % 2, 30));
            most = std::max(most, (int)text.size());
        }
    EXPECT_EQ(most + 1, width(picture, 3, 0));  // only a year before 0 takes five bytes
    // Longer names in the settings widen it.
    keep.r.monthNames[4][0] = 0;
    strcpy(keep.r.monthNames[4], "Mayyyyyyyyyyyy");
    keep.apply();
    EXPECT_EQ(14, width("mmmm", 1, 0));
}

}  // namespace
