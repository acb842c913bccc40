// Lookups by name against a plain walk of the stores, after random changes
// under both code pages and with allocations failing along the way.
#include <string.h>
#include <random>
#include <string>
#include <vector>

#include "context/ec.h"
#include "context/expressions.h"
#include "context/items.h"
#include "services/platform.h"
#include "support.h"

namespace {

// Case pairs of both code pages (full-width, Cyrillic, Roman numerals of 932;
// accented letters of 1252), and fillers enough for the stores to be indexed.
std::vector<std::string> namePool() {
    std::vector<std::string> pool = {
        "Price", "PRICE", "price", "_x", "X9", "x9", "", "\x82\x60\x82\x61", "\x82\x81\x82\x82", "\x84\x40", "\x84\x70",
        "\x87\x54", "\xFA\x40", "\xC9t\xE9", "\xE9T\xC9", "\x8A", "\x9A", "\xFF", "\x9F", "\xDF", "\x82"};
    for (int i = 0; i < 24; i++) pool.push_back("N" + std::to_string(i));
    return pool;
}
const std::vector<std::string> kNames = namePool();

template <typename F>
void *walk(HARRAY store, F accepts) {
    for (unsigned i = 0; store && i < SvcArrayCount(store); i++) {
        void *element = *(void **)SvcArrayLock(store, i);
        SvcArrayUnlock(store);
        if (element && accepts(element)) return element;
    }
    return nullptr;
}

const char *itemName(void *e) { return ((ExpItem *)e)->name; }
const char *recordName(void *e) { return ((ExpRecord *)e)->name; }

void expectLookupsAgree(HEC ec, const std::string &where, const std::vector<std::string> &names = kNames) {
    for (const std::string &s : names) {
        const char *n = s.c_str();
        SCOPED_TRACE(where + " name '" + s + "'");
        auto exact = [n](void *e) { return lstrcmpA(itemName(e), n) == 0; };
        for (int kind : {ZEM_ITEM_FUNCTION, ZEM_ITEM_INPUT, ZEM_ITEM_KEYWORD})
            EXPECT_EQ(walk(*itemStoreOf(ec, kind), exact), itemLookup(ec, kind, n)) << kind;
        ExpItem *keyword = (ExpItem *)walk(ec->keywords, [n](void *e) {
            ExpItem *k = (ExpItem *)e;
            return (k->optional ? lstrcmpA(k->name, n) : lstrcmpiA(k->name, n)) == 0;
        });
        EXPECT_EQ(keyword ? keyword->dataType : -1, keywordType(ec, n));
        ExpItem *anyCase = (ExpItem *)walk(ec->keywords, [n](void *e) { return lstrcmpiA(itemName(e), n) == 0; });
        EXPECT_EQ(anyCase ? (int)anyCase->required : -1, keywordSubclass(ec, n));
        EXPECT_EQ(walk(ec->expressions, [n](void *e) { return recordName(e) && strcmp(recordName(e), n) == 0; }),
                  ZEMHEXPFromName(ec, n));
        HEXP leaveOut = ZEMHEXPFromOrdinal(ec, 0);
        bool taken = walk(ec->expressions, [&](void *e) {
            return e != leaveOut && recordName(e) && lstrcmpA(recordName(e), n) == 0;
        }) || walk(ec->functions, exact);
        EXPECT_EQ(!taken, ZEMIsExpNameUnique(ec, leaveOut, n) != 0);
    }
}

struct Changes {
    HEC ec;
    std::mt19937 rng;
    int pick(int n) { return (int)(rng() % (unsigned)n); }
    const char *name() { return kNames[(size_t)pick((int)kNames.size())].c_str(); }
    HEXP anyExpression() {
        int32_t count = ZEMGetExpressionCount(ec);
        return count ? ZEMHEXPFromOrdinal(ec, pick(count)) : nullptr;
    }
    void step();
};

int ZEMCALL allowDelete(HEC ec, HEXP exp, ExpItem *) { return ZEMDestroyEXP(ec, exp); }
void ZEMCALL deleteEachOther(HEC ec, const char *name, intptr_t kind) {
    static int turn;
    if (turn++ % 2) ZEMDelExpItemNoCheck(ec, (int)kind, name);
}

void Changes::step() {
    static const int kinds[] = {ZEM_ITEM_FUNCTION, ZEM_ITEM_INPUT, ZEM_ITEM_KEYWORD};
    int kind = kinds[pick(3)], guarded = kind == ZEM_ITEM_FUNCTION ? kind : ZEM_ITEM_INPUT;
    uint16_t type = 0;
    switch (pick(12)) {
    case 0: case 1: case 2: AddItem(ec, kind, name(), pick(3), {.required = pick(4), .optional = pick(2), .mayFail = true}); break;
    case 3: ZEMDelExpItemNoCheck(ec, kind, name()); break;
    case 4: ZEMDeleteExpItem(ec, guarded, name(), allowDelete); break;
    case 5: ZEMRenameExpressionItem(ec, guarded, name(), name()); break;
    case 6: ZEMEnumExpItems(ec, kind, deleteEachOther, kind); break;
    case 7: ZEMParseString(ec, pick(2) ? "1" : name(), name(), nullptr, &type); break;
    case 8: if (HEXP e = anyExpression()) ZEMParseFormula(ec, e, "2", name(), nullptr, &type); break;
    case 9: if (HEXP e = anyExpression()) ZEMDestroyEXP(ec, e); break;
    case 10: if (HEXP e = anyExpression()) ZEMCloneExpression(ec, e, name(), &type); break;
    default:
        if (pick(8) == 0) ZEMDeleteAllECVars(ec);
        else ZEMSetSystemCodePage(pick(2) ? 932 : 1252);
    }
}

// The input items of a context read back from its block (texts left out: they could open the repair dialog).
HEC throughBlock(HEC ec) {
    HEC back = ZEMCreateEC(0, 0, 0, 0);
    std::vector<char> block(ZEMGetECBlockSize(ec, 1));
    ZEMGetECBlock(ec, (int32_t)block.size(), block.data());
    ZEMSetECContents(back, (int32_t)block.size(), block.data(), 0, nullptr);
    return back;
}

class NameIndex : public ::testing::TestWithParam<unsigned> {};

TEST_P(NameIndex, LookupsAgreeWithAWalkAfterEveryChange) {
    LeakCheck leaks;
    Changes run{ZEMCreateEC(0, 0, 0, 0), std::mt19937(GetParam())};
    for (int i = 0; i < 400 && !HasFailure(); i++) {
        for (int n = 1 + run.pick(3); n > 0; n--) {
            if (run.pick(6) == 0) SvcFailAllocAfter(1 + run.pick(4));
            run.step();
            SvcFailAllocAfter(0);
        }
        expectLookupsAgree(run.ec, "step " + std::to_string(i));
        if (i % 100 == 99)
            for (HEC other : {ZEMCopyEC(run.ec), throughBlock(run.ec)}) {
                expectLookupsAgree(other, "copy at step " + std::to_string(i));
                ZEMDestroyEC(other);
            }
    }
    ZEMDestroyEC(run.ec);
    ZEMSetSystemCodePage(932);
}

INSTANTIATE_TEST_SUITE_P(Seeds, NameIndex, ::testing::Values(1u, 2u, 3u, 4u));

// A store that grows by many names between lookups.
TEST(NameIndexGrowth, BatchesBetweenLookups) {
    LeakCheck leaks;
    HEC ec = ZEMCreateEC(0, 0, 0, 0);
    std::vector<std::string> names = {"absent"};
    for (int batch : {16, 16, 32, 64}) {
        for (int i = 0; i < batch; i++) {
            names.push_back("B" + std::to_string(names.size()));
            AddItem(ec, ZEM_ITEM_INPUT, names.back().c_str(), 0);
        }
        expectLookupsAgree(ec, "batch", names);
    }
    ZEMDestroyEC(ec);
}

}  // namespace
