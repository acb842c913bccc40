// Guarded delete: which expressions the host is offered and in which order,
// users before what they use, refusal, the answer, and a deferred list that
// cannot be allocated.
#include <string.h>

#include <set>
#include <string>
#include <vector>

#include "context/expressions.h"
#include "support.h"

namespace {

std::vector<std::string> gOffered;  // names in the order offered
std::set<std::string> gRefuse;      // names the host refuses
std::string gItemSeen;              // name of the item record the host was given

// Destroys what it is offered and answers the number of calls so far, so
// that the answer tells which call was the last.
int ZEMCALL removeOffered(HEC ec, HEXP exp, ExpItem *item) {
    char name[130];
    ZEMGetExpressionName(ec, exp, sizeof name, name);
    gOffered.push_back(name);
    gItemSeen = item ? item->name : "(none)";
    if (gRefuse.count(name)) return 0;
    EXPECT_EQ(ZEMDestroyEXP(ec, exp), 1) << name;
    return (int)gOffered.size();
}

struct Host {
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    bool strict;
    explicit Host(bool strict = true) : strict(strict) {
        gOffered.clear();
        gRefuse.clear();
        gItemSeen.clear();
        add(ZEM_ITEM_INPUT, "Price");
        add(ZEM_ITEM_INPUT, "Qty");
        add(ZEM_ITEM_FUNCTION, "Twice");
    }
    ~Host() { ZEMDestroyEC(ec); }
    void add(int kind, const char *name) {
        bool function = kind == ZEM_ITEM_FUNCTION;
        AddItem(ec, kind, name, 0,
                {.required = function, .params = Params({0}), .paramCount = function, .mayFail = !strict});
    }
    HEXP parse(const char *text, const char *name) {
        uint16_t type = 0;
        HEXP exp = ZEMParseString(ec, text, name, nullptr, &type);
        if (strict) {
            EXPECT_NE(exp, nullptr) << text;
        }
        return exp;
    }
    bool has(int kind, const char *name) {
        HARRAY store = kind == ZEM_ITEM_INPUT ? ec->inputItems : ec->functions;
        bool found = false;
        for (unsigned i = 0; store && i < SvcArrayCount(store); i++) {
            ExpItem **at = (ExpItem **)SvcArrayLock(store, i);
            found |= *at && strcmp((*at)->name, name) == 0;
            SvcArrayUnlock(store);
        }
        return found;
    }
    std::string remaining() {
        std::string out;
        char name[130];
        for (int i = 0; i < ZEMGetExpressionCount(ec); i++) {
            ZEMGetExpressionName(ec, ZEMHEXPFromOrdinal(ec, i), sizeof name, name);
            out += std::string(out.empty() ? "" : " ") + name;
        }
        return out;
    }
};

struct Expr {
    const char *name, *text;
};

std::string joined(const std::vector<std::string> &names) {
    std::string out;
    for (const std::string &n : names) out += (out.empty() ? "" : " ") + n;
    return out;
}

}  // namespace

TEST(Delete, OffersUsersBeforeWhatTheyUse) {
    LeakCheck leaks;
    struct Case {
        std::vector<Expr> exprs;
        int kind;
        const char *item;
        const char *refuse;    // or ""
        const char *offered;   // in order
        int answer;
        const char *remaining;
        bool itemKept;
    } cases[] = {
        // Nobody uses it: no call, the item goes.
        {{{"A", "Qty + 1"}}, 1, "Price", "", "", 1, "A", false},
        // A uses it and B names A: A waits until B is gone.
        {{{"A", "Price * 2"}, {"B", "A() + 1"}}, 1, "Price", "", "B A", 2, "", false},
        {{{"A", "Price * 2"}, {"C", "Price"}, {"B", "A() + 1"}, {"D", "Qty"}}, 1, "Price", "",
         "C B A", 3, "D", false},
        // A chain of three: one round for each link.
        {{{"A", "Price"}, {"B", "A() * 2"}, {"C", "B() + 1"}}, 1, "Price", "", "C B A", 3, "", false},
        // Two users of A: A waits for both.
        {{{"A", "Price"}, {"B", "A() * 2"}, {"C", "A() + 1"}}, 1, "Price", "", "B C A", 3, "", false},
        // Refusals: nothing behind a refusal is offered, the item stays.
        {{{"A", "Price * 2"}, {"B", "A() + 1"}}, 1, "Price", "B", "B", 0, "A B", true},
        {{{"A", "Price * 2"}, {"B", "A() + 1"}}, 1, "Price", "A", "B A", 0, "A", true},
        {{{"X", "Price"}, {"Y", "Price + 1"}}, 1, "Price", "X", "X", 0, "X Y", true},
        // An unknown name with expressions present.
        {{{"A", "Price"}}, 1, "Nothing", "", "", 1, "A", false},
        // Functions; any kind but 1 deletes from the function store.
        {{{"A", "Twice(Qty)"}, {"B", "Qty"}}, 0, "Twice", "", "A", 1, "B", false},
        // Kind 3 finds no use in any tree, and deletes from the functions.
        {{{"A", "Twice(Qty)"}}, 3, "Twice", "", "", 1, "A", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.item) + " " + c.exprs[0].text);
        Host h;
        for (const Expr &e : c.exprs) ASSERT_NE(h.parse(e.text, e.name), nullptr);
        if (*c.refuse) gRefuse.insert(c.refuse);
        EXPECT_EQ(ZEMDeleteExpItem(h.ec, c.kind, c.item, removeOffered), c.answer);
        EXPECT_EQ(joined(gOffered), c.offered);
        EXPECT_EQ(h.remaining(), c.remaining);
        int store = c.kind == ZEM_ITEM_INPUT ? ZEM_ITEM_INPUT : ZEM_ITEM_FUNCTION;
        EXPECT_EQ(h.has(store, c.item), c.itemKept);
        if (!gOffered.empty()) {
            EXPECT_EQ(gItemSeen, c.item) << "the stored record is handed over";
        }
    }
}

