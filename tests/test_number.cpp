// The decimal Number services: arithmetic, comparison, rounding, the
// conversions from and to literals, integers and doubles, and a run against
// the reference cases that tests/number_oracle.py writes at build time.
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <limits>
#include <string>

#include "support.h"
#include "services/values.h"

namespace {

Number num(const char *text) {
    Number v;
    memset(&v, 0, sizeof v);
    if (strcmp(text, "null") != 0) SvcNumFromText(&v, text);
    return v;
}

// Readable text of a value: "null", a plain decimal when the digits lie
// near the point, else d.dddE+x.
std::string show(const Number &v) {
    NumDigits d;
    if (!NumDecode(&v, &d)) return "null";
    if (d.count == 0) return "0";
    std::string digits(d.digits, d.count), out = d.negative ? "-" : "";
    int top = d.exponent + d.count - 1;
    if (d.exponent >= -60 && top <= 60) {
        if (top < 0) return out + "0." + std::string(-top - 1, '0') + digits;
        if (d.exponent >= 0) return out + digits + std::string(d.exponent, '0');
        return out + digits.substr(0, top + 1) + "." + digits.substr(top + 1);
    }
    out += digits.substr(0, 1);
    if (d.count > 1) out += "." + digits.substr(1);
    return out + (top < 0 ? "E-" : "E+") + std::to_string(top < 0 ? -top : top);
}

// The form the reference cases use: digits without trailing zeros, E and
// the exponent of the last digit.
std::string canonical(const Number &v) {
    NumDigits d;
    if (!NumDecode(&v, &d)) return "null";
    if (d.count == 0) return "0";
    return std::string(d.negative ? "-" : "") + std::string(d.digits, d.count) + "E" +
           std::to_string(d.exponent);
}

bool sameBytes(const Number &x, const Number &y) { return memcmp(&x, &y, sizeof x) == 0; }

typedef int(ZEMCALL *BinaryOp)(Number *, const Number *, const Number *);

struct BinaryCase {
    const char *a, *b, *want;
};

template <size_t N>
void runBinary(BinaryOp op, const BinaryCase (&cases)[N]) {
    for (const BinaryCase &c : cases) {
        Number a = num(c.a), b = num(c.b), r;
        memset(&r, 0xAB, sizeof r);
        op(&r, &a, &b);
        EXPECT_EQ(show(r), c.want) << c.a << " , " << c.b;
    }
}

const char *const NINES40 = "9999999999999999999999999999999999999999";
const char *const E39 = "1000000000000000000000000000000000000000";
const char *const E40 = "10000000000000000000000000000000000000000";

}  // namespace

TEST(Number, Add) {
    const BinaryCase cases[] = {
        {"1", "2", "3"},
        {"0.1", "0.2", "0.3"},
        {"-1.5", "0.25", "-1.25"},
        {"-1.5", "1.5", "0"},
        {"0", "-2.5", "-2.5"},
        {NINES40, "1", E40},
        // The 41st digit decides, half to even.
        {NINES40, "0.5", E40},
        {E39, "0.5", E39},
        {"1000000000000000000000000000000000000001", "0.5", "1000000000000000000000000000000000000002"},
        {E39, "0.5000000000000000000000000000000000000001", "1000000000000000000000000000000000000001"},
        {E39, "0.4999999999999999999999999999999999999999", E39},
        {"1.000000000000000000000000000000000000003", "5.0E-40", "1.000000000000000000000000000000000000004"},
        {"1.000000000000000000000000000000000000002", "5.0E-40", "1.000000000000000000000000000000000000002"},
        // An addend far below the last digit still tips a tie.
        {"1.000000000000000000000000000000000000002", "5.000000000000000000000000000000000000001E-40",
         "1.000000000000000000000000000000000000003"},
        {"1", "1.0E-50", "1"},
        {"1", "-1.0E-50", "1"},
        {"1", "-5.0E-41", "1"},
        {"1", "-5.1E-41", "0.9999999999999999999999999999999999999999"},
        {"1.000000000000000000000000000000000000001", "-1.0E-60", "1.000000000000000000000000000000000000001"},
        {"1.0E+300", "1.0E-300", "1E+300"},
        // The range: 1E+301 after rounding is null, below 1E-300 is zero.
        {"9.999999999999999999999999999999999999999E+300", "1.0E+260", "9.999999999999999999999999999999999999999E+300"},
        {"9.999999999999999999999999999999999999999E+300", "5.0E+260", "null"},
        {"5.0E+300", "5.0E+300", "null"},
        {"-5.0E+300", "-5.0E+300", "null"},
        {"2.0E-300", "-1.0E-300", "1E-300"},
        {"1.5E-300", "-1.0E-300", "0"},
        {"1.0E-300", "-1.0E-300", "0"},
        {"null", "1", "null"},
        {"1", "null", "null"},
    };
    runBinary(SvcNumAdd, cases);
}

