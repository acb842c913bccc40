// The operator rule and the item stores.
#include <string.h>
#include <string>
#include <vector>

#include "context/ec.h"
#include "context/expressions.h"
#include "context/items.h"
#include "services/platform.h"
#include "support.h"

namespace {

void ZEMCALL someCode(void) {}
std::vector<std::string> resolved, names;
ZEMProc ZEMCALL resolveName(const char *name) { return resolved.push_back(name ? name : "(null)"), someCode; }
void ZEMCALL collect(HEC, const char *view, intptr_t) { names.push_back(view); }

struct Context {
    HEC ec;
    explicit Context(uint16_t flags = 0, ZEMResolveCallback resolve = nullptr)
        : ec(ZEMCreateEC(nullptr, resolve, nullptr, flags)) {}
    ~Context() { ZEMDestroyEC(ec); }
    int add(int kind, int type, const char *name, int subclass = 0) {
        return AddItem(ec, kind, name, type, {.required = subclass, .mayFail = true});
    }
};

// The names ZEMLoadComboBox adds for a kind: into a real combo box on Windows.
std::vector<std::string> comboNames(HEC ec, int kind) {
    names.clear();
#ifdef _WIN32
    HWND combo = CreateWindowA("COMBOBOX", "", CBS_DROPDOWNLIST, 0, 0, 100, 100, 0, 0, 0, 0);
    int added = ZEMLoadComboBox(ec, kind, combo);
    for (char text[80]; (int)names.size() < (int)SendMessageA(combo, CB_GETCOUNT, 0, 0); names.push_back(text))
        SendMessageA(combo, CB_GETLBTEXT, names.size(), (LPARAM)text);
    DestroyWindow(combo);
#else
    ZEMComboList list = {};
    list.addString = [](ZEMComboList *, const char *text) ZEMCALL { return names.push_back(text), (int)names.size() - 1; };
    int added = ZEMLoadComboBox(ec, kind, &list);
#endif
    EXPECT_EQ(added, (int)names.size());
    return names;
}

}  // namespace

TEST(OperatorRule, Table) {
    LeakCheck leaks;
    int ZEMCALL (*cb)(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *) =
        [](HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *) ZEMCALL { return 0; };
    struct Row { uint16_t flags; int callbackOp, callbackSlot, op, type, allowed; } rows[] = {  // callbackOp -1: none
        {0, -1, 0, '*', 0, 1}, {0, -1, 0, '|', 0, 0}, {0, OP_CONCAT, 0, '|', 0, 1}, {0, -1, 0, '%', 0, 0},
        {ECFlagModulo, -1, 0, '%', 0, 1}, {0, -1, 0, '-', 1, 1}, {0, -1, 0, '*', 1, 0}, {ECFlagNoDateMath, -1, 0, '+', 1, 0},
        {ECFlagModulo, -1, 0, '%', 2, 0}, {0, OP_MULTIPLY, 2, '*', 2, 1}, {0, OP_MULTIPLY, 0, '*', 2, 0},
        {0, -1, 0, '+', 2, 0}, {ECFlagStringPlus, -1, 0, '+', 2, 1}, {0, OP_PLUS, 2, '+', 2, 1}, {0, -1, 0, '|', 2, 1},
        {ECFlagNoConcat, -1, 0, '|', 2, 0}, {0, -1, 0, 200, 2, 1}, {0, -1, 0, '/', 3, 0}, {0, OP_DIVIDE, 3, '/', 3, 1},
        {0, -1, 0, 'x', 3, 1}, {0, -1, 0, '+', 4, 0}, {0, -1, 0, '+', 256, 0},
    };
    for (const Row &r : rows) {
        Context c(r.flags);
        if (r.callbackOp >= 0) c.ec->operators[r.callbackOp].callbacks[r.callbackSlot] = cb;
        EXPECT_EQ(operatorAllowed(c.ec, r.op, r.type), r.allowed) << r.op << " type " << r.type << " flags " << r.flags;
    }
}

TEST(Items, RecordSizeReadFromHost) {
    LeakCheck leaks;
    Context c;
    // A record exactly as long as its kind and count say: the sanitizers see a read beyond it.
    struct Case { int kind, count; size_t size; } cases[] = {
        {0, -1, ZEM_EXPITEM_SIZE(1)}, {0, 0, ZEM_EXPITEM_SIZE(0)}, {0, 3, ZEM_EXPITEM_SIZE(3)}, {1, 5, ZEM_EXPITEM_SIZE(0)}};
    for (const Case &k : cases) {
        EXPECT_EQ(itemRecordSize(k.kind, k.count), k.size);
        ExpItem *host = (ExpItem *)calloc(1, k.size);
        host->kind = (int16_t)k.kind;
        host->paramCount = (int16_t)k.count;
        snprintf(host->name, sizeof(host->name), "item%d_%d", k.kind, k.count);
        if (k.count > 0 && k.kind == 0) host->params[k.count - 1].mode = 1;
        EXPECT_EQ(ZEMAddExpressionItem(c.ec, host), 1);
        ExpItem *stored = itemFind(*itemStoreOf(c.ec, k.kind), host->name);
        ASSERT_NE(stored, nullptr);
        EXPECT_TRUE(SvcSize(stored) == k.size && memcmp(stored, host, k.size) == 0);
        EXPECT_EQ(ZEMIsItemAggregate(c.ec, k.kind, host->name), k.kind == 0 && k.count > 0);
        free(host);
    }
    EXPECT_EQ(c.add(2, 0, "x"), 0) << "kind 2 has no store";
}

