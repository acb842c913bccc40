// Contexts, their callbacks, the operator rule, and the item stores.
#include <string.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/items.h"
#include "services/platform.h"
#include "support.h"

namespace {

// A host's item record with room for a few descriptors.
struct HostItem {
    union {
        ExpItem item;
        unsigned char bytes[ZEM_EXPITEM_SIZE(8)];
    };
    HostItem(int kind, int type, const char *name) {
        memset(bytes, 0, sizeof(bytes));
        item.kind = (int16_t)kind;
        item.dataType = (int16_t)type;
        strcpy(item.name, name);
    }
};

void ZEMCALL dummyFunction(void) {}
std::vector<std::string> resolved;
ZEMProc ZEMCALL resolveName(const char *name) {
    resolved.push_back(name ? name : "(null)");
    return dummyFunction;
}

struct Context {
    HEC ec;
    explicit Context(uint16_t flags = 0, ZEMResolveCallback resolve = nullptr)
        : ec(ZEMCreateEC(nullptr, resolve, nullptr, flags)) {}
    ~Context() { ZEMDestroyEC(ec); }
    int add(int kind, int type, const char *name, int subclass = 0, int caseFlag = 0) {
        HostItem h(kind, type, name);
        h.item.required = (uint16_t)subclass;
        h.item.optional = (uint16_t)caseFlag;
        return ZEMAddExpressionItem(ec, &h.item);
    }
};

}  // namespace

TEST(Context, NewContextDefaults) {
    LeakCheck leaks;
    Context c;
    ASSERT_NE(c.ec, nullptr);
    EXPECT_EQ(c.ec->concatAllowed, 1);
    EXPECT_EQ(c.ec->nextFormulaNumber, 1);
    EXPECT_EQ(c.ec->nextRangeNumber, 1);
    EXPECT_EQ(c.ec->nextSetNumber, 1);
    EXPECT_EQ(c.ec->functions, 0u);
    EXPECT_TRUE(operatorAllowed(c.ec, '+', ZEM_TYPE_DATETIME));
    EXPECT_TRUE(operatorAllowed(c.ec, '-', ZEM_TYPE_DATETIME));
    EXPECT_FALSE(operatorAllowed(c.ec, '%', ZEM_TYPE_NUMBER));
    Context noConcat(ECFlagNoConcat);
    EXPECT_EQ(noConcat.ec->concatAllowed, 0);
    EXPECT_EQ(ZEMDestroyEC(nullptr), 1);
}

TEST(Context, CallbacksAndUserLong) {
    LeakCheck leaks;
    Context c;
    auto notify = [](HEC, int32_t) ZEMCALL {};
    EXPECT_EQ(ZEMSetNotifyCallback(c.ec, notify), (ZEMNotifyCallback)notify);
    EXPECT_EQ(c.ec->notifyCallback, (ZEMNotifyCallback)notify);
    EXPECT_EQ(ZEMSetUserLong(c.ec, 5), 0);
    EXPECT_EQ(ZEMSetUserLong(c.ec, 9), 5);
    EXPECT_EQ(ZEMGetUserLong(c.ec), 9);
    EXPECT_EQ(ZEMSetUserLong(nullptr, 3), 0);
    EXPECT_EQ(ZEMGetUserLong(nullptr), 0);
    EXPECT_EQ(ZEMSetNotifyCallback(nullptr, notify), (ZEMNotifyCallback)notify);
}

TEST(Context, CreationOutOfMemory) {
    LeakCheck leaks;
    SvcFailAllocAfter(1);
    EXPECT_EQ(ZEMCreateEC(nullptr, nullptr, nullptr, 0), nullptr);
    SvcFailAllocAfter(0);
}