TEST(Number, Subtract) {
    const BinaryCase cases[] = {
        {"3", "5", "-2"},
        {"0.3", "0.1", "0.2"},
        {"-1", "-1", "0"},
        {"-1", "1", "-2"},
        {E40, "1", NINES40},
        {"1", "0.0000000000000000000000000000000000000001", "0.9999999999999999999999999999999999999999"},
        {"1.0E+20", "1.0E-20", "99999999999999999999.99999999999999999999"},
        {"1.0E+20", "1.0E-21", "100000000000000000000"},
        {"1.0E+20", "5.1E-21", "99999999999999999999.99999999999999999999"},
        {"-9.999999999999999999999999999999999999999E+300", "9.0E+299", "null"},
        {"1.000000000000000000000000000000000000001E-300", "1.0E-300", "0"},
    };
    runBinary(SvcNumSub, cases);
}

TEST(Number, Multiply) {
    const BinaryCase cases[] = {
        {"1.5", "1.5", "2.25"},
        {"-2", "3", "-6"},
        {"-2", "-3", "6"},
        {"0", "-5", "0"},
        {"0.1", "0.1", "0.01"},
        {"99999999999999999999", "99999999999999999999", "9999999999999999999800000000000000000001"},
        {"1111111111111111111111111111111111111111", "1111111111111111111111111111111111111111",
         "1.234567901234567901234567901234567901234E+78"},
        {"123456789.123456789", "-987654321.987654321", "-121932631356500531.347203169112635269"},
        // Products of 41 digits ending in a 5: ties.
        {"2000000000000000000000000000000000000001", "5", E40},
        {"2000000000000000000000000000000000000003", "5", "10000000000000000000000000000000000000020"},
        {"1.0E+200", "1.0E+100", "1E+300"},
        {"1.0E+200", "1.0E+101", "null"},
        {"-1.0E+200", "1.0E+101", "null"},
        {"1.0E-200", "1.0E-100", "1E-300"},
        {"1.0E-200", "1.0E-101", "0"},
        {"-1.0E-200", "1.0E-101", "0"},
        {"null", "null", "null"},
    };
    runBinary(SvcNumMul, cases);
}

TEST(Number, Divide) {
    const BinaryCase cases[] = {
        {"1", "3", "0.3333333333333333333333333333333333333333"},
        {"2", "3", "0.6666666666666666666666666666666666666667"},
        {"-2", "3", "-0.6666666666666666666666666666666666666667"},
        {"1", "7", "0.1428571428571428571428571428571428571429"},
        {"1", "-8", "-0.125"},
        {"10", "4", "2.5"},
        {"0", "-7", "0"},
        {"123456789.123456789", "-987654321.987654321", "-0.1249999988609375000142382812498220214844"},
        {"1", "9.999999999999999999999999999999999999999", "0.1"},
        // Quotients of 40 digits and a half.
        {"2469135780246913578024691357802469135781", "2", "1234567890123456789012345678901234567890"},
        {"2469135780246913578024691357802469135783", "2", "1234567890123456789012345678901234567892"},
        {"1", "1.0E-300", "1E+300"},
        {"10", "1.0E-300", "null"},
        {"9.999999999999999999999999999999999999999E+300", "0.9999999999999999999999999999999999999999", "null"},
        {"1.0E-300", "10", "0"},
        {"-1.0E-300", "3", "0"},
        {"1", "0", "null"},
        // A quotient limb estimated one too high, taken back.
        {"108760847838574171285357002", "83788126777700146700000000092336056",
         "0.000000001298046059999999999999999998569529379685"},
        {"58781458159009828352013016", "8170954104537609470000000000748981",
         "0.000000007193952799999999999999999999340574687709"},
    };
    runBinary(SvcNumDiv, cases);
}

