// The syntax tree of a parsed expression. A tree holds no pointer to an
// item or another expression: every reference is a name, found again when
// it is used.
#ifndef ZEM_TREE_H
#define ZEM_TREE_H

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

ExpNode *NewNode(void);
ExpNode *MakeLeaf(int kind, void *value);
ExpNode *MakeNumber(void *value, int negate);
void FreeNode(HEC ec, ExpNode *node);
void FreeArgumentList(HEC ec, HARRAY list);

#endif
