// The doors of the language front end: parse a text into a new stored
// expression, replace one in place, and say whether a text is a name. One
// parse runs at a time in the process, under the recursive parser lock.
#include <string.h>

#include "context/expressions.h"
#include "context/nameindex.h"
#include "context/startup.h"
#include "context/threadblock.h"
#include "errors/errors.h"
#include "language/parsestate.h"
#include "language/tree.h"
#include "services/platform.h"

namespace {

void copyReport(ExpError *report) {
    if (report) *report = gParse.error;
}

// Walks a list of nodes with RecursionCheck; the first non-zero answer.
int listReaches(HEC ec, const char *name, HARRAY list, int depth);
int pairReaches(HEC ec, const char *name, const ExpNode *node, int depth);

// Non-zero when the tree under node reaches name through named formulas.
// The report goes on the outermost reference. depth bounds a walk through
// expressions that were stored by another route and refer to each other.
int reaches(HEC ec, const char *name, const ExpNode *node, int depth) {
    if (!node || depth > 10000) return 0;
    switch (node->kind) {
    case NodeFunction:
    case NodeSet:
        return listReaches(ec, name, nodeList(node), depth);
    case NodeExpression: {
        const char *target = (const char *)node->left;
        int hit = lstrcmpA(target, name) == 0;
        if (!hit) {
            HEXP exp = ZEMHEXPFromName(ec, target);
            hit = exp && reaches(ec, name, exp->root, depth + 1);
        }
        if (hit) SetError(&gParse.error, ERR_RECURSIVE, node->start, node->length);
        return hit;
    }
    default:
        return isPairKind(node->kind) && pairReaches(ec, name, node, depth);
    }
}

// Left operands before right ones, so that the report is on the first
// reference. Out of line, so that the frame of a leaf's check stays small.
[[gnu::noinline]] int pairReaches(HEC ec, const char *name, const ExpNode *node, int depth) {
    auto part = [&](const ExpNode *n) { return reaches(ec, name, n, depth) != 0; };
    return walkLeftEdge(node, part, [&](const ExpNode *pair) { return part((const ExpNode *)pair->right); });
}

int listReaches(HEC ec, const char *name, HARRAY list, int depth) {
    for (unsigned i = 0; list && i < SvcArrayCount(list); i++) {
        ExpNode **at = (ExpNode **)SvcArrayLock(list, i);
        ExpNode *member = at ? *at : 0;
        SvcArrayUnlock(list);
        if (reaches(ec, name, member, depth)) return 1;
    }
    return 0;
}

}  // namespace

// The tree under node reaches name. Sets and Ranges are walked too, so that
// no walker that follows references can loop on what is stored.
int RecursionCheck(HEC ec, const char *name, const ExpNode *node) {
    return reaches(ec, name, node, 0);
}

// Parses text into a record that no store holds yet, or 0 with the report.
ExpRecord *ParseCore(HEC ec, const char *text, const char *name, ExpError *report,
                     uint16_t *resultType) {
    LockGuard lock(&gParserLock);
    gParse.error = ExpError{};
    if (!ec) {
        // Without a context there is nothing to parse against.
        SetError(&gParse.error, ERR_GENERAL, 0, 0);
        copyReport(report);
        return 0;
    }
    ExpRecord *record = (ExpRecord *)SvcAlloc(sizeof(ExpRecord));
    if (!record) {
        SetError(&gParse.error, ERR_MEMORY, 0, 0);
        copyReport(report);
        return 0;
    }
    StartParse(ec, text, 0);
    gParse.dateError = DateErrorNote{};
    if (RunParser() != 0 || !gParse.result) {
        SvcFree(record);
        if (gParse.dateError.noted)
            SetError(&gParse.error, ERR_INVALIDDATE, gParse.dateError.start, gParse.dateError.length);
        copyReport(report);
        return 0;
    }
    ExpNode *root = gParse.result;
    gParse.result = 0;
    *resultType = (uint16_t)root->dataType;
    record->resultType = (uint16_t)root->dataType;
    record->root = root;
    record->context = ec;
    record->text = SvcStrCopy(text);
    const char *useName = name && *name ? name : 0;
    if (record->text && !useName) useName = generateExpressionName(ec, expressionKind(root));
    if (record->text && useName) record->name = SvcStrCopy(useName);
    ExpError ownReport = {0, 0, 0};  // the name check writes the host's report, when given
    ExpError *nameReport = report ? report : &ownReport;
    if (!record->text || !record->name) {
        SetError(&gParse.error, ERR_MEMORY, 0, 0);
    } else if (!ZEMValidName(ec, record->name, nameReport)) {
        // A name check that ran out of memory says nothing of the name.
        if (nameReport->code == ERR_MEMORY) SetError(&gParse.error, ERR_MEMORY, 0, 0);
        else SetError(&gParse.error, ERR_NAME, 0, (uint32_t)SvcStrLen(text));
    } else if (!RecursionCheck(ec, record->name, root)) {
        return record;
    }
    freeExpRecord(ec, record);
    copyReport(report);
    return 0;
}