TEST(OperatorRule, Table) {
    LeakCheck leaks;
    int ZEMCALL (*cb)(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *) =
        [](HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *) ZEMCALL -> int {
        return 0;
    };
    struct Row {
        uint16_t flags;
        int callbackOp, callbackSlot;  // -1: none
        int op, type, allowed;
    } rows[] = {
        {0, -1, 0, '+', 0, 1},  {0, -1, 0, '*', 0, 1},  {0, -1, 0, '|', 0, 0},
        {0, OP_CONCAT, 0, '|', 0, 1},
        {0, -1, 0, '%', 0, 0},  {ECFlagModulo, -1, 0, '%', 0, 1},
        {0, -1, 0, '+', 1, 1},  {0, -1, 0, '-', 1, 1},  {0, -1, 0, '*', 1, 0},
        {0, -1, 0, '|', 1, 0},  {ECFlagNoDateMath, -1, 0, '+', 1, 0},
        {0, -1, 0, '%', 2, 0},  {ECFlagModulo, -1, 0, '%', 2, 0},
        {0, -1, 0, '*', 2, 0},  {0, OP_MULTIPLY, 2, '*', 2, 1}, {0, OP_MULTIPLY, 0, '*', 2, 0},
        {0, -1, 0, '+', 2, 0},  {ECFlagStringPlus, -1, 0, '+', 2, 1}, {0, OP_PLUS, 2, '+', 2, 1},
        {0, -1, 0, '|', 2, 1},  {ECFlagNoConcat, -1, 0, '|', 2, 0},
        {0, -1, 0, 'A', 2, 1},  {0, -1, 0, 200, 2, 1}, {0, -1, 0, 36, 2, 1},
        {0, -1, 0, '%', 3, 0},  {0, -1, 0, '/', 3, 0},  {0, OP_DIVIDE, 3, '/', 3, 1},
        {0, -1, 0, 'x', 3, 1},
        {0, -1, 0, '+', 4, 0},  {0, -1, 0, '+', 255, 0}, {0, -1, 0, '+', 256, 0},
    };
    for (const Row &r : rows) {
        Context c(r.flags);
        if (r.callbackOp >= 0) c.ec->operators[r.callbackOp].callbacks[r.callbackSlot] = cb;
        EXPECT_EQ(operatorAllowed(c.ec, r.op, r.type), r.allowed)
            << "op " << r.op << " type " << r.type << " flags " << r.flags;
    }
}

TEST(Items, RecordSizeReadFromHost) {
    LeakCheck leaks;
    Context c;
    // A host's record exactly as long as its kind and count say; a read
    // beyond it would be caught by the sanitizers.
    struct Case {
        int kind, count;
        size_t size;
    } cases[] = {
        {0, -1, ZEM_EXPITEM_SIZE(1)}, {0, 0, ZEM_EXPITEM_SIZE(0)}, {0, 3, ZEM_EXPITEM_SIZE(3)},
        {1, 5, ZEM_EXPITEM_SIZE(0)},  {3, 9, ZEM_EXPITEM_SIZE(0)},
    };
    for (const Case &k : cases) {
        EXPECT_EQ(itemRecordSize(k.kind, k.count), k.size);
        ExpItem *host = (ExpItem *)malloc(k.size);
        memset(host, 0, k.size);
        host->kind = (int16_t)k.kind;
        host->paramCount = (int16_t)k.count;
        snprintf(host->name, sizeof(host->name), "item%d_%d", k.kind, k.count);
        if (k.count > 0 && k.kind == 0) host->params[k.count - 1].mode = 1;
        EXPECT_EQ(ZEMAddExpressionItem(c.ec, host), 1);
        ExpItem *stored = itemFind(*itemStoreOf(c.ec, k.kind), host->name);
        ASSERT_NE(stored, nullptr);
        EXPECT_EQ(SvcSize(stored), k.size);
        EXPECT_EQ(memcmp(stored, host, k.size), 0);
        EXPECT_EQ(ZEMIsItemAggregate(c.ec, k.kind, host->name), k.kind == 0 && k.count > 0);
        free(host);
    }
    HostItem bad(2, 0, "x");
    EXPECT_EQ(ZEMAddExpressionItem(c.ec, &bad.item), 0) << "kind 2 has no store";
    EXPECT_EQ(ZEMAddExpressionItem(nullptr, &bad.item), 0);
}

TEST(Items, FunctionNameCopyAndResolve) {
    LeakCheck leaks;
    resolved.clear();
    Context c(0, resolveName);
    HostItem f(0, 0, "Sum");
    char hostName[] = "HostSum";
    f.item.functionName = hostName;
    ASSERT_EQ(ZEMAddExpressionItem(c.ec, &f.item), 1);
    ExpItem *stored = itemFind(c.ec->functions, "Sum");
    ASSERT_NE(stored, nullptr);
    // Packed fields are read into locals: a reference to one is misaligned.
    const char *storedName = stored->functionName;
    ZEMProc storedCode = stored->callback;
    EXPECT_NE(storedName, hostName) << "the name is copied";
    EXPECT_STREQ(storedName, "HostSum");
    EXPECT_EQ(storedCode, (ZEMProc)dummyFunction);
    ASSERT_EQ(resolved.size(), 1u);

    HostItem withCode(0, 0, "Own");
    withCode.item.functionName = hostName;
    withCode.item.callback = dummyFunction;
    ZEMAddExpressionItem(c.ec, &withCode.item);
    HostItem noName(0, 0, "NoName");
    ZEMAddExpressionItem(c.ec, &noName.item);
    EXPECT_EQ(resolved.size(), 1u) << "resolve runs only for a named item without code";

    // A failed name copy stores the item without it and resolves 0.
    SvcFailAllocAfter(2);
    HostItem lost(0, 0, "Lost");
    lost.item.functionName = hostName;
    EXPECT_EQ(ZEMAddExpressionItem(c.ec, &lost.item), 1);
    ExpItem *l = itemFind(c.ec->functions, "Lost");
    ASSERT_NE(l, nullptr);
    const char *lostName = l->functionName;
    EXPECT_EQ(lostName, nullptr);
    ASSERT_EQ(resolved.size(), 2u);
    EXPECT_EQ(resolved[1], "(null)");
}