TEST(Delete, WithoutExpressionsOrContext) {
    LeakCheck leaks;
    Host h;
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Price", removeOffered), 1);
    EXPECT_FALSE(h.has(ZEM_ITEM_INPUT, "Price"));
    EXPECT_TRUE(h.has(ZEM_ITEM_INPUT, "Qty"));
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Price", removeOffered), 1) << "gone already";
    EXPECT_EQ(ZEMDeleteExpItem(nullptr, ZEM_ITEM_INPUT, "Price", removeOffered), 1);
    EXPECT_TRUE(gOffered.empty());
}

TEST(Delete, ANullCallbackRefuses) {
    LeakCheck leaks;
    Host h;
    ASSERT_NE(h.parse("Price + 1", "A"), nullptr);
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Price", nullptr), 0);
    EXPECT_TRUE(h.has(ZEM_ITEM_INPUT, "Price"));
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Qty", nullptr), 1) << "nobody to offer";
}

TEST(Delete, RoundsEndWhenNothingCanBeOffered) {
    LeakCheck leaks;
    Host h;
    ASSERT_NE(h.parse("Price * 2", "A"), nullptr);
    ASSERT_NE(h.parse("A() + 1", "B"), nullptr);
    // The trees still name Price after the item went without a check: B is
    // passed by with no record to hand over, so A can never go.
    ASSERT_EQ(ZEMDelExpItemNoCheck(h.ec, ZEM_ITEM_INPUT, "Price"), 1);
    EXPECT_EQ(ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Price", removeOffered), 1);
    EXPECT_TRUE(gOffered.empty());
    EXPECT_EQ(h.remaining(), "A B");
}

TEST(Delete, ADeferredListThatCannotBeMadeShortensTheRetry) {
    {
        LeakCheck leaks;
        Host h;
        ASSERT_NE(h.parse("Price * 2", "A"), nullptr);
        ASSERT_NE(h.parse("A() + 1", "B"), nullptr);
        SvcFailAllocAfter(1);  // the deferred list is the one allocation
        EXPECT_EQ(ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Price", removeOffered), 1);
        EXPECT_FALSE(SvcFailAllocPending());
        SvcFailAllocAfter(0);
        EXPECT_EQ(joined(gOffered), "B") << "A was never deferred, so never offered";
        EXPECT_EQ(h.remaining(), "A");
        EXPECT_FALSE(h.has(ZEM_ITEM_INPUT, "Price"));
    }
    // Each allocation of a whole run failing in turn, set-up included.
    std::set<std::string> seen;
    EachAllocationFails([&](int) {
        Host h(false);
        HEXP a = h.parse("Price", "A");
        HEXP b = h.parse("A() * 2", "B");
        HEXP c = h.parse("B() + 1", "C");
        if (!a || !b || !c || !h.has(ZEM_ITEM_INPUT, "Price")) return;
        int answer = ZEMDeleteExpItem(h.ec, ZEM_ITEM_INPUT, "Price", removeOffered);
        EXPECT_EQ(answer, (int)gOffered.size()) << "the last call's answer";
        EXPECT_FALSE(h.has(ZEM_ITEM_INPUT, "Price"));
        // A list that could not be made is tried again at the next need, so
        // one failure loses A alone: in the first pass B then makes the list.
        std::string offered = joined(gOffered);
        EXPECT_TRUE(offered == "C B A" || offered == "C B") << offered;
        std::string left = offered == "C B" ? "A" : "";
        EXPECT_EQ(h.remaining(), left);
        seen.insert(offered);
    });
    EXPECT_EQ(seen.size(), 2u) << "some run lost A";
}
