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

// What a usage walk's own test says of a node: go on into its children, the
// answer is yes, or this branch gives no.
enum { WalkOn = 0, WalkFound = 1, WalkStop = -1 };
typedef int (*UsageTest)(HEC ec, const ExpNode *node, void *user);

// The one walk of the usage queries. At each node the test comes first;
// then operators and ranges go down both children, left first, calls and
// sets through their lists in order, and a reference to a named formula goes
// on in that formula's tree (a name not found gives no). Every other node is
// a leaf. Non-zero when a test said yes.
int usageWalk(HEC ec, const ExpNode *node, UsageTest test, void *user);

// Non-zero when the tree under node uses the named thing: kind 0 a function,
// 1 an input item, 2 a named formula.
int itemUsedWalk(HEC ec, const ExpNode *node, int kind, const char *name);

#endif