TEST(Items, FailedRecordLeavesNullElement) {
    LeakCheck leaks;
    Context c;
    c.add(1, 0, "a");
    SvcFailAllocAfter(1);  // the record, after the store grew
    EXPECT_EQ(c.add(1, 0, "b"), 0);
    EXPECT_EQ(SvcArrayCount(c.ec->inputItems), 2u);
    EXPECT_EQ(c.add(1, 0, "c"), 1);
    // Every walk passes the null element by.
    EXPECT_EQ(inputItemType(c.ec, "c"), 0);
    int seen = 0;
    ZEMEnumExpItems(c.ec, 1, [](HEC, const char *, intptr_t n) ZEMCALL { ++*(int *)n; }, (intptr_t)&seen);
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(ZEMDeleteAllECVars(c.ec), 1);
    EXPECT_EQ(SvcArrayCount(c.ec->inputItems), 0u);
}

TEST(Items, AllocationFailuresLeakNothing) {
    EachAllocationFails([](int) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        if (!ec) return;
        HostItem f(0, 2, "F");
        f.item.functionName = "FUNF";
        for (int i = 0; i < 3; i++) ZEMAddExpressionItem(ec, &f.item);
        HostItem k(3, 300, "K");
        ZEMAddExpressionItem(ec, &k.item);
        ZEMDestroyEC(ec);
    });
}

TEST(Items, LookupCaseRules) {
    LeakCheck leaks;
    Context c;
    c.add(1, 0, "Price");
    c.add(0, 2, "Left");
    c.add(3, 300, "Asc", 7, 0);
    c.add(3, 301, "Exact", 8, 1);
    struct Row {
        const char *name;
        int input, function, keyword, subclass;
    } rows[] = {
        {"Price", 0, -1, -1, -1},   {"price", -1, -1, -1, -1}, {"Left", -1, 2, -1, -1},
        {"LEFT", -1, -1, -1, -1},   {"Asc", -1, -1, 300, 7},   {"aSC", -1, -1, 300, 7},
        {"Exact", -1, -1, 301, 8},  {"EXACT", -1, -1, -1, 8},  {"Nothing", -1, -1, -1, -1},
    };
    for (const Row &r : rows) {
        EXPECT_EQ(inputItemType(c.ec, r.name), r.input) << r.name;
        EXPECT_EQ(functionType(c.ec, r.name), r.function) << r.name;
        EXPECT_EQ(keywordType(c.ec, r.name), r.keyword) << r.name;
        EXPECT_EQ(keywordSubclass(c.ec, r.name), r.subclass) << r.name;
    }
}

TEST(Items, KeywordCaseUnderBothCodePages) {
    LeakCheck leaks;
    for (unsigned cp : {932u, 1252u}) {
        ASSERT_EQ(ZEMSetSystemCodePage(cp), 1);
        Context c;
        c.add(3, 300, "\xe9t\xe9", 1, 0);  // été under 1252; a lead byte and more under 932
        int found = keywordType(c.ec, "\xc9T\xc9");
        if (cp == 1252) EXPECT_EQ(found, 300) << "accented letters fold under 1252";
        else EXPECT_EQ(found, -1) << "a double-byte character does not fold";
    }
    ZEMSetSystemCodePage(932);
}

TEST(Items, FirstOfTwoNamesWins) {
    LeakCheck leaks;
    Context c;
    c.add(1, 0, "x", 1);
    c.add(1, 2, "x", 2);
    EXPECT_EQ(inputItemType(c.ec, "x"), 0);
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 1, "x"), 1);
    EXPECT_EQ(inputItemType(c.ec, "x"), 2) << "delete takes the first";
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 1, "x"), 1);
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 1, "x"), 0);
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 2, "x"), 0);
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 0, "x"), 0) << "no function store yet";
}

