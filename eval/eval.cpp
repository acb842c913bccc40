// The tree evaluator. It walks a stored expression's tree depth first, asks
// the host for input values and function results through callbacks, and
// computes + - * / and || itself unless an operator callback stands in.
// Every node gives a new value block or no result (0); the caller of a node
// owns its block. Nothing survives a call but what an exit copies out.
#include <string.h>

#include "context/items.h"
#include "eval/convert.h"
#include "eval/datemath.h"
#include "eval/eval.h"
#include "services/services.h"

namespace {

// A walk deeper than this gives no result. A left-leaning chain such as
// 1+1+1+... or a long chain of named formulas grows one level per link and
// would otherwise take the host's stack with it.
constexpr int kMaxDepth = 1000;

enum { ValueSize = ZEM_VALUE_SIZE, TextStartSize = 50, AggregateMode = 1 };

// A value block freed on every path unless released.
struct Owned {
    void *block;
    explicit Owned(void *b = 0) : block(b) {}
    ~Owned() { SvcFree(block); }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    void *release() {
        void *b = block;
        block = 0;
        return b;
    }
    Number *number() const { return (Number *)block; }
};

struct Walk {
    HEC ec;
    HEXP current;
    int depth;
};

void *evalAt(const Walk &walk, const ExpNode *node);

ExpNode *child(const void *pointer) { return (ExpNode *)pointer; }

// The code address of an item as the callback type that its kind calls.
template <typename Callback>
Callback callbackOf(const ExpItem *item) {
    return reinterpret_cast<Callback>(reinterpret_cast<void (*)(void)>(item->callback));
}

int sizeForType(int dataType) {
    switch (dataType) {
    case ZEM_TYPE_NUMBER:
    case ZEM_TYPE_DATETIME: return ValueSize;
    case ZEM_TYPE_STRING:
    case ZEM_TYPE_KEYWORD: return TextStartSize;
    default: return 0;
    }
}

char *copyOfText(const char *text) {
    size_t n = SvcStrLen(text) + 1;
    char *copy = (char *)SvcAlloc(n);
    if (copy) memcpy(copy, text, n);
    return copy;
}

// ---- Leaves

void *numberLiteral(const ExpNode *node) {
    if (!node->left) return 0;
    void *value = SvcAlloc(ValueSize);
    if (value) memcpy(value, node->left, ValueSize);
    return value;
}

// A literal is read again at every evaluation; a text that no longer reads
// as a date leaves the null value, which is still a value.
void *dateLiteral(const ExpNode *node) {
    if (!node->left) return 0;
    DateTime *value = (DateTime *)SvcAlloc(ValueSize);
    if (value) TextToDate(value, (const char *)node->left);
    return value;
}

// Undoes the escapes of a string literal: \' and '' each stand for one '.
// A double-byte character is copied whole, so that a trail byte which
// looks like a backslash or a quote is never taken for one.
void unescape(char *dest, const char *src) {
    int doubleByte = SvcIsDoubleByte();
    while (*src) {
        if ((src[0] == '\\' || src[0] == '\'') && src[1] == '\'') src++;
        int lead = doubleByte && SvcIsLeadAt(src);
        *dest++ = *src++;
        if (lead && *src) *dest++ = *src++;
    }
    *dest = 0;
}

void *stringLiteral(const ExpNode *node) {
    const char *text = (const char *)node->left;
    if (!text) return 0;
    size_t length = SvcStrLen(text);
    char *value = (char *)SvcAlloc(length + 1);
    if (!value) return 0;
    if (node->flags & StringHasEscape)
        unescape(value, text);
    else
        memcpy(value, text, length + 1);
    return value;
}

// The host's value of an input item. The callback may have grown and moved
// the block through value, so the pointer is read again after it.
void *inputValue(const Walk &walk, const ExpNode *node) {
    int size = sizeForType(node->dataType);
    const char *name = (const char *)node->left;
    ExpItem *item = size && name ? itemFind(walk.ec->inputItems, name) : 0;
    if (!item || !item->callback) return 0;
    void *value = SvcAlloc((size_t)size);
    if (!value) return 0;
    if (!callbackOf<ZEMInputCallback>(item)(walk.ec, walk.current, size, &value, name)) {
        SvcFree(value);
        return 0;
    }
    return value;
}

// A named formula is walked again at each reference, with itself as the
// current expression.
void *referredValue(const Walk &walk, const ExpNode *node) {
    HEXP target = node->left ? ZEMHEXPFromName(walk.ec, (const char *)node->left) : 0;
    if (!target) return 0;
    Walk inner = {walk.ec, target, walk.depth};
    return evalAt(inner, target->root);
}

// ---- Function calls

ExpNode *argumentAt(HARRAY list, unsigned index) {
    ExpNode **slot = (ExpNode **)SvcArrayLock(list, index);
    ExpNode *node = slot ? *slot : 0;
    SvcArrayUnlock(list);
    return node;
}

// An aggregate parameter gets the name an input item or keyword was
// written with, not a value. Any other node has no name to give: the entry
// stays null.
void *aggregateEntry(const ExpNode *node) {
    if (node->kind != NodeInput || !node->left) return 0;
    return copyOfText((const char *)node->left);
}

void freeArguments(void **vector, int count) {
    if (!vector) return;
    for (int i = 0; i < count; i++) SvcFree(vector[i]);
    SvcFree(vector);
}

// One entry a declared parameter; an entry that could not be filled stays
// null and the call goes on. Arguments beyond the declared ones are not
// looked at. 0 when the vector itself could not be made.
void **buildArguments(const Walk &walk, const ExpItem *item, HARRAY list, int count) {
    void **vector = (void **)SvcAlloc(sizeof(void *) * (size_t)count);
    if (!vector) return 0;
    unsigned given = SvcArrayCount(list);
    for (int i = 0; i < count && (unsigned)i < given; i++) {
        ExpNode *argument = argumentAt(list, (unsigned)i);
        if (!argument) continue;
        vector[i] = item->params[i].mode == AggregateMode ? aggregateEntry(argument)
                                                          : evalAt(walk, argument);
    }
    return vector;
}

void *functionValue(const Walk &walk, const ExpNode *node) {
    int size = sizeForType(node->dataType);
    const char *name = (const char *)node->left;
    ExpItem *item = size && name ? itemFind(walk.ec->functions, name) : 0;
    if (!item || !item->callback) return 0;
    HARRAY list = nodeList(node);
    int count = item->paramCount > 0 ? item->paramCount : 0;
    void **arguments = 0;
    if (list) {
        arguments = buildArguments(walk, item, list, count);
        if (!arguments) return 0;
    }
    void *value = SvcAlloc((size_t)size);
    if (value && !callbackOf<ZEMFunctionCallback>(item)(walk.ec, walk.current, size, &value, name,
                                                        arguments)) {
        SvcFree(value);
        value = 0;
    }
    freeArguments(arguments, count);
    return value;
}

// ---- Operators

// Both operands, left first; each is evaluated whatever the other gave.
void evalOperands(const Walk &walk, const ExpNode *node, Owned &left, Owned &right) {
    left.block = evalAt(walk, child(node->left));
    right.block = evalAt(walk, child(node->right));
}

void zeroNumber(Number *value) {
    value->bytes[0] = 0;
    SvcNumNullToZero(value);
}

// + - * / on two Numbers: a host's callback in the operator's Number slot
// takes the operands exactly as they came; else a null operand counts as
// zero, and a division with a zero on either side gives zero.
void *numberArithmetic(const Walk &walk, const ExpNode *node, int code) {
    Owned left, right;
    evalOperands(walk, node, left, right);
    if (!left.block || !right.block) return 0;
    Number *result = (Number *)SvcAlloc(ValueSize);
    if (!result) return 0;
    ZEMOperatorCallback hostOperator = walk.ec->operators[code].callbacks[ZEM_TYPE_NUMBER];
    if (hostOperator) {
        hostOperator(walk.ec, walk.current, 0, ValueSize, left.block, ValueSize, right.block,
                     ValueSize, result);
        return result;
    }
    Number *a = left.number(), *b = right.number();
    SvcNumNullToZero(a);
    SvcNumNullToZero(b);
    switch (code) {
    case OP_PLUS: SvcNumAdd(result, a, b); break;
    case OP_MINUS: SvcNumSub(result, a, b); break;
    case OP_MULTIPLY: SvcNumMul(result, a, b); break;
    default:
        if (SvcNumIsZero(a) || SvcNumIsZero(b))
            zeroNumber(result);
        else
            SvcNumDiv(result, a, b);
        break;
    }
    return result;
}

// date + n and date - n, with the unit in the node's flags (0 is a day).
void *dateArithmetic(const Walk &walk, const ExpNode *node, int op) {
    Owned date, count;
    evalOperands(walk, node, date, count);
    if (!date.block || !count.block) return 0;
    DateTime *result = (DateTime *)SvcAlloc(ValueSize);
    if (!result) return 0;
    SvcNumNullToZero(count.number());
    DateStep(result, date.number(), count.number(), op, node->flags);
    return result;
}

// date - date in whole days; null when either date is.
void *dateDifference(const Walk &walk, const ExpNode *node) {
    Owned first, second;
    evalOperands(walk, node, first, second);
    if (!first.block || !second.block) return 0;
    Number *result = (Number *)SvcAlloc(ValueSize);
    if (result) DateDifference(result, first.number(), second.number());
    return result;
}

void *concatenation(const Walk &walk, const ExpNode *node) {
    Owned left, right;
    evalOperands(walk, node, left, right);
    if (!left.block || !right.block) return 0;
    size_t a = SvcStrLen((const char *)left.block), b = SvcStrLen((const char *)right.block);
    char *result = (char *)SvcAlloc(a + b + 1);
    if (!result) return 0;
    memcpy(result, left.block, a);
    memcpy(result + a, right.block, b + 1);
    return result;
}

int typeOf(const void *node) { return node ? child(node)->dataType : -1; }

// The rule of an operator node by its kind and data type. A combination
// without a rule (%, arithmetic on texts and keywords, date minus text)
// evaluates nothing and gives no result.
void *operatorValue(const Walk &walk, const ExpNode *node) {
    int type = node->dataType;
    switch (node->kind) {
    case '+':
        if (type == ZEM_TYPE_NUMBER) return numberArithmetic(walk, node, OP_PLUS);
        if (type == ZEM_TYPE_DATETIME) return dateArithmetic(walk, node, '+');
        return 0;
    case '-':
        if (type == ZEM_TYPE_DATETIME) return dateArithmetic(walk, node, '-');
        if (type != ZEM_TYPE_NUMBER) return 0;
        if (typeOf(node->left) == ZEM_TYPE_NUMBER) return numberArithmetic(walk, node, OP_MINUS);
        if (typeOf(node->left) == ZEM_TYPE_DATETIME && typeOf(node->right) == ZEM_TYPE_DATETIME)
            return dateDifference(walk, node);
        return 0;
    case '*':
        return type == ZEM_TYPE_NUMBER ? numberArithmetic(walk, node, OP_MULTIPLY) : 0;
    case '/':
        return type == ZEM_TYPE_NUMBER ? numberArithmetic(walk, node, OP_DIVIDE) : 0;
    case '|':
        return type == ZEM_TYPE_STRING ? concatenation(walk, node) : 0;
    default:
        return 0;
    }
}

void *evalAt(const Walk &outer, const ExpNode *node) {
    if (!node || outer.depth >= kMaxDepth) return 0;
    Walk walk = {outer.ec, outer.current, outer.depth + 1};
    switch (node->kind) {
    case NodeNumber: return numberLiteral(node);
    case NodeDate: return dateLiteral(node);
    case NodeString: return stringLiteral(node);
    case NodeInput: return inputValue(walk, node);
    case NodeFunction: return functionValue(walk, node);
    case NodeExpression: return referredValue(walk, node);
    default: return isOperatorKind(node->kind) ? operatorValue(walk, node) : 0;
    }
}

// The root's value and its data type, or 0 when nothing can be evaluated.
void *evaluateRoot(HEC ec, HEXP exp, int *dataType) {
    if (!ec || !exp || !exp->root) return 0;
    *dataType = exp->root->dataType;
    return EvalNode(ec, exp, exp->root);
}

int isValueType(int dataType) {
    return dataType == ZEM_TYPE_NUMBER || dataType == ZEM_TYPE_DATETIME;
}

}  // namespace

