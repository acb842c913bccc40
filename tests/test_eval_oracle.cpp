// Random formulas parsed and evaluated end to end, against values worked out
// independently by Python's decimal and datetime modules (eval_oracle.py).
#include <stdio.h>

#include <fstream>
#include <sstream>
#include <string>

#include "services/values.h"
#include "support.h"

TEST(EvalOracle, FormulasAgreeWithTheReference) {
    LeakCheck leaks;
    std::ifstream cases(ZEM_EVAL_CASES);
    ASSERT_TRUE(cases.good()) << ZEM_EVAL_CASES;
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    int counts[2] = {}, failures = 0;
    std::string line, kind, text, expected;
    while (std::getline(cases, line) && failures < 20) {
        std::istringstream fields(line);
        std::getline(fields, kind, '\t');
        std::getline(fields, text, '\t');
        std::getline(fields, expected);
        ExpError report = {};
        uint16_t type = 0;
        HEXP exp = ZEMParseString(ec, text.c_str(), nullptr, &report, &type);
        Number value = {};
        int result = exp ? ZEMEvaluateExpression(ec, exp, sizeof value, &value) : 0;
        ZEMDestroyEXP(ec, exp);
        bool number = kind == "N";
        counts[number]++;
        std::string got;
        DateFields f = {};
        if (!exp) {
            got = "parse error " + std::to_string(report.code);
        } else if (number) {  // expected: "sign digits exponent", or "0"
            Number want = {};
            int sign = 0, exponent = 0;
            std::string digits = "0";
            std::istringstream(expected) >> sign >> digits >> exponent;
            NumEncodeDigits(&want, sign, digits.c_str(), (int)digits.size(), exponent);
            got = value.bytes[0] && SvcNumCompare(&value, &want) == 0 ? expected : NumberText(&value);
        } else if (!number && value.bytes[0]) {
            SvcDateUnpack(value.bytes + 1, value.bytes[0], &f);
            got = std::to_string(f.year) + " " + std::to_string(f.month) + " " + std::to_string(f.day);
        }
        bool ok = result == 1 && type == (number ? ZEM_TYPE_NUMBER : ZEM_TYPE_DATETIME) &&
                  got == expected && f.hour + f.minute + f.second == 0;
        if (!ok) {
            ADD_FAILURE() << text << "\n  want " << expected << "\n  got  " << got << " (" << result << ")";
            failures++;
        }
    }
    ZEMDestroyEC(ec);
    EXPECT_GE(counts[1], 3000);
    EXPECT_GE(counts[0], 1500);
}