TEST(Number, ResultMayBeAnOperand) {
    Number a = num("1.25");
    SvcNumAdd(&a, &a, &a);
    EXPECT_EQ(show(a), "2.5");
    SvcNumMul(&a, &a, &a);
    EXPECT_EQ(show(a), "6.25");
    Number b = num("0.5");
    SvcNumDiv(&b, &a, &b);
    EXPECT_EQ(show(b), "12.5");
    SvcNumSub(&b, &b, &b);
    EXPECT_EQ(show(b), "0");
    SvcNumRound(&a, &a, 1);
    EXPECT_EQ(show(a), "6.3");
}

TEST(Number, Compare) {
    struct {
        const char *a, *b;
        int want;
    } cases[] = {
        {"1", "2", -1},
        {"2", "1", 1},
        {"-1", "-2", 1},
        {"-1", "0", -1},
        {"0", "-0", 0},
        {"0.1", "0.10", 0},
        {"123", "1.23E+2", 0},
        {"0.5", "0.05", 1},
        {"1.0E+300", "9.0E+299", 1},
        {"-1.0E+300", "-9.0E+299", -1},
        {"1.000000000000000000000000000000000000001", "1", 1},
        {"1", "1.000000000000000000000000000000000000001", -1},
        {"0", "1.0E-300", -1},
        {"1", "null", 1},
        {"-1.0E+300", "null", 1},
        {"null", "-1.0E+300", -1},
        {"null", "0", -1},
        {"null", "null", 0},
    };
    for (const auto &c : cases) {
        Number a = num(c.a), b = num(c.b);
        int got = SvcNumCompare(&a, &b);
        EXPECT_EQ((got > 0) - (got < 0), c.want) << c.a << " vs " << c.b;
    }
}

struct PlacesCase {
    const char *value;
    int places;
    const char *want;
};

TEST(Number, RoundHalfAwayFromZero) {
    const PlacesCase cases[] = {
        {"2.5", 0, "3"},
        {"-2.5", 0, "-3"},
        {"0.5", 0, "1"},
        {"-0.5", 0, "-1"},
        {"3.5", 0, "4"},
        {"0.4999", 0, "0"},
        {"-0.4", 0, "0"},
        {"1.005", 2, "1.01"},
        {"1.004999", 2, "1"},
        {"9.99", 1, "10"},
        {"-9.95", 1, "-10"},
        {"123.456", 10, "123.456"},
        {"1234.5678", -2, "1200"},
        {"1250", -2, "1300"},
        {"-1250", -2, "-1300"},
        {"5", -1, "10"},
        {"4.9", -1, "0"},
        {"49999", -5, "0"},
        {"50000", -5, "100000"},
        {"99999", -4, "100000"},
        {"0.0000000000000000000000000000000000000000000000005", 48, "0.000000000000000000000000000000000000000000000001"},
        {"9.999999999999999999999999999999999999999E+300", -300, "null"},
        {"4.0E+300", -301, "0"},
        {"6.0E-300", 299, "1E-299"},
        {"1.5", std::numeric_limits<int>::max(), "1.5"},
        {"1.5", std::numeric_limits<int>::min(), "0"},
        {"null", 2, "null"},
    };
    for (const PlacesCase &c : cases) {
        Number v = num(c.value), r;
        memset(&r, 0xAB, sizeof r);
        SvcNumRound(&r, &v, c.places);
        EXPECT_EQ(show(r), c.want) << c.value << " to " << c.places;
    }
}

TEST(Number, TruncateTowardZero) {
    const PlacesCase cases[] = {
        {"2.9", 0, "2"},
        {"-2.9", 0, "-2"},
        {"-0.9", 0, "0"},
        {"1234.5678", 2, "1234.56"},
        {"-1234.5678", 3, "-1234.567"},
        {"1234.5678", -2, "1200"},
        {"-1299", -2, "-1200"},
        {"99", -2, "0"},
        {"0.1", 1, "0.1"},
        {"0.0999999", 1, "0"},
        {"9.999999999999999999999999999999999999999E+300", -300, "9E+300"},
        {"1.5", std::numeric_limits<int>::max(), "1.5"},
        {"1.5", std::numeric_limits<int>::min(), "0"},
        {"null", 2, "null"},
    };
    for (const PlacesCase &c : cases) {
        Number v = num(c.value);
        SvcNumTruncate(&v, 300, c.places);
        EXPECT_EQ(show(v), c.want) << c.value << " to " << c.places;
    }
}