// The names ZEMLoadComboBox adds for a kind, in the order added: on
// Windows into a real combo box, elsewhere through the list interface.
static std::vector<std::string> comboNames(HEC ec, int kind) {
    std::vector<std::string> entries;
#ifdef _WIN32
    HWND combo = CreateWindowA("COMBOBOX", "", CBS_DROPDOWNLIST, 0, 0, 100, 100, 0, 0, 0, 0);
    EXPECT_NE(combo, nullptr);
    int added = ZEMLoadComboBox(ec, kind, combo);
    int count = (int)SendMessageA(combo, CB_GETCOUNT, 0, 0);
    for (int i = 0; i < count; i++) {
        char text[80] = "";
        SendMessageA(combo, CB_GETLBTEXT, i, (LPARAM)text);
        entries.push_back(text);
    }
    DestroyWindow(combo);
#else
    struct List {
        ZEMComboList combo;
        std::vector<std::string> *entries;
    } list = {{}, &entries};
    list.combo.addString = [](ZEMComboList *self, const char *text) ZEMCALL {
        List *l = (List *)self;
        l->entries->push_back(text);
        return (int)l->entries->size() - 1;
    };
    int added = ZEMLoadComboBox(ec, kind, &list.combo);
#endif
    EXPECT_EQ(added, (int)entries.size());
    return entries;
}

TEST(Items, EnumerationAndCombo) {
    LeakCheck leaks;
    Context c;
    for (const char *n : {"b", "a", "c"}) c.add(1, 0, n);
    c.add(0, 0, "f");
    std::vector<std::string> names;
    auto collect = [](HEC, const char *view, intptr_t user) ZEMCALL {
        ((std::vector<std::string> *)user)->push_back(view);
    };
    ZEMEnumExpItems(c.ec, 1, collect, (intptr_t)&names);
    EXPECT_EQ(names, (std::vector<std::string>{"b", "a", "c"}));
    names.clear();
    ZEMEnumExpItems(c.ec, 2, collect, (intptr_t)&names);
    ZEMEnumExpItems(c.ec, 3, collect, (intptr_t)&names);
    EXPECT_TRUE(names.empty()) << "kind 2 and an absent store call nothing";

    EXPECT_EQ(comboNames(c.ec, 1), (std::vector<std::string>{"b", "a", "c"}));
    EXPECT_TRUE(comboNames(c.ec, 3).empty());
    EXPECT_TRUE(comboNames(c.ec, 7).empty());
}

TEST(Items, GetExpressionVariable) {
    LeakCheck leaks;
    Context c;
    c.add(1, 1, "Due", 4);
    unsigned char out[ZEM_EXPITEM_SIZE(1)];
    memset(out, 0xAB, sizeof(out));
    ExpItem *rec = (ExpItem *)out;
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, rec, "Due"), 1);
    EXPECT_EQ(int(rec->dataType), 1);
    EXPECT_EQ(int(rec->required), 4);
    EXPECT_STREQ(rec->name, "Due");
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, rec, "due"), 0);
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, nullptr, "Due"), 0);
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, rec, nullptr), 0);
}

TEST(Items, DeleteAllThenAddAgain) {
    LeakCheck leaks;
    Context c;
    EXPECT_EQ(ZEMDeleteAllECVars(c.ec), 0) << "no input store yet";
    for (const char *n : {"a", "b", "c", "a"}) c.add(1, 0, n);
    HARRAY store = c.ec->inputItems;
    EXPECT_EQ(ZEMDeleteAllECVars(c.ec), 1);
    EXPECT_EQ(c.ec->inputItems, store) << "the store stays";
    EXPECT_EQ(SvcArrayCount(store), 0u);
    EXPECT_EQ(c.add(1, 2, "z"), 1);
    EXPECT_EQ(inputItemType(c.ec, "z"), 2);
}

TEST(Items, InputNameIsKeyword) {
    struct Row {
        const char *name, *out;
        int result;
    } rows[] = {
        {"Day", "_Day", 1},         {"days", "_days", 1},     {"MONTHS", "_MONTHS", 1},
        {"Year", "_Year", 1},       {"hours", "_hours", 1},   {"minute", "_minute", 1},
        {"SecondS", "_SecondS", 1}, {"Dayss", "Dayss", 0},    {"Today", "Today", 0},
        {"S", "S", 0},              {"", "", 0},              {"Weeks", "Weeks", 0},
        {"\x82\xa0\x44\x41Y", "\x82\xa0\x44\x41Y", 0},
    };
    for (const Row &r : rows) {
        char out[80];
        memset(out, 'x', sizeof(out));
        EXPECT_EQ(ZEMInputNameIsKeyword(out, r.name), r.result) << r.name;
        EXPECT_STREQ(out, r.out);
    }
}