void *EvalNode(HEC ec, HEXP current, const ExpNode *node) {
    if (!ec) return 0;
    Walk walk = {ec, current, 0};
    return evalAt(walk, node);
}

extern "C" {

ZEMAPI int ZEMCALL ZEMEvaluateExpression(HEC ec, HEXP exp, int32_t bufferSize, void *buffer) {
    int dataType = -1;
    Owned value(evaluateRoot(ec, exp, &dataType));
    if (!value.block || !buffer) return 0;
    if (isValueType(dataType)) {
        memcpy(buffer, value.block, ValueSize);
        return 1;
    }
    if (dataType != ZEM_TYPE_STRING || bufferSize < 0) return 0;
    uint32_t needed = (uint32_t)SvcStrLen((const char *)value.block) + 1;
    if (bufferSize == 0) {
        memcpy(buffer, &needed, sizeof needed);  // the host's buffer need not be aligned
        return 1;
    }
    memcpy(buffer, value.block, needed < (uint32_t)bufferSize ? needed : (uint32_t)bufferSize);
    return 1;
}

ZEMAPI int ZEMCALL ZEMEvaluateExpressionExt(HEC ec, HEXP exp, uint32_t *length, void **buffer) {
    int dataType = -1;
    Owned value(evaluateRoot(ec, exp, &dataType));
    if (!value.block || !buffer) return 0;
    if (isValueType(dataType)) {
        if (!*buffer) return 0;
        memcpy(*buffer, value.block, ValueSize);
        return 1;
    }
    if (dataType != ZEM_TYPE_STRING) return 0;
    size_t n = SvcStrLen((const char *)value.block) + 1;
    void *block = *buffer;
    if (!block)
        block = SvcAlloc(n + 1);
    else if (SvcSize(block) < n + 1)
        block = SvcRealloc(block, n + 1);
    if (!block) return 0;
    *buffer = block;
    if (length) *length = (uint32_t)(n & 0xFFFF);
    memcpy(block, value.block, n);
    return 1;
}

}  // extern "C"