TEST(Number, FromText) {
    struct {
        const char *text, *want;
    } cases[] = {
        {"12", "12"},
        {"12.", "12"},
        {"12.50", "12.5"},
        {".5", "0.5"},
        {"0.05", "0.05"},
        {"007", "7"},
        {"1.5E+3", "1500"},
        {"1.5e-3", "0.0015"},
        {"-1.5E+3", "-1500"},
        {"+2", "2"},
        {"-0", "0"},
        {"-0.000", "0"},
        {"1.0E+300", "1E+300"},
        {"1.0E+301", "null"},
        {"9.0E-301", "0"},
        {"1.0e+99999999999999999999", "null"},
        {"1.0e-99999999999999999999", "0"},
        {"0.0E+99999", "0"},
        // More than 40 digits round half-even.
        {"12345678901234567890123456789012345678905", "12345678901234567890123456789012345678900"},
        {"12345678901234567890123456789012345678915", "12345678901234567890123456789012345678920"},
        {"1234567890123456789012345678901234567890500000000000000000001",
         "1234567890123456789012345678901234567891000000000000000000000"},
        {"0.000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000012",
         "1.2E-98"},
        // Not literal forms: zero.
        {"1.5E3", "0"},
        {"12.5E+3", "0"},
        {"1.E+3", "0"},
        {".5E+1", "0"},
        {"1.5E+", "0"},
        {"abc", "0"},
        {"", "0"},
        {".", "0"},
        {"-", "0"},
        {"1..2", "0"},
        {"1.2.3", "0"},
        {" 1", "0"},
        {"1 ", "0"},
        {"--1", "0"},
        {"1,5", "0"},
    };
    for (const auto &c : cases) {
        Number v;
        memset(&v, 0xAB, sizeof v);
        SvcNumFromText(&v, c.text);
        EXPECT_EQ(show(v), c.want) << '"' << c.text << '"';
    }
    Number v;
    SvcNumFromText(&v, nullptr);
    EXPECT_TRUE(SvcNumIsZero(&v));
}

TEST(Number, ToLongCutsAndClamps) {
    struct {
        const char *value;
        int32_t want;
    } cases[] = {
        {"0", 0},
        {"2.9", 2},
        {"-2.9", -2},
        {"0.999", 0},
        {"1234567890.5", 1234567890},
        {"2147483647", INT32_MAX},
        {"2147483648", INT32_MAX},
        {"9999999999.9", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"-2147483649", INT32_MIN},
        {"1.0E+300", INT32_MAX},
        {"-1.0E+300", INT32_MIN},
        {"1.0E-300", 0},
        {"null", 0},
    };
    for (const auto &c : cases) {
        Number v = num(c.value);
        EXPECT_EQ(SvcNumToLong(&v), c.want) << c.value;
    }
}

TEST(Number, FromIntegersExact) {
    struct {
        int32_t value;
        const char *want;
    } cases[] = {
        {0, "0"}, {7, "7"}, {-40, "-40"}, {1000000, "1000000"},
        {INT32_MAX, "2147483647"}, {INT32_MIN, "-2147483648"},
    };
    for (const auto &c : cases) {
        Number a, b;
        SvcNumFromLong(&a, c.value);
        SvcNumFromInt(&b, c.value);
        EXPECT_EQ(show(a), c.want);
        EXPECT_TRUE(sameBytes(a, b)) << c.value;
        EXPECT_EQ(SvcNumToLong(&a), c.value);
    }
}

