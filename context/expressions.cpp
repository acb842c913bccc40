// Stored expressions: the store of a context, reading their texts and names,
// generated names, what uses what, and destruction.
#include "context/expressions.h"

#include <stdio.h>
#include <string.h>

#include "context/items.h"
#include "context/nameindex.h"
#include "context/threadblock.h"
#include "language/tree.h"
#include "services/platform.h"

namespace {

ExpRecord *recordAt(HEC ec, unsigned ordinal) {
    ExpRecord **records = (ExpRecord **)SvcArrayLock(ec->expressions, ordinal);
    ExpRecord *r = records ? *records : 0;
    SvcArrayUnlock(ec->expressions);
    return r;
}

// Walks the store from ordinal 0; visit gives non-zero to stop. The ordinal
// it stopped at, or -1. Each step reads the store afresh, so a visit may
// destroy expressions, even the last one with its store.
template <typename F>
int walkExpressions(HEC ec, F visit) {
    if (!ec) return -1;
    for (unsigned i = 0; ec->expressions && i < SvcArrayCount(ec->expressions); i++) {
        ExpRecord *r = recordAt(ec, i);
        if (r && visit(r)) return (int)i;
    }
    return -1;
}

// As walkExpressions, under one lock of the store, for visits that change
// no store.
template <typename F>
int scanExpressions(HEC ec, F visit) {
    if (!ec || !ec->expressions) return -1;
    unsigned count = SvcArrayCount(ec->expressions);
    ExpRecord **records = (ExpRecord **)SvcArrayLock(ec->expressions, 0);
    int found = -1;
    for (unsigned i = 0; records && i < count && found < 0; i++)
        if (records[i] && visit(records[i])) found = (int)i;
    SvcArrayUnlock(ec->expressions);
    return found;
}

// The first expression that matches, or 0.
template <typename F>
ExpRecord *findExpression(HEC ec, F match) {
    ExpRecord *found = 0;
    scanExpressions(ec, [&](ExpRecord *r) { return match(r) ? (found = r, 1) : 0; });
    return found;
}

// Walks a list of nodes; the first non-zero answer of visit.
template <typename F>
int walkList(HARRAY list, F visit) {
    if (!list) return 0;
    ExpNode **nodes = (ExpNode **)SvcArrayLock(list, 0);
    int answer = 0;
    unsigned count = SvcArrayCount(list);
    for (unsigned i = 0; nodes && i < count && !answer; i++) answer = visit(nodes[i]);
    SvcArrayUnlock(list);
    return answer;
}

// The shared rule of the text and name readers.
int32_t readInto(const char *text, int32_t size, char *buffer) {
    int32_t length = (int32_t)SvcStrLen(text);
    if (size < 1 || !buffer) return 0;
    int32_t copy = length + 1 < size ? length + 1 : size;
    memcpy(buffer, text, (size_t)copy);
    buffer[length < size - 1 ? length : size - 1] = 0;
    return length < size ? length : size;
}

int rootKind(const ExpRecord *r) { return r && r->root ? r->root->kind : -1; }

int namedExactly(const void *record, const char *name, const void *) {
    const char *own = ((const ExpRecord *)record)->name;
    return own && strcmp(own, name) == 0;
}

// Another record than the one left out, of a name the system takes as equal.
int namedOtherThan(const void *record, const char *name, const void *leaveOut) {
    const char *own = ((const ExpRecord *)record)->name;
    return record != leaveOut && own && lstrcmpA(own, name) == 0;
}

}  // namespace

int expressionKind(const ExpNode *root) {
    if (root && root->kind == NodeSet) return KindSet;
    if (root && root->kind == NodeRange) return KindRange;
    return KindFormula;
}

int storeAddExpression(HEC ec, ExpRecord *record) {
    if (!ec) return 0;
    HARRAY grown = ec->expressions ? SvcArrayGrow(ec->expressions, -1)
                                   : SvcArrayCreate(sizeof(ExpRecord *), 1);
    if (!grown) return 0;
    ec->expressions = grown;
    unsigned last = SvcArrayCount(grown) - 1;
    ExpRecord **slot = (ExpRecord **)SvcArrayLock(grown, last);
    *slot = record;
    SvcArrayUnlock(grown);
    nameIndexStored(ec, record);
    return 1;
}

void freeExpRecord(HEC ec, ExpRecord *record) {
    if (!record) return;
    FreeNode(ec, record->root);
    SvcFree(record->name);
    SvcFree(record->text);
    SvcFree(record);
}

void releaseExpressions(HEC ec) {
    if (!ec || !ec->expressions) return;
    HARRAY store = ec->expressions;
    ExpRecord **records = (ExpRecord **)SvcArrayLock(store, 0);
    unsigned count = SvcArrayCount(store);
    for (unsigned i = 0; records && i < count; i++) freeExpRecord(ec, records[i]);
    SvcArrayUnlock(store);
    SvcArrayDestroy(store);
    ec->expressions = 0;
}

