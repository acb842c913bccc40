// Random formulas parsed and evaluated end to end, against values worked
// out independently by Python's decimal and datetime modules at build time
// (tests/eval_oracle.py).
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>

#include "services/values.h"
#include "support.h"

namespace {

// The expected Number of a case: "0", or "sign digits exponent".
Number expectedNumber(const std::string &text) {
    Number n = {};
    std::istringstream in(text);
    int sign = 0, exponent = 0;
    std::string digits;
    if (text == "0") {
        SvcNumFromLong(&n, 0);
    } else {
        in >> sign >> digits >> exponent;
        NumEncodeDigits(&n, sign, digits.c_str(), (int)digits.size(), exponent);
    }
    return n;
}

std::string showNumber(const Number &n) {
    NumDigits d;
    if (!NumDecode(&n, &d)) return "null";
    return std::string(d.negative ? "-" : "") + std::string(d.digits, d.count) + "E" +
           std::to_string(d.exponent);
}

}  // namespace

TEST(EvalOracle, FormulasAgreeWithTheReference) {
    LeakCheck leaks;
    std::ifstream cases(ZEM_EVAL_CASES);
    ASSERT_TRUE(cases.good()) << ZEM_EVAL_CASES;
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    int numbers = 0, dates = 0, failures = 0;
    std::string line;
    while (std::getline(cases, line) && failures < 20) {
        std::istringstream fields(line);
        std::string kind, text, expected;
        std::getline(fields, kind, '\t');
        std::getline(fields, text, '\t');
        std::getline(fields, expected);
        ExpError report = {};
        uint16_t type = 0;
        HEXP exp = ZEMParseString(ec, text.c_str(), nullptr, &report, &type);
        if (!exp) {
            ADD_FAILURE() << text << ": parse error " << report.code << " at " << report.start;
            failures++;
            continue;
        }
        Number value = {};
        int result = ZEMEvaluateExpression(ec, exp, sizeof value, &value);
        ZEMDestroyEXP(ec, exp);
        bool ok = result == 1;
        std::string got;
        if (kind == "N") {
            numbers++;
            Number want = expectedNumber(expected);
            ok = ok && type == ZEM_TYPE_NUMBER && value.bytes[0] && SvcNumCompare(&value, &want) == 0;
            got = showNumber(value);
        } else {
            dates++;
            DateFields f = {};
            SvcDateUnpack(value.bytes + 1, value.bytes[0], &f);
            char out[64];
            snprintf(out, sizeof out, "%d %d %d", (int)f.year, (int)f.month, (int)f.day);
            got = out;
            ok = ok && type == ZEM_TYPE_DATETIME && value.bytes[0] && got == expected &&
                 f.hour == 0 && f.minute == 0 && f.second == 0;
        }
        if (!ok) {
            ADD_FAILURE() << text << "\n  want " << expected << "\n  got  " << got
                          << " (exit " << result << ")";
            failures++;
        }
    }
    ZEMDestroyEC(ec);
    EXPECT_GE(numbers, 3000);
    EXPECT_GE(dates, 1500);
}
