// Making and freeing the nodes of a syntax tree. Leaves take the latest
// token's span and the value block the tokeniser handed over, without a copy.
#include "language/tree.h"

#include "context/items.h"
#include "errors/errors.h"
#include "eval/convert.h"
#include "language/parsestate.h"
#include "services/platform.h"

namespace {

// A leaf of the latest token; 0 after report 121.
ExpNode *newLeaf(int kind, void *value) {
    ExpNode *node = NewNode();
    if (!node) {
        SetError(&gParse.error, ERR_MEMORY, 0, 0);
        return 0;
    }
    node->kind = kind;
    node->left = value;
    node->start = gParse.tokenStart;
    node->length = gParse.tokenLength;
    return node;
}

// Whether a string's text holds \' or '' starting at a character boundary;
// a trail byte that looks like a backslash or a quote does not count.
int holdsEscape(const char *text) {
    for (const char *at = text; *at; at = CharNextA(at)) {
        if ((at[0] == '\\' || at[0] == '\'') && at[1] == '\'') return 1;
    }
    return 0;
}

void typeInput(ExpNode *node) {
    const char *name = (const char *)node->left;
    int type = inputItemType(gParse.ec, name);
    if (type == -1) type = keywordType(gParse.ec, name);
    if (type == -1) SetError(&gParse.error, ERR_VAR, node->start, node->length);
    node->dataType = (int16_t)type;
}

// With ranges and sets on, the tokeniser gives a date only once it converts.
void typeDate(ExpNode *node) {
    DateTime scratch = {};
    bool converted = gParse.ec && (gParse.ec->flags & ECFlagRangesAndSets);
    if (converted || TextToDate(&scratch, (const char *)node->left)) {
        node->dataType = ZEM_TYPE_DATETIME;
        return;
    }
    node->dataType = -1;
    SetError(&gParse.error, ERR_INVALIDDATE, node->start, node->length);
}

}  // namespace

int isOperatorKind(int kind) {
    switch (kind) {
    case '%': case '*': case '+': case '-': case '/': case '|': return 1;
    default: return 0;
    }
}

ExpNode *NewNode(void) {
    ExpNode *node = (ExpNode *)SvcAlloc(sizeof(ExpNode));
    if (!node) ParserMessage("Out of Memory");
    return node;
}

ExpNode *MakeLeaf(int kind, void *value) {
    ExpNode *node = newLeaf(kind, value);
    if (!node) return 0;
    switch (kind) {
    case NodeInput: typeInput(node); break;
    case NodeString:
        node->dataType = ZEM_TYPE_STRING;
        if (holdsEscape((const char *)value)) node->flags |= StringHasEscape;
        break;
    case NodeDate: typeDate(node); break;
    default: break;
    }
    return node;
}

ExpNode *MakeNumber(void *value, int negate) {
    ExpNode *node = newLeaf(NodeNumber, value);
    if (!node) return 0;
    node->dataType = ZEM_TYPE_NUMBER;
    if (negate) SvcNumNegate((Number *)value);
    return node;
}

// Down the left operands in a loop, so that a long chain such as 1+1+1+...
// costs no stack a link.
void FreeNode(HEC ec, ExpNode *node) {
    while (node) {
        ExpNode *next = 0;
        switch (node->kind) {
        case NodeNumber: case NodeInput: case NodeString: case NodeDate:
            SvcFree(node->left);
            break;
        case NodeFunction: case NodeExpression:
            FreeArgumentList(ec, nodeList(node));
            SvcFree(node->left);
            break;
        case NodeSet:
            FreeArgumentList(ec, nodeList(node));
            break;
        default:
            if (!isPairKind(node->kind)) break;
            FreeNode(ec, (ExpNode *)node->right);
            next = (ExpNode *)node->left;
            break;
        }
        SvcFree(node);
        node = next;
    }
}

void FreeArgumentList(HEC ec, HARRAY list) {
    if (!list) return;
    unsigned count = SvcArrayCount(list);
    ExpNode **nodes = (ExpNode **)SvcArrayLock(list, 0);
    for (unsigned i = 0; nodes && i < count; i++) FreeNode(ec, nodes[i]);
    SvcArrayUnlock(list);
    SvcArrayDestroy(list);
}
