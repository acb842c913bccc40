// The decimal Number services: a table of edge cases, and the reference
// cases that tests/number_oracle.py writes at build time.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

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

// Digits without trailing zeros, E and the exponent of the last digit.
std::string canonical(const Number &v) {
    NumDigits d;
    if (!NumDecode(&v, &d)) return "null";
    if (d.count == 0) return "0";
    return std::string(d.negative ? "-" : "") + std::string(d.digits, d.count) + "E" +
           std::to_string(d.exponent);
}

bool sameBytes(const Number &x, const Number &y) { return memcmp(&x, &y, sizeof x) == 0; }

typedef int(ZEMCALL *BinaryOp)(Number *, const Number *, const Number *);

// What op makes of a and b, in the form of the reference cases. Besides
// the oracle's operations: text (a read as a literal), long (to an integer),
// int (from one), double (from strtod of a), todouble (ok when it gives
// strtod of b), trip (a double there and back), encode (the digits a
// times 10^b), neg (negated, and negated twice gives a back).
std::string apply(const std::string &op, const char *a, const char *b) {
    Number x = num(a), y = num(b), r;
    memset(&r, 0xAB, sizeof r);
    double d = -1;
    if (op == "cmp") {
        int c = SvcNumCompare(&x, &y);
        return std::to_string((c > 0) - (c < 0));
    }
    if (op == "long") return std::to_string(SvcNumToLong(&x));
    if (op == "todouble" || op == "trip") {
        if (op == "trip") SvcNumFromDouble(&x, strtod(a, nullptr));
        SvcNumToDouble(&x, &d);
        return d == strtod(op == "trip" ? a : b, nullptr) ? "ok" : std::to_string(d);
    }
    if (op == "round") SvcNumRound(&r, &x, atoi(b));
    if (op == "trunc") SvcNumTruncate(&(r = x), 300, atoi(b));
    if (op == "text") SvcNumFromText(&r, a);
    if (op == "double") SvcNumFromDouble(&r, strtod(a, nullptr));
    if (op == "encode") NumEncodeDigits(&r, *a == '-', a + (*a == '-'), (int)strlen(a + (*a == '-')), atoi(b));
    if (op == "int") {
        Number i;
        SvcNumFromLong(&r, atoi(a));
        SvcNumFromInt(&i, atoi(a));
        if (!sameBytes(r, i) || SvcNumToLong(&r) != atoi(a)) return "int and long differ";
    }
    if (op == "neg") {
        SvcNumNegate(&x);
        r = x;
        SvcNumNegate(&x);
        if (!sameBytes(x, num(a))) return "twice negated differs";
    }
    BinaryOp fn = op == "add" ? SvcNumAdd : op == "sub" ? SvcNumSub : op == "mul" ? SvcNumMul
                : op == "div" ? SvcNumDiv : nullptr;
    if (fn) fn(&r, &x, &y);
    return canonical(r);
}

}  // namespace