TEST(Items, FunctionNameCopyAndResolve) {
    LeakCheck leaks;
    resolved.clear();
    Context c(0, resolveName);
    char hostName[] = "HostSum";
    AddItem(c.ec, 0, "Sum", 0, {.functionName = hostName});
    const char *storedName = itemFind(c.ec->functions, "Sum")->functionName;  // packed fields are read by value
    EXPECT_TRUE(storedName != hostName && !strcmp(storedName, "HostSum")) << "copied";
    AddItem(c.ec, 0, "Own", 0, {.functionName = hostName, .callback = someCode});
    AddItem(c.ec, 0, "NoName", 0);
    // A failed name copy (allocation 2: the fourth item fits the store's block) leaves it nameless, resolving 0.
    SvcFailAllocAfter(2);
    EXPECT_EQ(AddItem(c.ec, 0, "Lost", 0, {.functionName = hostName}), 1);
    EXPECT_EQ((const char *)itemFind(c.ec->functions, "Lost")->functionName, nullptr);
    EXPECT_EQ(resolved, (std::vector<std::string>{"HostSum", "(null)"}));
}

TEST(Items, FailedRecordLeavesNullElement) {
    LeakCheck leaks;
    Context c;
    c.add(1, 0, "a");
    SvcFailAllocAfter(1);  // the record, after the store grew
    EXPECT_EQ(c.add(1, 0, "b"), 0);
    EXPECT_EQ(SvcArrayCount(c.ec->inputItems), 2u);
    EXPECT_EQ(c.add(1, 0, "c"), 1);
    EXPECT_EQ(inputItemType(c.ec, "c"), 0);
    EXPECT_EQ(comboNames(c.ec, 1), (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(ZEMDeleteAllECVars(c.ec), 1);
    EXPECT_EQ(SvcArrayCount(c.ec->inputItems), 0u) << "the store stays, emptied";
    EachAllocationFails([](int) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        for (int i = 0; ec && i < 3; i++) AddItem(ec, 0, "F", 2, {.functionName = "FUNF", .mayFail = true});
        AddItem(ec, 3, "K", 300, {.mayFail = true});
        ZEMDestroyEC(ec);
    });
}

TEST(Items, LookupsEnumerationAndDeletion) {
    LeakCheck leaks;
    Context c;
    EXPECT_EQ(ZEMDeleteAllECVars(c.ec), 0) << "no input store yet";
    for (const char *n : {"Price", "b", "a"}) c.add(1, 0, n);
    c.add(0, 2, "Left");
    c.add(1, 2, "a", 2);  // a second "a": the first wins
    names.clear();
    ZEMEnumExpItems(c.ec, 1, collect, 0);
    EXPECT_EQ(names, (std::vector<std::string>{"Price", "b", "a", "a"}));
    EXPECT_EQ(comboNames(c.ec, 0), std::vector<std::string>{"Left"});

    unsigned char out[ZEM_EXPITEM_SIZE(1)];
    ExpItem *rec = (ExpItem *)out;
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, rec, "Left"), 0) << "input items only";
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, rec, "a"), 1);
    EXPECT_EQ(rec->dataType + rec->required, 0);

    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 1, "a"), 1);
    EXPECT_EQ(ZEMGetExpressionVariable(c.ec, rec, "a"), 1);
    EXPECT_EQ(rec->dataType + rec->required, 4) << "delete took the first";
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 1, "a"), 1);
    EXPECT_EQ(ZEMDelExpItemNoCheck(c.ec, 1, "a") + ZEMDelExpItemNoCheck(c.ec, 2, "b"), 0);
    Context empty;
    EXPECT_EQ(ZEMDelExpItemNoCheck(empty.ec, 0, "x"), 0) << "no function store yet";
}

TEST(Items, InputNameIsKeyword) {
    std::string longName = "Day" + std::string(67, 'x');  // cut to 64 bytes
    struct Row { std::string name, out; int result; } rows[] = {
        {"MONTHS", "_MONTHS", 1}, {"hours", "_hours", 1}, {"SecondS", "_SecondS", 1}, {"Dayss", "Dayss", 0},
        {"", "", 0}, {"Weeks", "Weeks", 0}, {"\x82\xa0\x44\x41Y", "\x82\xa0\x44\x41Y", 0},
        {longName, longName.substr(0, 64), 0}};
    for (const Row &r : rows) {
        char out[80];
        memset(out, 'x', sizeof(out));
        EXPECT_EQ(ZEMInputNameIsKeyword(out, r.name.c_str()), r.result) << r.name;
        EXPECT_EQ(std::string(out), r.out);
    }
}