TEST(Number, FromDoubleShortest) {
    struct {
        double value;
        const char *want;
    } cases[] = {
        {0.1, "0.1"},
        {0.3, "0.3"},
        {2.5, "2.5"},
        {-1024, "-1024"},
        {1.0 / 3, "0.3333333333333333"},
        {2.0 / 3, "0.6666666666666666"},
        {0.1 + 0.2, "0.30000000000000004"},
        {123456789012345680000.0, "123456789012345680000"},
        {1e300, "1E+300"},
        {-1e-300, "-1E-300"},
        {1e301, "null"},
        {1e-301, "0"},
        {5e-324, "0"},
        {std::numeric_limits<double>::max(), "null"},
        {-0.0, "0"},
        {NAN, "null"},
        {INFINITY, "null"},
        {-INFINITY, "null"},
    };
    for (const auto &c : cases) {
        Number v;
        memset(&v, 0xAB, sizeof v);
        SvcNumFromDouble(&v, c.value);
        EXPECT_EQ(show(v), c.want) << c.value;
    }
}

TEST(Number, ToDoubleNearest) {
    struct {
        const char *value;
        double want;
    } cases[] = {
        {"0.1", 0.1},
        {"-2.5", -2.5},
        {"0.3333333333333333333333333333333333333333", 1.0 / 3},
        {"1.0E-300", 1e-300},
        {"9.999999999999999999999999999999999999999E+300", 1e301},
        {"123456789012345678901234567890", 1.2345678901234568e29},
        {"0", 0.0},
        {"null", 0.0},
    };
    for (const auto &c : cases) {
        Number v = num(c.value);
        double d = -1;
        SvcNumToDouble(&v, &d);
        EXPECT_EQ(d, c.want) << c.value;
    }
    for (double x : {0.1, 1.0 / 3, 6.02214076e23, -1.602176634e-19, 4503599627370497.0, 1e-300}) {
        Number v;
        double back = 0;
        SvcNumFromDouble(&v, x);
        SvcNumToDouble(&v, &back);
        EXPECT_EQ(back, x) << "round trip of " << x;
    }
}

TEST(Number, EncodeDigits) {
    struct {
        const char *digits;
        int exponent;
        const char *want;
    } cases[] = {
        {"000123", 0, "123"},
        {"12300", -2, "123"},
        {"0000", 5, "0"},
        {"", 0, "0"},
        {"123456789012345678901234567890123456789050", -2, "1234567890123456789012345678901234567890"},
        {"123456789012345678901234567890123456789150", -2, "1234567890123456789012345678901234567892"},
        {"123456789012345678901234567890123456789050001", -5, "1234567890123456789012345678901234567891"},
        {"0000123456789012345678901234567890123456789049999", -5, "1234567890123456789012345678901234567890"},
        {"99999999999999999999999999999999999999995", 0, "100000000000000000000000000000000000000000"},
        {"99999999999999999999999999999999999999995", 260, "null"},
        {"1", 300, "1E+300"},
        {"1", 301, "null"},
        {"1", -300, "1E-300"},
        {"99", -302, "0"},
        {"999999999999999999999999999999999999999999", -342, "1E-300"},
    };
    for (const auto &c : cases) {
        Number v;
        memset(&v, 0xAB, sizeof v);
        NumEncodeDigits(&v, 0, c.digits, (int)strlen(c.digits), c.exponent);
        EXPECT_EQ(show(v), c.want) << c.digits << "E" << c.exponent;
    }
    Number v;
    NumEncodeDigits(&v, 1, "0000", 4, 0);
    EXPECT_TRUE(sameBytes(v, num("0"))) << "an all-zero input is plain zero";
    NumEncodeDigits(&v, 1, "2500", 4, -3);
    NumDigits d;
    ASSERT_EQ(NumDecode(&v, &d), 1);
    EXPECT_EQ(d.negative, 1);
    EXPECT_STREQ(d.digits, "25");
    EXPECT_EQ(d.count, 2);
    EXPECT_EQ(d.exponent, -1);
}

TEST(Number, NullValue) {
    Number v;
    memset(&v, 0, sizeof v);
    NumDigits d;
    EXPECT_EQ(NumDecode(&v, &d), 0) << "a zero-filled block is null";
    EXPECT_FALSE(SvcNumIsZero(&v));
    SvcNumNegate(&v);
    EXPECT_EQ(v.bytes[0], 0) << "negating null keeps it null";
    SvcNumNullToZero(&v);
    EXPECT_NE(v.bytes[0], 0);
    EXPECT_TRUE(SvcNumIsZero(&v));
    Number five = num("5");
    SvcNumNullToZero(&five);
    EXPECT_EQ(show(five), "5") << "a value is left alone";
    Number nan;
    SvcNumFromDouble(&nan, NAN);
    EXPECT_EQ(nan.bytes[0], 0);
}

