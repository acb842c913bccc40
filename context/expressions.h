// Stored expressions: the record, the store of a context and what the other
// layers need of them.
#ifndef ZEM_EXPRESSIONS_H
#define ZEM_EXPRESSIONS_H

#include <stdint.h>

#include "context/ec.h"

struct ExpNode;

struct ExpRecord {
    ExpNode *root;
    char *name;       // never empty after a parse
    EC *context;
    uint16_t resultType;
    char *text;
};

// Kinds as the builder and generated names number them.
enum { KindFormula = 0, KindRange = 1, KindSet = 2 };

// The kind of an expression from its root.
int expressionKind(const ExpNode *root);

int storeAddExpression(HEC ec, ExpRecord *record);
void releaseExpressions(HEC ec);
// Frees a record with its tree, name and text.
void freeExpRecord(HEC ec, ExpRecord *record);
// A unique name for a kind, in the calling thread's buffer.
const char *generateExpressionName(HEC ec, int kind);

// Non-zero when the tree under node uses the named thing: kind 0 a function,
// 1 an input item, 2 a named formula.
int itemUsedWalk(HEC ec, const ExpNode *node, int kind, const char *name);

#endif
