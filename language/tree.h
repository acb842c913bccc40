// The syntax tree of a parsed expression. A tree holds no pointer to an
// item or another expression: every reference is a name, found again when
// it is used.
#ifndef ZEM_TREE_H
#define ZEM_TREE_H

#include <stddef.h>
#include <stdint.h>

#include "context/ec.h"

// Node kinds; where a token of the same sense exists they share its number.
enum NodeKind {
    NodeNumber = 0,
    NodeInput = 258,
    NodeFunction = 259,
    NodeExpression = 261,
    NodeString = 262,
    NodeDate = 263,
    NodeSet = 270,
    NodeRange = 271,
};

// Forms of a call, kept in a NodeFunction's flags.
enum { FormPlain = 0, FormStar = 2, FormQuantifier = 4 };

// Bit 0 of a NodeString's flags: the text holds an escape.
enum { StringHasEscape = 0x0001 };

struct ExpNode {
    int32_t kind;
    int16_t dataType;   // -1 while the node is in error
    uint32_t start;     // byte offset in the source text
    uint32_t length;
    uint32_t closing;   // offset of a call's ')', else 0
    uint16_t flags;     // unit code of + and -, form of a call, escape bit of a string
    void *left;         // left operand, or the node's own block (name, text, Number)
    void *right;        // right operand, or the HARRAY of arguments or members
};

// The argument or member list of a node.
inline HARRAY nodeList(const ExpNode *node) { return (HARRAY)node->right; }

// True for the operator kinds.
int isOperatorKind(int kind);

// True for the nodes with an operand on each side: an operator or a range.
inline bool isPairKind(int kind) { return kind == NodeRange || isOperatorKind(kind); }

// Calls right(p) for the count nodes of a left edge that start at top, the
// lowest first. The stretch gets 64 marks and each part between two marks
// is done the same way, so a long edge costs a few passes and a few nested
// calls, not a call a node. Stops at the first call that gives true.
template <typename Right>
bool leftEdgeUpwards(const ExpNode *top, size_t count, const Right &right) {
    enum { Marks = 64 };
    const ExpNode *mark[Marks];
    size_t stride = (count + Marks - 1) / Marks, toNext = 0;
    int marks = 0;
    const ExpNode *p = top;
    for (size_t i = 0; i < count; i++, p = (const ExpNode *)p->left, toNext--) {
        if (toNext > 0) continue;
        mark[marks++] = p;
        toNext = stride;
    }
    while (marks > 0) {
        const ExpNode *from = mark[--marks];
        size_t part = count - (size_t)marks * stride;
        if (stride == 1 ? right(from) : leftEdgeUpwards(from, part < stride ? part : stride, right))
            return true;
    }
    return false;
}

// Walks the left edge of a tree in the order of the text: below(the first
// node down the left operands that is no operator or range), then right(p)
// for each operator or range p above it, the lowest first. A chain such as
// 1+1+1+... adds a node to the edge a link and no depth anywhere else, so
// this bounds the stack of a walk whatever the length of the text. Stops at
// the first call that gives true, and gives true.
template <typename Below, typename Right>
bool walkLeftEdge(const ExpNode *node, const Below &below, const Right &right) {
    enum { Short = 16 };  // an everyday edge is kept here in the one pass down
    const ExpNode *top = node, *edge[Short];
    size_t count = 0;
    for (; node && isPairKind(node->kind); node = (const ExpNode *)node->left, count++)
        if (count < Short) edge[count] = node;
    if (below(node)) return true;
    if (count > Short) return leftEdgeUpwards(top, count, right);
    while (count > 0)
        if (right(edge[--count])) return true;
    return false;
}

ExpNode *NewNode(void);
ExpNode *MakeLeaf(int kind, void *value);
ExpNode *MakeNumber(void *value, int negate);
void FreeNode(HEC ec, ExpNode *node);
void FreeArgumentList(HEC ec, HARRAY list);

#endif