TEST(Number, EqualNumbersHaveEqualBytes) {
    Number zero;
    SvcNumFromInt(&zero, 0);
    Number minusOne = num("-1"), one = num("1"), r;
    const Number zeros[] = {
        num("0"), num("-0"), num("0.000"), num("-0.0E+5"),
    };
    for (const Number &z : zeros) EXPECT_TRUE(sameBytes(z, zero));
    SvcNumAdd(&r, &minusOne, &one);
    EXPECT_TRUE(sameBytes(r, zero)) << "-1 + 1";
    SvcNumMul(&r, &minusOne, &zero);
    EXPECT_TRUE(sameBytes(r, zero)) << "-1 * 0";
    r = zero;
    SvcNumNegate(&r);
    EXPECT_TRUE(sameBytes(r, zero)) << "negated zero";
    Number small = num("-0.4");
    SvcNumRound(&r, &small, 0);
    EXPECT_TRUE(sameBytes(r, zero)) << "-0.4 rounded";
    SvcNumTruncate(&small, 300, 0);
    EXPECT_TRUE(sameBytes(small, zero)) << "-0.4 cut";
    SvcNumFromDouble(&r, -0.0);
    EXPECT_TRUE(sameBytes(r, zero)) << "-0.0";

    Number oneAndHalf = num("1.5"), three = num("3"), two = num("2"), half = num("0.5");
    Number ways[4];
    SvcNumDiv(&ways[0], &three, &two);
    SvcNumMul(&ways[1], &three, &half);
    SvcNumFromDouble(&ways[2], 1.5);
    ways[3] = num("1.500");
    for (const Number &w : ways) EXPECT_TRUE(sameBytes(w, oneAndHalf)) << show(w);
}

TEST(Number, Negate) {
    struct {
        const char *value, *want;
    } cases[] = {{"1.5", "-1.5"}, {"-1.5", "1.5"}, {"0", "0"}, {"1.0E+300", "-1E+300"}};
    for (const auto &c : cases) {
        Number v = num(c.value);
        SvcNumNegate(&v);
        EXPECT_EQ(show(v), c.want);
        SvcNumNegate(&v);
        EXPECT_TRUE(sameBytes(v, num(c.value))) << "twice negated " << c.value;
    }
}

// The reference cases of tests/number_oracle.py, written into the build
// directory when the test is built.
TEST(NumberOracle, AgreesWithReferenceCases) {
    FILE *f = fopen(ZEM_NUMBER_CASES, "r");
    ASSERT_NE(f, nullptr) << "missing " << ZEM_NUMBER_CASES;
    char op[16], a[128], b[128], want[128];
    int cases = 0, failures = 0;
    while (fscanf(f, "%15s %127s %127s %127s", op, a, b, want) == 4) {
        cases++;
        Number x = num(a), y, r;
        memset(&r, 0xAB, sizeof r);
        std::string got;
        if (!strcmp(op, "cmp")) {
            y = num(b);
            int c = SvcNumCompare(&x, &y);
            got = std::to_string((c > 0) - (c < 0));
        } else if (!strcmp(op, "round")) {
            SvcNumRound(&r, &x, atoi(b));
            got = canonical(r);
        } else if (!strcmp(op, "trunc")) {
            r = x;
            SvcNumTruncate(&r, 300, atoi(b));
            got = canonical(r);
        } else {
            y = num(b);
            BinaryOp fn = !strcmp(op, "add") ? SvcNumAdd : !strcmp(op, "sub") ? SvcNumSub
                        : !strcmp(op, "mul") ? SvcNumMul : SvcNumDiv;
            fn(&r, &x, &y);
            got = canonical(r);
        }
        if (got != want && ++failures <= 20)
            ADD_FAILURE() << op << " " << a << " " << b << ": got " << got << ", want " << want;
    }
    fclose(f);
    EXPECT_EQ(failures, 0);
    EXPECT_GE(cases, 4000) << "the reference file is short";
}
