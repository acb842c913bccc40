// The type rules on hand-made nodes: the operator table with unit words,
// the argument count rule, the expected type of each argument with its
// repeating groups, the aggregate and subclass tests, and Any results.
#include <string.h>

#include <vector>

#include "context/startup.h"
#include "language/parsestate.h"
#include "language/types.h"
#include "support.h"

namespace {

enum { N = ZEM_TYPE_NUMBER, D = ZEM_TYPE_DATETIME, S = ZEM_TYPE_STRING, K = ZEM_TYPE_KEYWORD,
       ANY = ZEM_TYPE_ANY, STAR = ZEM_TYPE_ANY_STAR };

char *copyOf(const char *text) {
    char *copy = (char *)SvcAlloc(strlen(text) + 1);
    strcpy(copy, text);
    return copy;
}

// A leaf of a type at a span; a named one is an input item.
ExpNode *leaf(int type, uint32_t start, uint32_t length = 1, const char *name = 0) {
    ExpNode *node = (ExpNode *)SvcAlloc(sizeof(ExpNode));
    node->kind = name ? NodeInput : NodeNumber;
    node->dataType = (int16_t)type;
    node->start = start;
    node->length = length;
    node->left = name ? copyOf(name) : SvcAlloc(ZEM_VALUE_SIZE);
    return node;
}

HARRAY listOf(std::vector<ExpNode *> nodes) {
    HARRAY list = SvcArrayCreate(sizeof(ExpNode *), (unsigned)nodes.size());
    for (unsigned i = 0; i < nodes.size(); i++) {
        *(ExpNode **)SvcArrayLock(list, i) = nodes[i];
        SvcArrayUnlock(list);
    }
    return list;
}

// Arguments of the given types, argument i at offset 10 * i.
HARRAY argsOf(std::vector<int> types) {
    std::vector<ExpNode *> nodes;
    for (size_t i = 0; i < types.size(); i++) nodes.push_back(leaf(types[i], 10 * (unsigned)i));
    return listOf(nodes);
}

ExpParam of(int type) { return ExpParam{0, (uint16_t)type, 0}; }

// A parse under way in a context, so that the rules find the context and
// the pending unit word where the grammar would leave them.
struct Session {
    LockGuard lock{&gParserLock};
    HEC ec;
    explicit Session(uint16_t flags = 0) {
        ec = ZEMCreateEC(0, 0, 0, flags);
        StartParse(ec, "", 0);
    }
    ~Session() { ZEMDestroyEC(ec); }
    void add(const char *name, int type, std::vector<ExpParam> params, int required, int optional,
             int flags = 0) {
        AddItem(ec, ZEM_ITEM_FUNCTION, name, type,
                {.required = required, .optional = optional, .flags = flags, .params = params});
    }
};

TEST(Types, OperatorTable) {
    LeakCheck leaks;
    // Left at 0, operator token elsewhere, right at offset 4 with length 3.
    struct {
        int left, op, right, unit;
        uint16_t flags;
        int type;
        unsigned code, start, length;
    } cases[] = {
        {D, '+', N, 1, 0, D, 0, 0, 0},
        {D, '+', D, 0, 0, -1, ERR_TYPENUM, 4, 3},
        {D, '+', S, 1, 0, -1, ERR_TYPENUM, 4, 3},  // the type before the unit
        {D, '-', N, 4, 0, D, 0, 0, 0},
        {D, '-', D, 0, 0, N, 0, 0, 0},
        {D, '-', D, 1, 0, -1, ERR_KEYWORD, 0, 0},
        {D, '-', S, 0, 0, -1, ERR_TYPENUMDATE, 4, 3},
        {D, '-', S, 0, ECFlagDateMinusString, N, 0, 0, 0},
        {D, '-', S, 2, ECFlagDateMinusString, -1, ERR_KEYWORD, 0, 0},
        {D, '-', K, 0, 0, -1, ERR_TYPENUMDATE, 4, 3},
        {D, '*', N, 0, 0, -1, ERR_OPERATORDATE, 0, 0},
        {D, '+', N, 0, ECFlagNoDateMath, -1, ERR_OPERATORDATE, 0, 0},
        {N, '+', N, 0, 0, N, 0, 0, 0},
        {N, '+', N, 1, 0, -1, ERR_KEYWORD, 0, 0},
        {N, '*', D, 0, 0, -1, ERR_TYPENUM, 4, 3},
        {N, '%', N, 0, 0, -1, ERR_OPERATORNUM, 0, 0},
        {N, '%', N, 0, ECFlagModulo, N, 0, 0, 0},
        {N, '|', N, 0, 0, -1, ERR_OPERATORNUM, 0, 0},
        {S, '|', N, 0, 0, -1, ERR_TYPESTR, 4, 3},
        {S, '|', S, 0, ECFlagNoConcat, -1, ERR_OPERATORSTR, 0, 0},
        {S, '+', S, 0, ECFlagStringPlus, S, 0, 0, 0},
        {S, '+', S, 16, ECFlagStringPlus, -1, ERR_KEYWORD, 0, 0},
        {256, '+', 256, 0, 0, -1, ERR_OPERATORKEYWORD, 0, 0},
        {-1, '+', N, 0, 0, -1, ERR_OPERATORKEYWORD, 0, 0},
    };
    for (auto &t : cases) {
        Session s(t.flags);
        gParse.unit = t.unit;
        ExpNode *node = BuildOperator(t.op, leaf(t.left, 0), leaf(t.right, 4, 3));
        ASSERT_NE(nullptr, node);
        EXPECT_EQ(t.type, node->dataType) << t.left << (char)t.op << t.right << " unit " << t.unit;
        EXPECT_EQ(t.code, gParse.error.code) << t.left << (char)t.op << t.right;
        EXPECT_EQ(t.start, gParse.error.start) << t.left << (char)t.op << t.right;
        EXPECT_EQ(t.length, gParse.error.length) << t.left << (char)t.op << t.right;
        EXPECT_EQ(t.op, node->kind);
        EXPECT_EQ(t.unit, node->flags);
        EXPECT_EQ(0, gParse.unit);
        FreeNode(s.ec, node);
    }
}

TEST(Types, ArgumentCountRule) {
    struct {
        int P, R, Q, n, sign;
    } cases[] = {
        {2, 0, 1, 1, -1}, {2, 0, 1, 2, 0},  {2, 0, 1, 3, 1},   // R 0: exactly P
        {2, 1, 1, 1, 0},  {2, 1, 1, 3, 1},   // R to R + Q
        {3, 1, 0, 1, -1}, {3, 1, 0, 2, -1}, {3, 1, 0, 3, 0},  {3, 1, 0, 9, 0},  // P or more
        {4, 2, 1, 3, 0},  {4, 2, 1, 5, 1},  // or exactly P
        {4, 2, 1, 1, -1}, {1, 1, 0, 5, 0},  {0, 0, 0, 1, 1},  {-1, 0, 0, 1, 1},
    };
    for (auto &t : cases) {
        ExpItem item = {};
        item.paramCount = (int16_t)t.P;
        item.required = (uint16_t)t.R;
        item.optional = (uint16_t)t.Q;
        int r = ArgumentCountRule(t.n, &item);
        int sign = r < 0 ? -1 : r > 0 ? 1 : 0;
        EXPECT_EQ(t.sign, sign) << "P " << t.P << " R " << t.R << " Q " << t.Q << " n " << t.n;
    }
}

struct ArgumentCase {
    std::vector<int> args;
    unsigned code;  // 0 when the call is good
    int badArgument;
};

void checkArguments(Session &s, const char *name, const std::vector<ArgumentCase> &cases,
                    int form = FormPlain, int quantifier = 0) {
    for (const ArgumentCase &t : cases) {
        gParse.error = ExpError{};
        HARRAY args = argsOf(t.args);
        int good = CheckArguments(s.ec, args, name, &gParse.error, form, quantifier);
        std::string label = std::string(name) + " with " + std::to_string(t.args.size());
        EXPECT_EQ(t.code == 0, good) << label;
        EXPECT_EQ(t.code, gParse.error.code) << label;
        if (t.badArgument >= 0) {
            EXPECT_EQ(10u * t.badArgument, gParse.error.start) << label;
            EXPECT_EQ(1u, gParse.error.length) << label;
        }
        FreeArgumentList(s.ec, args);
    }
}

TEST(Types, ArgumentTypesAndRepeatingGroups) {
    LeakCheck leaks;
    Session s;
    // String, then a group of (Number, String) repeating from the second.
    s.add("Cycle", N, {of(S), of(N), of(S)}, 1, 0);
    checkArguments(s, "Cycle", {
        {{S}, ERR_NUMPARMSLO, -1},
        {{S, S, S}, 0, -1},                 // the second takes the type of the first
        {{S, N, S}, ERR_PARMSTR, 1},
        {{S, S, N}, ERR_PARMSTR, 2},
        {{S, S, S, N, S}, 0, -1},           // the fourth against the second descriptor
        {{S, S, S, S, S}, ERR_PARMNUM, 3},
        {{S, S, S, S}, 0, -1},              // the last on a cycle start: the second member
        {{S, S, S, N}, ERR_PARMSTR, 3},
        {{N, N, S}, ERR_PARMSTR, 0},
    });
    // One repeating parameter of type Any: later arguments match the first of it.
    s.add("Many", N, {of(D), of(ANY)}, 1, 0);
    checkArguments(s, "Many", {
        {{D, S, S, S}, 0, -1},
        {{D, N, N}, 0, -1},
        {{D, S, N}, ERR_PARMSTR, 2},
        {{D, K, 300}, ERR_PARMKEYWORD, 2},
        {{N, S}, ERR_PARMDATE, 0},
    });
    // A group of (Any, Any, Number) after one required parameter.
    s.add("Group", N, {of(S), of(ANY), of(ANY), of(N)}, 1, 0);
    checkArguments(s, "Group", {
        {{S, S, D, N}, 0, -1},
        {{S, N, D, N}, ERR_PARMSTR, 1},      // the group's first matches the argument before it
        {{S, S, D, N, S, D, N}, 0, -1},      // later passes repeat the first pass's types
        {{S, S, D, N, S, N, N}, ERR_PARMDATE, 5},
        {{S, S, D, N, D, D, N}, ERR_PARMSTR, 4},
    });
    // As many required parameters as parameters: extra arguments meet an Any.
    s.add("Open", N, {of(N)}, 1, 0);
    checkArguments(s, "Open", {{{N}, 0, -1}, {{N, S}, 0, -1}, {{N, S, S}, 0, -1},
                               {{N, S, D}, ERR_PARMSTR, 2}, {{S, N}, ERR_PARMNUM, 0}});
    // An Any-with-star descriptor takes anything.
    s.add("Star", N, {of(STAR)}, 0, 0);
    checkArguments(s, "Star", {{{D}, 0, -1}, {{K}, 0, -1}, {{N, N}, ERR_NUMPARMSHI, -1}});
}

TEST(Types, CallsWithoutArgumentsAndForms) {
    LeakCheck leaks;
    Session s;
    s.add("None", N, {}, 0, 0);
    s.add("Opt", N, {of(N), of(N)}, 0, 1);
    s.add("Req", N, {of(N)}, 0, 0);
    s.add("Rows", N, {of(STAR)}, 0, 0);
    s.add("Quant", N, {of(N)}, 0, 0, ZEM_FN_QUANTIFIER2);
    s.add("Uniq", N, {of(N)}, 0, 0, ZEM_FN_DISTINCT);
    struct {
        const char *name;
        int form, quantifier, withArgument;
        unsigned code;
    } cases[] = {
        {"None", FormPlain, 0, 0, 0},      {"None", FormStar, 0, 0, ERR_SYNTAX},
        {"Opt", FormPlain, 0, 0, 0},       {"Req", FormPlain, 0, 0, ERR_NUMPARMSLO},
        {"Req", FormStar, 0, 0, ERR_SYNTAX}, {"Rows", FormStar, 0, 0, 0},
        {"Req", FormQuantifier, 1, 1, ERR_KEYWORD},
        {"Quant", FormQuantifier, 1, 1, 0}, {"Quant", FormQuantifier, 2, 1, 0},
        {"Quant", FormQuantifier, 2, 0, ERR_NUMPARMSLO},
        {"Uniq", FormPlain, 0, 1, ERR_MISKEYWORD}, {"Uniq", FormQuantifier, 2, 1, ERR_MISKEYWORD},
        {"Uniq", FormQuantifier, 1, 1, 0},  {"Uniq", FormStar, 0, 0, ERR_SYNTAX},
        // The qualifier tests come before the count test.
        {"Uniq", FormPlain, 0, 0, ERR_MISKEYWORD},
    };
    for (auto &t : cases) {
        gParse.error = ExpError{};
        HARRAY args = t.withArgument ? argsOf({N}) : 0;
        int good = CheckArguments(s.ec, args, t.name, &gParse.error, t.form, t.quantifier);
        EXPECT_EQ(t.code == 0, good) << t.name << " form " << t.form;
        EXPECT_EQ(t.code, gParse.error.code) << t.name << " form " << t.form;
        EXPECT_EQ(0u, gParse.error.length) << t.name;  // the grammar rule gives the span
        FreeArgumentList(s.ec, args);
    }
}

TEST(Types, AggregateParameters) {
    LeakCheck leaks;
    Session s;
    AddItem(s.ec, ZEM_ITEM_INPUT, "Sales", N, {.required = 7});
    AddItem(s.ec, ZEM_ITEM_INPUT, "Other", N, {.required = 8});
    ExpParam aggregate = {1, N, 0}, subclassed = {1, N, 7};
    s.add("Sum", N, {aggregate}, 0, 0, ZEM_FN_QUANTIFIER);
    s.add("SumAny", N, {aggregate}, 0, 0, ZEM_FN_QUANTIFIER | ZEM_FN_AGG_ANY);
    s.add("SumSome", N, {aggregate}, 0, 0, ZEM_FN_QUANTIFIER | ZEM_FN_AGG_NODISTINCT);
    s.add("SumOf7", N, {subclassed}, 0, 0);
    struct {
        const char *function, *input;
        int quantifier;
        unsigned code;
    } cases[] = {
        {"Sum", "Sales", 0, 0},           {"Sum", 0, 0, ERR_PARM},
        {"SumAny", 0, 1, 0},              {"SumSome", 0, 2, 0},
        {"SumSome", 0, 0, 0},             {"SumSome", 0, 1, ERR_PARM},
        {"SumOf7", "Sales", 0, 0},        {"SumOf7", "Other", 0, ERR_SUBCLASS},
        {"SumOf7", "Keyword", 0, 0},      // not an input item: passes
        {"SumOf7", 0, 0, ERR_PARM},
    };
    for (auto &t : cases) {
        gParse.error = ExpError{};
        HARRAY args = listOf({leaf(N, 5, 4, t.input)});
        int form = t.quantifier ? FormQuantifier : FormPlain;
        int good = CheckArguments(s.ec, args, t.function, &gParse.error, form, t.quantifier);
        EXPECT_EQ(t.code == 0, good) << t.function << " " << (t.input ? t.input : "expression");
        EXPECT_EQ(t.code, gParse.error.code) << t.function;
        if (t.code) {
            EXPECT_EQ(5u, gParse.error.start);
            EXPECT_EQ(4u, gParse.error.length);
        }
        FreeArgumentList(s.ec, args);
    }
}

TEST(Types, AnyResultType) {
    LeakCheck leaks;
    Session s;
    ExpItem keyword = {};
    keyword.kind = ZEM_ITEM_KEYWORD;
    keyword.dataType = 300;
    keyword.required = S;  // its subclass chooses the type
    strcpy(keyword.name, "AsText");
    ASSERT_EQ(1, ZEMAddExpressionItem(s.ec, &keyword));
    s.add("Pick", ANY, {of(ANY), of(ANY)}, 1, 0);
    HARRAY byLast = argsOf({N, D});
    EXPECT_EQ(D, AnyResultType(s.ec, byLast, "Pick"));
    HARRAY byKeyword = listOf({leaf(300, 0, 6, "astext"), leaf(N, 10)});
    EXPECT_EQ(S, AnyResultType(s.ec, byKeyword, "Pick"));
    EXPECT_EQ(-1, AnyResultType(s.ec, 0, "Pick"));
    EXPECT_EQ(-1, AnyResultType(s.ec, byLast, "Missing"));
    FreeArgumentList(s.ec, byLast);
    FreeArgumentList(s.ec, byKeyword);
    // A call without arguments has nothing to give it a type.
    s.add("Maybe", ANY, {of(ANY)}, 0, 1);
    ExpNode *call = BuildCall(copyOf("Maybe"), 0, FormPlain);
    EXPECT_EQ(-1, call->dataType);
    EXPECT_EQ(ERR_NUMPARMSLO, gParse.error.code);
    EXPECT_EQ(0u, gParse.error.length);
    FreeNode(s.ec, call);
    call = BuildCall(copyOf("Pick"), argsOf({S, S, S}), FormPlain);
    EXPECT_EQ(S, call->dataType);
    FreeNode(s.ec, call);
}

TEST(Types, OutOfMemoryLeavesTheOperandsWithTheCaller) {
    LeakCheck leaks;
    Session s;
    s.add("None", N, {}, 0, 0);
    ExpNode *left = leaf(N, 0), *right = leaf(N, 4);
    char *name = copyOf("None");
    gParse.unit = 1;
    SvcFailAllocAfter(1);
    EXPECT_EQ(nullptr, BuildOperator('+', left, right));
    EXPECT_EQ(ERR_MEMORY, gParse.error.code);
    EXPECT_EQ(0u, gParse.error.length);
    EXPECT_EQ(0, gParse.unit);
    gParse.unit = 1;
    SvcFailAllocAfter(1);
    EXPECT_EQ(nullptr, BuildCall(name, 0, FormPlain));
    EXPECT_EQ(0, gParse.unit);
    SvcFailAllocAfter(0);
    FreeNode(s.ec, left);
    FreeNode(s.ec, right);
    SvcFree(name);
}

TEST(Types, SetMembers) {
    LeakCheck leaks;
    Session s(ECFlagRangesAndSets);
    struct {
        std::vector<int> types;
        int result;
        unsigned code;
        int bad;
    } sets[] = {
        {{N, N, N}, N, 0, -1},      {{254, 254}, 254, 0, -1},
        {{255, 255}, -1, ERR_KEYWORD, 0}, {{N, S}, -1, ERR_RANGETYPE, 1},
        {{K, 256}, -1, ERR_KEYWORD, 1},   {{N, N, D}, -1, ERR_RANGETYPE, 2},
    };
    for (auto &t : sets) {
        gParse.error = ExpError{};
        HARRAY list = argsOf(t.types);
        EXPECT_EQ(t.result, CheckSetMembers(s.ec, list, &gParse.error));
        EXPECT_EQ(t.code, gParse.error.code);
        if (t.bad >= 0) {
            EXPECT_EQ(10u * t.bad, gParse.error.start);
        }
        FreeArgumentList(s.ec, list);
    }
}

}  // namespace