TEST(Number, EdgeCases) {
    const struct { const char *op, *a, *b, *want; } cases[] = {
        {"add", "null", "1", "null"}, {"add", "1", "null", "null"}, {"sub", "-1", "null", "null"},
        {"mul", "null", "null", "null"}, {"div", "null", "2", "null"}, {"div", "1", "0", "null"}, {"div", "0", "-7", "0"},
        {"add", "1.000000000000000000000000000000000000002", "5.000000000000000000000000000000000000001E-40", "1000000000000000000000000000000000000003E-39"},
        {"div", "108760847838574171285357002", "83788126777700146700000000092336056", "1298046059999999999999999998569529379685E-48"},
        {"div", "58781458159009828352013016", "8170954104537609470000000000748981", "7193952799999999999999999999340574687709E-48"},
        {"cmp", "0", "-0", "0"}, {"cmp", "1", "null", "1"}, {"cmp", "-1.0E+300", "null", "1"},
        {"cmp", "null", "-1.0E+300", "-1"}, {"cmp", "null", "null", "0"}, {"round", "1.5", "2147483647", "15E-1"},
        {"round", "1.5", "-2147483648", "0"}, {"round", "null", "2", "null"}, {"trunc", "1.5", "2147483647", "15E-1"},
        {"trunc", "1.5", "-2147483648", "0"}, {"trunc", "null", "2", "null"}, {"text", "12.", "x", "12E0"},
        {"text", ".5", "x", "5E-1"}, {"text", "+2", "x", "2E0"}, {"text", "-0.000", "x", "0"},
        {"text", "1.5e-3", "x", "15E-4"}, {"text", "1.0E+301", "x", "null"}, {"text", "9.0E-301", "x", "0"},
        {"text", "1.0e+99999999999999999999", "x", "null"}, {"text", "1.0e-99999999999999999999", "x", "0"},
        {"text", "0.0E+99999", "x", "0"},
        {"text", "12345678901234567890123456789012345678905", "x", "123456789012345678901234567890123456789E2"},
        {"text", "1234567890123456789012345678901234567890500000000000000000001", "x", "1234567890123456789012345678901234567891E21"},
        {"text", "0.000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000012", "x", "12E-99"},
        {"text", "1.5E3", "x", "0"}, {"text", "1.E+3", "x", "0"}, {"text", ".5E+1", "x", "0"}, {"text", "1.5E+", "x", "0"},
        {"text", "abc", "x", "0"}, {"text", "", "x", "0"}, {"text", ".", "x", "0"}, {"text", "-", "x", "0"},
        {"text", "1..2", "x", "0"}, {"text", " 1", "x", "0"}, {"text", "1 ", "x", "0"}, {"text", "--1", "x", "0"},
        {"text", "1,5", "x", "0"}, {"long", "2.9", "x", "2"}, {"long", "2147483648", "x", "2147483647"},
        {"long", "-2147483649", "x", "-2147483648"}, {"long", "1.0E+300", "x", "2147483647"},
        {"long", "-1.0E+300", "x", "-2147483648"}, {"long", "1.0E-300", "x", "0"}, {"long", "null", "x", "0"},
        {"int", "-40", "x", "-4E1"}, {"int", "2147483647", "x", "2147483647E0"}, {"int", "-2147483648", "x", "-2147483648E0"},
        {"double", "0.3", "x", "3E-1"}, {"double", "0x1.5555555555555p-2", "x", "3333333333333333E-16"},
        {"double", "0.30000000000000004", "x", "30000000000000004E-17"},
        {"double", "123456789012345680000.0", "x", "12345678901234568E4"}, {"double", "-1e-300", "x", "-1E-300"},
        {"double", "1e301", "x", "null"}, {"double", "1e-301", "x", "0"}, {"double", "5e-324", "x", "0"},
        {"double", "-0.0", "x", "0"}, {"double", "nan", "x", "null"}, {"double", "inf", "x", "null"},
        {"todouble", "0.3333333333333333333333333333333333333333", "0x1.5555555555555p-2", "ok"},
        {"todouble", "9.999999999999999999999999999999999999999E+300", "1e301", "ok"},
        {"todouble", "123456789012345678901234567890", "1.2345678901234568e29", "ok"}, {"todouble", "null", "0", "ok"},
        {"trip", "6.02214076e23", "x", "ok"}, {"trip", "4503599627370497.0", "x", "ok"}, {"trip", "1e-300", "x", "ok"},
        {"encode", "000123", "0", "123E0"}, {"encode", "-12300", "-2", "-123E0"}, {"encode", "", "0", "0"},
        {"encode", "123456789012345678901234567890123456789050", "-2", "123456789012345678901234567890123456789E1"},
        {"encode", "123456789012345678901234567890123456789050001", "-5", "1234567890123456789012345678901234567891E0"},
        {"encode", "0000123456789012345678901234567890123456789049999", "-5", "123456789012345678901234567890123456789E1"},
        {"encode", "99999999999999999999999999999999999999995", "260", "null"}, {"encode", "1", "301", "null"},
        {"encode", "99", "-302", "0"}, {"encode", "999999999999999999999999999999999999999999", "-342", "1E-300"},
        {"neg", "1.5", "x", "-15E-1"}, {"neg", "0", "x", "0"}, {"neg", "null", "x", "null"},
    };
    for (const auto &c : cases) EXPECT_EQ(apply(c.op, c.a, c.b), c.want) << c.op << " " << c.a << " " << c.b;
    Number v;
    SvcNumFromText(&v, nullptr);
    EXPECT_EQ(canonical(v), "0");
}

// A result may be an operand; zero has one form whatever its sign or path, and so has any value.
TEST(Number, OperandsAndEqualBytes) {
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
    for (const Number &z : zeros) EXPECT_TRUE(sameBytes(z, zero)) << canonical(z);
    Number two = num("2");
    SvcNumDiv(&ways[1], &three, &two);
    SvcNumMul(&ways[2], &three, &half);
    SvcNumFromDouble(&ways[3], 1.5);
    for (const Number &w : ways) EXPECT_TRUE(sameBytes(w, num("1.5"))) << canonical(w);
    Number null = num("null"), five = num("5");
    EXPECT_FALSE(SvcNumIsZero(&null));
    SvcNumNullToZero(&five);
    EXPECT_EQ(canonical(five), "5E0");
}

TEST(NumberOracle, AgreesWithReferenceCases) {
    FILE *f = fopen(ZEM_NUMBER_CASES, "r");
    ASSERT_NE(f, nullptr) << "missing " << ZEM_NUMBER_CASES;
    char op[16], a[128], b[128], want[128];
    int cases = 0, failures = 0;
    for (; fscanf(f, "%15s %127s %127s %127s", op, a, b, want) == 4; cases++) {
        std::string got = apply(op, a, b);
        if (got != want && ++failures <= 20)
            ADD_FAILURE() << op << " " << a << " " << b << ": got " << got << ", want " << want;
    }
    fclose(f);
    EXPECT_EQ(failures, 0);
    EXPECT_GE(cases, 4000) << "the reference file is short";
}