const char *generateExpressionName(HEC ec, int kind) {
    ThreadBlock *tb = threadBlock();
    if (!tb || !ec) return 0;
    const char *label;
    uint16_t *counter;
    switch (kind) {
    case KindRange: label = tb->rangeLabel, counter = &ec->nextRangeNumber; break;
    case KindSet: label = tb->setLabel, counter = &ec->nextSetNumber; break;
    default: label = tb->formulaLabel, counter = &ec->nextFormulaNumber; break;
    }
    uint16_t n = *counter;
    // Bounded: every 16-bit number is tried at most once.
    for (unsigned tries = 0; tries <= 0xFFFF; tries++) {
        snprintf(tb->generatedName, sizeof(tb->generatedName), "%.120s%u", label, (unsigned)n);
        if (ZEMIsExpNameUnique(ec, 0, tb->generatedName)) break;
        n = (uint16_t)(n + 1);
    }
    *counter = n;
    return tb->generatedName;
}

// The answer is whether any node answers, so the right operand may come
// first: the walk goes down the left operands in a loop, and a long chain
// such as 1+1+1+... costs no stack a link.
int usageWalk(HEC ec, const ExpNode *node, UsageTest test, void *user) {
    for (; node; node = (const ExpNode *)node->left) {
        int said = test(ec, node, user);
        if (said != WalkOn) return said == WalkFound;
        switch (node->kind) {
        case NodeFunction:
        case NodeSet:
            return walkList(nodeList(node), [&](ExpNode *n) { return usageWalk(ec, n, test, user); });
        case NodeExpression: {
            HEXP target = ZEMHEXPFromName(ec, (const char *)node->left);
            return target ? usageWalk(ec, target->root, test, user) : 0;
        }
        default:
            if (!isPairKind(node->kind)) return 0;
            if (usageWalk(ec, (const ExpNode *)node->right, test, user)) return 1;
        }
    }
    return 0;
}

namespace {

struct ItemWanted {
    int kind;
    const char *name;
};

bool namedAs(const ExpNode *node, const char *name) {
    return lstrcmpA((const char *)node->left, name) == 0;
}

// Kinds other than function, input item and named formula find nothing in
// a call or a set.
int itemUsedTest(HEC, const ExpNode *node, void *user) {
    const ItemWanted *w = (const ItemWanted *)user;
    bool known = w->kind == ZEM_ITEM_FUNCTION || w->kind == ZEM_ITEM_INPUT ||
                 w->kind == ZEM_ITEM_FORMULA;
    switch (node->kind) {
    case NodeInput:
        return w->kind == ZEM_ITEM_INPUT && namedAs(node, w->name) ? WalkFound : WalkStop;
    case NodeFunction:
        if (w->kind == ZEM_ITEM_FUNCTION && namedAs(node, w->name)) return WalkFound;
        return known ? WalkOn : WalkStop;
    case NodeSet:
        return known ? WalkOn : WalkStop;
    case NodeExpression:
        return w->kind == ZEM_ITEM_FORMULA && namedAs(node, w->name) ? WalkFound : WalkOn;
    default:
        return WalkOn;
    }
}

}  // namespace

int itemUsedWalk(HEC ec, const ExpNode *node, int kind, const char *name) {
    ItemWanted wanted = {kind, name};
    return usageWalk(ec, node, itemUsedTest, &wanted);
}

