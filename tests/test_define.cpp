// Registering the built-in functions in a context: names, result and
// parameter types, code, and what a failure or a second call leaves.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/items.h"
#include "eval/functions/builtins.h"
#include "services/platform.h"
#include "support.h"

namespace {

// The functions as a user sees them: name, result type and parameter types,
// N Number, D DateTime, S String, in the order of the string table.
struct Expected {
    const char *name;
    char result;
    const char *params;
    ZEMFunctionCallback code;
};

#define F(name, result, params) {#name, result, params, FUN##name}
const Expected kFunctions[] = {
    F(DateAddDay, 'D', "DN"),         F(DateYear, 'N', "D"),
    F(DateMonth, 'N', "D"),           F(DateDay, 'N', "D"),
    F(DateHour, 'N', "D"),            F(DateMinute, 'N', "D"),
    F(DateSecond, 'N', "D"),          F(DateMonthBegin, 'D', "D"),
    F(DateMonthEnd, 'D', "D"),        F(DateToStr, 'S', "D"),
    F(DateConstruct, 'D', "NNNNNN"),  F(StrMid, 'S', "SNN"),
    F(StrRight, 'S', "SN"),           F(StrLeft, 'S', "SN"),
    F(StrLength, 'N', "S"),           F(StrRTrim, 'S', "S"),
    F(StrLTrim, 'S', "S"),            F(StrRepeat, 'S', "SN"),
    F(StrPad, 'S', "SN"),             F(StrCompare, 'N', "SS"),
    F(StrIFF, 'S', "NSSS"),           F(StrCase, 'S', "NS"),
    F(StrProper, 'S', "S"),           F(StrReplace, 'S', "SNNS"),
    F(StrScan, 'N', "SS"),            F(StrSpaces, 'S', "N"),
    F(StrToDate, 'D', "S"),           F(StrToNumber, 'N', "S"),
    F(StrUpper, 'S', "S"),            F(NumberAbsolute, 'N', "N"),
    F(NumberMod, 'N', "NN"),          F(NumberToStr, 'S', "NN"),
    F(NumberToCurrency, 'S', "N"),    F(NumberCountryFmt, 'S', "N"),
    F(NumberRound, 'N', "NN"),        F(NumberTruncate, 'N', "NN"),
    F(StrLower, 'S', "S"),            F(NumberIFF, 'N', "NNNN"),
    F(DateIFF, 'D', "NDDD"),          F(DateToStrPicture, 'S', "DS"),
    F(NumberToStrPicture, 'S', "NS"), F(StrTrim, 'S', "S"),
    F(StrTranslate, 'S', "SSS"),      F(Power, 'N', "NN"),
    F(WeekDay, 'N', "D"),             F(DateQuarter, 'N', "D"),
};
#undef F

int typeCode(char c) {
    return c == 'N' ? ZEM_TYPE_NUMBER : c == 'D' ? ZEM_TYPE_DATETIME : ZEM_TYPE_STRING;
}

ZEMProc procOf(ZEMFunctionCallback code) {
    return reinterpret_cast<ZEMProc>(reinterpret_cast<void (*)(void)>(code));
}

struct Context {
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    ~Context() { ZEMDestroyEC(ec); }
    unsigned count() const { return ec->functions ? SvcArrayCount(ec->functions) : 0; }
    ExpItem *at(unsigned i) const {
        ExpItem **slot = (ExpItem **)SvcArrayLock(ec->functions, i);
        ExpItem *item = *slot;
        SvcArrayUnlock(ec->functions);
        return item;
    }
};

struct UseCodePage {
    explicit UseCodePage(unsigned cp) { EXPECT_EQ(SvcSelectCodePage(cp), 1); }
    ~UseCodePage() { SvcSelectCodePage(932); }
};

void expectAllFunctions(const Context &c, unsigned first) {
    for (unsigned i = 0; i < sizeof kFunctions / sizeof kFunctions[0]; i++) {
        const Expected &want = kFunctions[i];
        const ExpItem *item = c.at(first + i);
        ASSERT_NE(nullptr, item);
        SCOPED_TRACE(want.name);
        EXPECT_STREQ(want.name, item->name);
        // The record is packed: its fields are read by value.
        EXPECT_EQ(ZEM_ITEM_FUNCTION, (int)item->kind);
        EXPECT_EQ(typeCode(want.result), (int)item->dataType);
        EXPECT_EQ("FUN" + std::string(want.name), (const char *)item->functionName);
        EXPECT_EQ(procOf(want.code), (ZEMProc)item->callback);
        EXPECT_EQ(0, (int)item->required);
        EXPECT_EQ(0, (int)item->optional);
        EXPECT_EQ(0, (int)item->flags);
        int n = (int)strlen(want.params);
        ASSERT_EQ(n, (int)item->paramCount);
        for (int p = 0; p < n; p++) {
            EXPECT_EQ(typeCode(want.params[p]), (int)item->params[p].type) << "parameter " << p;
            EXPECT_EQ(0, (int)item->params[p].mode);
            EXPECT_EQ(0, (int)item->params[p].subclass);
        }
    }
}

TEST(Define, AddsTheFortySixFunctionsInTableOrder) {
    for (unsigned cp : {932u, 1252u}) {
        UseCodePage use(cp);
        LeakCheck leaks;
        Context c;
        ASSERT_EQ(1, FUNDefineFunctions(c.ec));
        ASSERT_EQ(46u, c.count());
        expectAllFunctions(c, 0);
    }
}

TEST(Define, ASecondCallAddsEveryFunctionAgain) {
    LeakCheck leaks;
    Context c;
    ASSERT_EQ(1, FUNDefineFunctions(c.ec));
    ASSERT_EQ(1, FUNDefineFunctions(c.ec));
    ASSERT_EQ(92u, c.count());
    expectAllFunctions(c, 46);
    EXPECT_EQ(c.at(0), itemFind(c.ec->functions, "DateAddDay")) << "lookups find the first";
}

TEST(Define, NullContext) { EXPECT_EQ(0, FUNDefineFunctions(nullptr)); }

// Every allocation failing in turn: the call gives 0, the items added
// before the failure stay, and nothing leaks.
TEST(Define, AllocationFailures) {
    int runs = EachAllocationFails([](int) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        if (!ec) return;
        int ok = FUNDefineFunctions(ec);
        unsigned count = ec->functions ? SvcArrayCount(ec->functions) : 0;
        if (ok) {
            EXPECT_EQ(46u, count);
        }
        ASSERT_LE(count, 46u);
        for (unsigned i = 0; i < count; i++) {
            ExpItem *item = *(ExpItem **)SvcArrayLock(ec->functions, i);
            SvcArrayUnlock(ec->functions);
            if (item) {
                EXPECT_STREQ(kFunctions[i].name, item->name);
            }
        }
        ZEMDestroyEC(ec);
    });
    EXPECT_GT(runs, 46);
}

TEST(Define, BuiltinByName) {
    for (const Expected &f : kFunctions)
        EXPECT_EQ(f.code, BuiltinByName(("FUN" + std::string(f.name)).c_str())) << f.name;
    EXPECT_EQ(BuiltinByName("FUNNumberIFF"), BuiltinByName("FUNDateIFF")) << "one routine";
    for (const char *name :
         {"", "FUN", "StrLeft", "FUNStrleft", "FUNStrLeftX", "FUNDefineFunctions"})
        EXPECT_EQ(nullptr, BuiltinByName(name)) << name;
    EXPECT_EQ(nullptr, BuiltinByName(nullptr));
}

}  // namespace