extern "C" {

ZEMAPI HEXP ZEMCALL ZEMParseString(HEC ec, const char *text, const char *name, ExpError *report,
                                   uint16_t *resultType) {
    LockGuard lock(&gParserLock);
    ExpRecord *record = ParseCore(ec, text, name, report, resultType);
    if (!record) return 0;
    if (!storeAddExpression(ec, record)) {
        freeExpRecord(ec, record);
        if (report) SetError(report, ERR_MEMORY, 0, 0);
        return 0;
    }
    if (ec->notifyCallback) ec->notifyCallback(ec, 2);
    return record;
}

ZEMAPI HEXP ZEMCALL ZEMParseFormula(HEC ec, HEXP old, const char *text, const char *name,
                                    ExpError *report, uint16_t *resultType) {
    LockGuard lock(&gParserLock);
    ExpRecord *fresh = ParseCore(ec, text, name, report, resultType);
    if (!fresh) return 0;
    unsigned code = 0;
    if (!ZEMIsExpNameUnique(ec, old, fresh->name)) {
        code = ERR_DUPNAME;
    } else if (!old) {
        if (storeAddExpression(ec, fresh)) return fresh;
        code = ERR_MEMORY;
    } else if (ZEMIsNamedFormulaUsed(ec, fresh->name) && old->resultType != fresh->resultType) {
        code = ERR_EXPDATATYPE;
    }
    if (code) {
        freeExpRecord(ec, fresh);
        if (report) SetError(report, code, 0, (uint32_t)SvcStrLen(text));
        return 0;
    }
    if (ec->renameCallback && lstrcmpA(old->name, fresh->name) != 0) {
        ec->renameCallback(ec, old->name, fresh->name);
        if (ec->notifyCallback) ec->notifyCallback(ec, 3);
    }
    char *formerName = old->name;
    FreeNode(ec, old->root);
    SvcFree(old->text);
    old->root = fresh->root;
    old->text = fresh->text;
    old->name = fresh->name;
    old->resultType = fresh->resultType;
    SvcFree(fresh);
    nameIndexRenamed(ec, ZEM_ITEM_FORMULA, old, formerName);
    SvcFree(formerName);
    return old;
}

ZEMAPI int ZEMCALL ZEMValidName(HEC ec, const char *name, ExpError *report) {
    LockGuard lock(&gParserLock);
    if (!ec) ec = defaultContext();
    int valid = 0, noMemory = 0;
    if (ec && name) {
        StartParse(ec, name, 1);
        if (RunParser() == 0 && gParse.result && gParse.result->kind == NodeInput) {
            char *copy = SvcStrCopy(name);
            if (copy) {
                SvcStrNormalise(copy);
                valid = SvcStrEqual(copy, name) != 0;
                SvcFree(copy);
            }
            noMemory = !copy;
        }
        noMemory = noMemory || gParse.error.code == ERR_MEMORY;
        FreeNode(ec, gParse.result);
        gParse.result = 0;
    }
    if (report && noMemory) SetError(report, ERR_MEMORY, 0, 0);
    else if (report) SetError(report, ERR_INPUT, 0, (uint32_t)SvcStrLen(name));
    return valid;
}

}  // extern "C"