extern "C" {

ZEMAPI int32_t ZEMCALL ZEMGetExpressionCount(HEC ec) {
    return ec && ec->expressions ? (int32_t)SvcArrayCount(ec->expressions) : 0;
}

ZEMAPI int32_t ZEMCALL ZEMGetExpressionOrdinal(HEC ec, HEXP exp) {
    if (!exp) return -1;
    return scanExpressions(ec, [&](ExpRecord *r) { return r == exp; });
}

ZEMAPI HEXP ZEMCALL ZEMHEXPFromOrdinal(HEC ec, int32_t ordinal) {
    if (!ec || !ec->expressions) return 0;
    if ((uint16_t)ordinal >= (uint16_t)SvcArrayCount(ec->expressions)) return 0;
    return recordAt(ec, (uint16_t)ordinal);
}

ZEMAPI HEXP ZEMCALL ZEMHEXPFromName(HEC ec, const char *name) {
    return (HEXP)nameFind(ec, ZEM_ITEM_FORMULA, name, namedExactly, 0);
}

ZEMAPI HEXP ZEMCALL ZEMHEXPFromText(HEC ec, const char *text) {
    if (!text) return 0;
    return findExpression(ec, [&](ExpRecord *r) { return r->text && strcmp(r->text, text) == 0; });
}

ZEMAPI int ZEMCALL ZEMEnumExpressions(HEC ec, ZEMEnumExpCallback cb) {
    if (!ec || !ec->expressions || !cb) return 0;
    int last = 0;
    int32_t ordinal = 0;
    walkExpressions(ec, [&](ExpRecord *r) {
        last = cb(ec, r, ordinal++);
        return last == 0;
    });
    return last;
}

ZEMAPI int32_t ZEMCALL ZEMGetExpressionTextLength(HEC, HEXP exp) {
    return exp ? (int32_t)SvcStrLen(exp->text) : 0;
}

ZEMAPI int32_t ZEMCALL ZEMGetExpressionText(HEC, HEXP exp, int32_t size, char *buffer) {
    if (!exp) return 0;
    return readInto(exp->text, size, buffer);
}

ZEMAPI int32_t ZEMCALL ZEMGetExpressionNameLength(HEC, HEXP exp) {
    return exp ? (int32_t)SvcStrLen(exp->name) : 0;
}

ZEMAPI int32_t ZEMCALL ZEMGetExpressionName(HEC, HEXP exp, int32_t size, char *buffer) {
    if (!exp || !exp->name) return -1;
    return readInto(exp->name, size, buffer);
}

ZEMAPI uint32_t ZEMCALL ZEMGetExpressionDataType(HEC, HEXP exp) {
    return exp ? 0xFFFF0000u | exp->resultType : 0xFFFFFFFFu;
}

ZEMAPI int ZEMCALL ZEMIsExpRange(HEC, HEXP exp, uint16_t which) {
    int kind = rootKind(exp);
    if (which == 1) return kind == NodeSet;
    if (which == 2) return kind == NodeRange;
    return 0;
}

ZEMAPI int ZEMCALL ZEMIsExpressionSimple(HEC, HEXP exp) {
    int kind = rootKind(exp);
    return kind == NodeNumber || kind == NodeString || kind == NodeDate;
}

ZEMAPI int ZEMCALL ZEMIsExpressionSimpleInput(HEC, HEXP exp) { return rootKind(exp) == NodeInput; }

ZEMAPI int32_t ZEMCALL ZEMGetSimpleInputSubClass(HEC ec, HEXP exp) {
    if (!ec || rootKind(exp) != NodeInput) return -1;
    ExpItem *item = itemLookup(ec, ZEM_ITEM_INPUT, (const char *)exp->root->left);
    return item ? item->required : -1;
}

ZEMAPI int ZEMCALL ZEMIsExpNameGenerated(HEC, HEXP exp) {
    ThreadBlock *tb = threadBlock();
    if (!exp || !exp->name || !tb) return 0;
    long n = (long)SvcCharLen(tb->formulaLabel);
    if (!SvcStrStartsWith(exp->name, tb->formulaLabel, n)) return 0;
    for (const char *p = SvcStrSkip(exp->name, n); *p; p = CharNextA(p))
        if (*p < '0' || *p > '9') return 0;
    return 1;
}

ZEMAPI int ZEMCALL ZEMIsExpNameUnique(HEC ec, HEXP leaveOut, const char *name) {
    if (!ec || !name) return 1;
    if (nameFind(ec, ZEM_ITEM_FORMULA, name, namedOtherThan, leaveOut)) return 0;
    return itemLookup(ec, ZEM_ITEM_FUNCTION, name) ? 0 : 1;
}

ZEMAPI int ZEMCALL ZEMIsItemUsed(HEC ec, HEXP exp, int kind, const char *name) {
    if (!exp || !name) return 0;
    return itemUsedWalk(ec, exp->root, kind, name);
}

ZEMAPI int ZEMCALL ZEMIsNamedFormulaUsed(HEC ec, const char *name) {
    if (!name) return 0;
    return scanExpressions(ec, [&](ExpRecord *r) {
               return itemUsedWalk(ec, r->root, ZEM_ITEM_FORMULA, name);
           }) >= 0;
}

ZEMAPI int ZEMCALL ZEMDestroyEXP(HEC ec, HEXP exp) {
    if (!exp) return 1;
    int32_t ordinal = ZEMGetExpressionOrdinal(ec, exp);
    if (ordinal < 0) return 0;
    if (ZEMIsNamedFormulaUsed(ec, exp->name)) return 0;
    nameIndexRemoved(ec, ZEM_ITEM_FORMULA, exp, (unsigned)ordinal);
    if (SvcArrayCount(ec->expressions) == 1) {
        SvcArrayDestroy(ec->expressions);
        ec->expressions = 0;
    } else {
        ec->expressions = SvcArrayRemove(ec->expressions, (unsigned)ordinal);
    }
    freeExpRecord(ec, exp);
    if (ec->notifyCallback) ec->notifyCallback(ec, 1);
    return 1;
}

ZEMAPI HEXP ZEMCALL ZEMCloneExpression(HEC ec, HEXP exp, const char *newName, uint16_t *resultType) {
    if (!ec || !exp || !exp->text) return 0;
    const char *name = newName && *newName && ZEMIsExpNameUnique(ec, 0, newName) ? newName : 0;
    return ZEMParseString(ec, exp->text, name, 0, resultType);
}

}  // extern "C"
