// The grammar: text in, tree or report out with its span; the stack limit,
// the entry's reports, and no leaks on failure.
#include <string.h>

#include <string>
#include <vector>

#include "context/startup.h"
#include "language/parsestate.h"
#include "language/tree.h"
#include "support.h"

namespace {

enum : uint16_t {
    M = ECFlagModulo, R = ECFlagRangesAndSets, Q = ECFlagQualifiers, NC = ECFlagNoConcat,
    SP = ECFlagStringPlus, DMS = ECFlagDateMinusString,
    X = 0x8000,  // of the test: operator callbacks for || on Numbers and + on keywords
};

// A tree in prefix form: a unit code behind its operator, a call's form
// behind its name (* star, Q quantifier), Sets in braces, Ranges in brackets.
std::string show(const ExpNode *node, const char *text) {
    auto list = [&](HARRAY h) {
        std::string out;
        for (unsigned i = 0; i < SvcArrayCount(h); i++) {
            out += " " + show(*(ExpNode **)SvcArrayLock(h, i), text);
            SvcArrayUnlock(h);
        }
        return out;
    };
    const char *name = (const char *)node->left;
    switch (node->kind) {
    case NodeNumber: {
        Number zero;
        SvcNumFromInt(&zero, 0);
        std::string own(text + node->start, node->length);
        return (SvcNumCompare((const Number *)node->left, &zero) < 0 ? "-" : "") + own;
    }
    case NodeInput: return name;
    case NodeString: return "'" + std::string(name) + "'";
    case NodeDate: return "#" + std::string(name) + "#";
    case NodeExpression: return std::string("(exp ") + name + ")";
    case NodeFunction:
        return std::string("(") + name + (node->flags == FormStar ? "*" : "") +
               (node->flags == FormQuantifier ? "Q" : "") +
               (node->right ? list(nodeList(node)) : "") + ")";
    case NodeSet: return "{" + list(nodeList(node)).substr(1) + "}";
    case NodeRange:
        return "[" + show((ExpNode *)node->left, text) + " " + show((ExpNode *)node->right, text) + "]";
    default: {
        std::string op = node->kind == '|' ? "||" : std::string(1, (char)node->kind);
        if (node->flags) op += ":" + std::to_string(node->flags);
        return "(" + op + " " + show((ExpNode *)node->left, text) + " " +
               show((ExpNode *)node->right, text) + ")";
    }
    }
}

int ZEMCALL noOperator(HEC, HEXP, int32_t, int32_t, void *, int32_t, void *, int32_t, void *) {
    return 0;
}

// A context with items of each type: a b c Price Numbers, d a DateTime, s t
// Strings, k a keyword of type 3, Asc one of type 256; stored expressions
// Total (a Formula) and Pair (a Set).
struct Context {
    HEC ec;
    explicit Context(uint16_t flags = 0) {
        ec = ZEMCreateEC(0, 0, 0, ECFlagRangesAndSets);
        for (const char *n : {"a", "b", "c", "Price"}) AddItem(ec, ZEM_ITEM_INPUT, n, 0);
        AddItem(ec, ZEM_ITEM_INPUT, "d", 1);
        for (const char *n : {"s", "t"}) AddItem(ec, ZEM_ITEM_INPUT, n, 2);
        AddItem(ec, ZEM_ITEM_KEYWORD, "k", 3);
        AddItem(ec, ZEM_ITEM_KEYWORD, "Asc", 256, {.required = 2});
        AddItem(ec, ZEM_ITEM_FUNCTION, "@NOW", 1);
        AddItem(ec, ZEM_ITEM_FUNCTION, "f", 0, {.optional = 1, .params = Params({0, 0})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Count", 0, {.flags = ZEM_FN_QUANTIFIER, .params = Params({4})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Uniq", 0, {.flags = ZEM_FN_DISTINCT, .params = Params({4})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Plain", 0, {.params = Params({4})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Rows", 0, {.flags = ZEM_FN_DISTINCT, .params = Params({5})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Maybe", 4, {.optional = 1, .params = Params({4})});
        // Repeating groups: (N, S) from the second, an Any from the second, (Any, Any, N).
        AddItem(ec, ZEM_ITEM_FUNCTION, "Cycle", 0, {.required = 1, .params = Params({2, 0, 2})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Many", 0, {.required = 1, .params = Params({1, 4})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Group", 0, {.required = 1, .params = Params({2, 4, 4, 0})});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Open", 0, {.required = 1, .params = Params({0})});
        // Aggregates: an input item as the argument, of subclass 7 for Sum7.
        AddItem(ec, ZEM_ITEM_FUNCTION, "Sum", 0, {.flags = ZEM_FN_QUANTIFIER, .params = {{1, 0, 0}}});
        AddItem(ec, ZEM_ITEM_FUNCTION, "Sum7", 0, {.params = {{1, 0, 7}}});
        AddItem(ec, ZEM_ITEM_FUNCTION, "SumAny", 0,
                {.flags = ZEM_FN_QUANTIFIER | ZEM_FN_AGG_ANY, .params = {{1, 0, 0}}});
        AddItem(ec, ZEM_ITEM_FUNCTION, "SumSome", 0,
                {.flags = ZEM_FN_QUANTIFIER | ZEM_FN_AGG_NODISTINCT, .params = {{1, 0, 0}}});
        store("Total", "Price * 2");
        store("Pair", "1, 2");
        ec->flags = flags & ~X;
        if (flags & X) {
            ec->operators[OP_CONCAT].callbacks[0] = noOperator;
            ec->operators[OP_PLUS].callbacks[3] = noOperator;
        }
    }
    ~Context() { ZEMDestroyEC(ec); }
    void store(const char *name, const char *text) { ParseOk(ec, text, name); }
    // "tree :type" after success, "E<code> <start>,<length>" after failure.
    std::string parse(const char *text, int validating = 0) {
        LockGuard g(&gParserLock);
        StartParse(ec, text, validating);
        if (RunParser()) {
            EXPECT_EQ(nullptr, gParse.result) << text;
            const ExpError &e = gParse.error;
            return "E" + std::to_string(e.code) + " " + std::to_string(e.start) + "," +
                   std::to_string(e.length);
        }
        ExpNode *root = gParse.result;
        std::string out = show(root, text) + " :" + std::to_string(root->dataType);
        FreeNode(ec, root);
        return out;
    }
};

struct Case {
    uint16_t flags;
    const char *text;
    const char *expected;  // a report without a span compares the code only
};

const Case kCases[] = {
    {M | X, "1 + 2 * 3", "(+ 1 (* 2 3)) :0"}, {M | X, "a % b || c", "(% a (|| b c)) :0"},
    {0, "s || t || 'x'", "(|| (|| s t) 'x') :2"}, {0, "a - -1", "(- a -1) :0"},
    {0, "d + 3 DAYS", "(+:1 d 3) :1"}, {0, "d + 1 + 2 HOURS", "(+:8 (+ d 1) 2) :1"},
    {0, "d - 1/2/2000", "(- d #1/2/2000#) :0"}, {DMS, "d - 'x'", "(- d 'x') :0"},
    {X, "k + k", "(+ k k) :3"}, {0, "1 + 'a' b", "E100 4,3"}, {0, "1 + Nobody", "E102 4,6"},
    {0, "a * b DAYS", "E129 2,1"}, {0, "d + 2 * 3 DAYS", "E129 6,1"},
    {0, "d + 3 DAYS * 2", "E114 11,1"},  // the unit word closed d + 3
    {0, "d - 'x'", "E128 4,3"}, {0, "'a' + 'b'", "E113 4,1"}, {NC, "'a' || 'b'", "E113 4,2"},
    {0, "s || 1", "E115 5,1"}, {0, "1 || 2", "E111 2,2"}, {0, "k + k", "E132 2,1"},
    {X, "k + 1", "E129 4,1"}, {0, "Asc", "E129 0,1000"}, {0, "d + 32/13/2000", "E123 4,10"},
    {DMS, "d - 'x' MONTHS", "E129"}, {ECFlagNoDateMath, "d + 1", "E114"},
    {SP, "s + t SECONDS", "E129"}, {0, "1 2 + 3", "E109 4,1"},
    {0, "1 % 2", "E109 2,1"},  // % is no operator without the option
    {0, "", "E109 0,1"}, {R, "(1, 2)", "E109"}, {R, "f(a AND b)", "E109"},
    {R, "Asc )", "E109"},  // the list's reduction comes first, not the keyword check
    {R, "1, 2", "{1 2} :0"}, {R, "d AND d + 1", "[d (+ d 1)] :1"},
    {R, "Asc AND Asc", "[Asc Asc] :256"}, {R, "1, 'a'", "E134 3,3"}, {R, "1 AND 'z'", "E135 6,3"},
    {R, "a AND b AND c", "E109 11,3"},  // after the Range was built
    {0, "1, 2", "E109 0,0"}, {0, "a AND b", "E109 0,0"}, {0, "Total()", "(exp Total) :0"},
    {0, "@NOW", "(@NOW) :1"}, {0, "Total(1)", "E124 0,6"}, {0, "Pair()", "E136 0,5"},
    {0, "f(1)", "E117 0,2"}, {0, "f(1, 2, 3)", "E105 0,2"}, {0, "f(1, 'x')", "E118 5,3"},
    {Q, "Count(DISTINCT a)", "(CountQ a) :0"}, {Q, "Uniq(distinct a + 1)", "(UniqQ (+ a 1)) :0"},
    {Q, "Rows(*)", "(Rows*) :0"}, {Q, "Plain(DISTINCT a)", "E129 6,8"}, {Q, "Uniq(a)", "E130 0,5"},
    {Q, "Count(DISTINCT)", "E117 0,6"}, {0, "Maybe()", "E117 0,6"}, {0, "f(*)", "E109 2,1"},
    {0, "DISTINCT", "E102 0,8"}, {0, "Cycle(s)", "E117 0,6"}, {0, "Cycle(s, 1, s)", "E119 9,1"},
    {0, "Cycle(s, s, s, 1)", "E119 15,1"}, {0, "Cycle(s, s, s, 1, s)", "(Cycle s s s 1 s) :0"},
    {0, "Cycle(s, s, s, s, s)", "E118 15,1"}, {0, "Many(d, k, Asc)", "E133 11,3"},
    {0, "Group(s, 1, d, 1)", "E119 9,1"}, {0, "Group(s, s, d, 1, s, 1, 1)", "E120 21,1"},
    {0, "Open(1, s, d)", "E119 11,1"}, {0, "Sum(1)", "E101 4,1"},
    {Q, "SumAny(DISTINCT a + 1)", "(SumAnyQ (+ a 1)) :0"},
    {Q, "SumSome(DISTINCT a + 1)", "E101 22,1"}, {0, "Sum7(Price)", "E137 5,5"},
};

TEST(Parser, TextsGiveTreesOrReports) {
    LeakCheck leaks;
    for (const Case &t : kCases) {
        Context c(t.flags);
        std::string got = c.parse(t.text);
        if (strchr(t.expected, ' ') || t.expected[0] != 'E')
            EXPECT_EQ(t.expected, got) << "text: " << t.text;
        else
            EXPECT_EQ(t.expected, got.substr(0, got.find(' '))) << "text: " << t.text;
        LockGuard g(&gParserLock);
        EXPECT_EQ(0, got[0] == 'E' ? 0 : gParse.quantifier) << t.text;  // taken by the call
    }
    Context c;
    EXPECT_EQ("Nobody :-1", c.parse("Nobody", 1));  // validating lets unknown names through
    EXPECT_EQ("E132 7,1", c.parse("Nobody + 1", 1));
    std::string name(3000, 'x');
    EXPECT_EQ("E112", c.parse(("1 + " + name).c_str()).substr(0, 4));
    EXPECT_EQ("(+ 1 2) :0", c.parse(("(1 + 2) " + name).c_str()));
    for (int n : {147, 148}) {  // the stack holds 150 entries
        std::string nested = std::string(n, '(') + "1" + std::string(n, ')');
        EXPECT_EQ(n == 147 ? "1 :0" : "E122", c.parse(nested.c_str()).substr(0, 4));
    }
}

TEST(Parser, FailedAllocationsLeaveNothingBehind) {
    Context c(R | Q);
    const char *texts[] = {"1 + 2 * (Price - 3)", "f(a, b) + Total()", "'x' || s", "d + 3 DAYS",
                           "1, 2, 3", "Count(DISTINCT a)", "1/2/2000", "a AND b AND c",
                           "f(1, 2, 3)", "a, b + 'x'"};
    for (const char *text : texts) {
        std::string clean = c.parse(text);
        int runs = EachAllocationFails([&](int) {
            std::string got = c.parse(text);
            if (got[0] != 'E') {
                EXPECT_EQ(clean, got) << text;
            }
        });
        EXPECT_GT(runs, 1) << text;
    }
    // Through the entry: a report of memory gives no span.
    EachAllocationFails([&](int n) {
        ExpError report = {};
        uint16_t type;
        HEXP exp = ZEMParseString(c.ec, "  a", "Named", &report, &type);
        if (exp) ZEMDestroyEXP(c.ec, exp);
        if (!exp) {
            EXPECT_EQ(ERR_MEMORY, report.code) << n;
            EXPECT_EQ(0u, report.start + report.length) << n;
        }
    });
    ExpError report = ParseFails(nullptr, "1");  // no context: nothing to parse against
    EXPECT_EQ(ERR_GENERAL, report.code);
    EXPECT_EQ(0u, report.start + report.length);
    report = ParseFails(c.ec, "1 + 99/99/2000 + 98/98/2000 +");  // the first date refused
    EXPECT_EQ("123 4,10", std::to_string(report.code) + " " + std::to_string(report.start) + "," +
                              std::to_string(report.length));
}

}  // namespace
