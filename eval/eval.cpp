// The tree evaluator. It walks a stored expression's tree depth first, asks
// the host for input values and function results through callbacks, and
// computes + - * / and || itself unless an operator callback stands in.
// Every node gives a Value or no result. A Number or DateTime that the
// evaluator computes itself stays in place in the caller's Value; texts and
// the blocks of host callbacks are blocks the Value owns. Nothing survives a
// call but what an exit copies out.
#include <string.h>

#include "context/items.h"
#include "eval/convert.h"
#include "eval/datemath.h"
#include "eval/eval.h"
#include "services/number_bytes.h"
#include "services/services.h"

namespace {

// What the walk does at a node but seldom is kept out of line, marked
// Cold, so that the frames of the recursion stay small: a deep tree costs
// the host's stack well under a kilobyte a level.
#define Cold [[gnu::noinline]]

// A walk deeper than this gives no result. A left-leaning chain such as
// 1+1+1+... or a long chain of named formulas grows one level per link and
// would otherwise take the host's stack with it.
constexpr int kMaxDepth = 1000;

enum { ValueSize = ZEM_VALUE_SIZE, TextStartSize = 50, AggregateMode = 1 };

// A node's value: a Number or DateTime in place, or an owned block (a text,
// or the block a host callback filled), or nothing (no result). Two forms
// stand in for a Number in place until its bytes are asked for: a short
// Number the evaluator computed, kept as a binary word, and a literal of
// the tree, read where it is.
struct Value {
    enum Form : unsigned char { None, Block, InPlace, Short, Literal };
    Form form = None;
    void *block = 0;
    const Number *literal = 0;
    NumShort quick;
    Number inPlace;
    Value() {}
    ~Value() {
        if (block) SvcFree(block);
    }
    Value(const Value &) = delete;
    Value &operator=(const Value &) = delete;
    bool has() const { return form != None; }
    void *data() {
        switch (form) {
        case None: return 0;
        case Block: return block;
        case Short: NumShortWrite(&inPlace, &quick); break;
        case Literal: memcpy(&inPlace, literal, ValueSize); break;
        case InPlace: break;
        }
        form = InPlace;
        return &inPlace;
    }
    Number *number() { return (Number *)data(); }
    // The 25 bytes of a Number or DateTime into dest, packed straight there
    // when short.
    void copyOut(void *dest) {
        if (form == Short)
            NumShortWrite((Number *)dest, &quick);
        else
            memcpy(dest, form == Literal ? literal : data(), ValueSize);
    }
    // The value as a short binary Number, when it is one: the word kept
    // here, or the bytes read into scratch.
    const NumShort *shortForm(NumShort *scratch) {
        if (form == Short) return &quick;
        const Number *bytes = form == Literal ? literal : (const Number *)data();
        return bytes && NumShortRead(bytes, scratch) ? scratch : 0;
    }
    void setBlock(void *b) {
        block = b;
        form = b ? Block : None;
    }
    void setLiteral(const void *bytes) {
        literal = (const Number *)bytes;
        form = Literal;
    }
    // A zeroed Number in place, to be filled, in place of what was here.
    Number *place() {
        clear();
        memset(&inPlace, 0, sizeof inPlace);
        form = InPlace;
        return &inPlace;
    }
    // The result of a short operation, computed straight into the word;
    // a or b may be this value's own word.
    bool placeShort(int op, const NumShort *a, const NumShort *b) {
        if (!NumShortCalc(&quick, op, a, b)) return false;
        clear();
        form = Short;
        return true;
    }
    void setNumber(const Number *value) { memcpy(place(), value, ValueSize); }
    void clear() {
        if (block) SvcFree(block);
        block = 0;
        form = None;
    }
    // The value as a block of its own, for those who need one.
    void *takeBlock() {
        void *b = block;
        block = 0;
        if (!b && has() && (b = SvcAlloc(ValueSize)) != 0) copyOut(b);
        form = None;
        return b;
    }
};

struct Walk {
    HEC ec;
    HEXP current;
    int depth;
};

void evalAt(const Walk &walk, const ExpNode *node, Value &out);

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

void numberLiteral(const ExpNode *node, Value &out) {
    if (node->left) out.setLiteral(node->left);
}

// A literal is read again at every evaluation; a text that no longer reads
// as a date leaves the null value, which is still a value.
Cold void dateLiteral(const ExpNode *node, Value &out) {
    if (node->left) TextToDate(out.place(), (const char *)node->left);
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

Cold void *stringLiteral(const ExpNode *node) {
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
    ExpItem *item = size && name ? itemLookup(walk.ec, ZEM_ITEM_INPUT, name) : 0;
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
void referredValue(const Walk &walk, const ExpNode *node, Value &out) {
    HEXP target = node->left ? ZEMHEXPFromName(walk.ec, (const char *)node->left) : 0;
    if (!target) return;
    Walk inner = {walk.ec, target, walk.depth};
    evalAt(inner, target->root, out);
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
        if (item->params[i].mode == AggregateMode) {
            vector[i] = aggregateEntry(argument);
        } else {
            Value value;
            evalAt(walk, argument, value);
            vector[i] = value.takeBlock();
        }
    }
    return vector;
}

Cold void *functionValue(const Walk &walk, const ExpNode *node) {
    int size = sizeForType(node->dataType);
    const char *name = (const char *)node->left;
    ExpItem *item = size && name ? itemLookup(walk.ec, ZEM_ITEM_FUNCTION, name) : 0;
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
// True when both gave a value.
bool evalOperands(const Walk &walk, const ExpNode *node, Value &left, Value &right) {
    evalAt(walk, child(node->left), left);
    evalAt(walk, child(node->right), right);
    return left.has() && right.has();
}

void zeroNumber(Number *value) {
    value->bytes[0] = 0;
    SvcNumNullToZero(value);
}

int typeOf(const void *node) { return node ? child(node)->dataType : -1; }

// The operator code of a node that does + - * / on two Numbers, else -1.
int arithmeticCode(const ExpNode *node) {
    if (!node || node->dataType != ZEM_TYPE_NUMBER) return -1;
    switch (node->kind) {
    case '+': return OP_PLUS;
    case '-': return typeOf(node->left) == ZEM_TYPE_NUMBER ? OP_MINUS : -1;
    case '*': return OP_MULTIPLY;
    case '/': return OP_DIVIDE;
    default: return -1;
    }
}

// Both operands short and the exact result short: the result stays a
// binary word, in place of the left operand. A division with a zero on
// either side gives zero.
bool shortArithmetic(int code, Value &left, Value &right) {
    NumShort scratchA, scratchB;
    const NumShort *a = left.shortForm(&scratchA), *b = a ? right.shortForm(&scratchB) : 0;
    if (!b) return false;
    if (code == OP_DIVIDE && (a->coefficient == 0 || b->coefficient == 0)) {
        zeroNumber(left.place());
        return true;
    }
    static_assert(OP_PLUS == 0 && OP_MINUS == 1 && OP_DIVIDE == 2 && OP_MULTIPLY == 3, "the characters below");
    return left.placeShort("+-/*"[code], a, b);
}

// + - * / on two Numbers, the result in place of the left operand: a
// host's callback in the operator's Number slot takes the operands exactly
// as they came; else a null operand counts as zero, and a division with a
// zero on either side gives zero.
Cold void generalArithmetic(const Walk &walk, int code, Value &left, Value &right) {
    ZEMOperatorCallback hostOperator = walk.ec->operators[code].callbacks[ZEM_TYPE_NUMBER];
    Number result[1] = {};
    if (hostOperator) {
        hostOperator(walk.ec, walk.current, 0, ValueSize, left.data(), ValueSize, right.data(),
                     ValueSize, result);
        left.setNumber(result);
        return;
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
    left.setNumber(result);
}

// left op right, into left. No result unless both operands gave one; the
// short path when no host's callback stands in and the operands and the
// result are short.
void arithmetic(const Walk &walk, int code, Value &left, Value &right) {
    if (!left.has() || !right.has()) {
        left.clear();
        return;
    }
    bool hostOperator = walk.ec->operators[code].callbacks[ZEM_TYPE_NUMBER] != 0;
    if (hostOperator || !shortArithmetic(code, left, right)) generalArithmetic(walk, code, left, right);
}

// A left-leaning run of arithmetic such as a+b+c+... is taken down its left
// edge a chunk of nodes at a time rather than one call deep per node: the
// same order of evaluation and the same depth rule, far less stack. Node i of
// a chunk is walked at depth walk.depth + i; one past the limit is left to
// evalAt, which gives it no result.
enum { RunChunk = 16 };

// A number literal or an input item, the commonest operands, is taken
// without the call to evalAt; what it does for them is done here.
void evalOperand(const Walk &walk, const ExpNode *node, Value &out) {
    int kind = node && walk.depth < kMaxDepth ? node->kind : -1;
    if (kind == NodeNumber)
        numberLiteral(node, out);
    else if (kind == NodeInput)
        out.setBlock(inputValue(walk, node));
    else
        evalAt(walk, node, out);
}

void arithmeticRun(const Walk &walk, const ExpNode *node, Value &out) {
    const ExpNode *run[RunChunk];
    int codes[RunChunk], n = 0;
    for (; n < RunChunk && walk.depth + n <= kMaxDepth && (codes[n] = arithmeticCode(node)) >= 0;
         n++) {
        run[n] = node;
        node = child(node->left);
    }
    // The partial result stays in out, each step working on it in place.
    Walk at = {walk.ec, walk.current, walk.depth + n - 1};
    evalOperand(at, node, out);
    for (; n > 0; n--, at.depth--) {
        Value right;
        evalOperand(at, child(run[n - 1]->right), right);
        arithmetic(at, codes[n - 1], out, right);
    }
}

// date + n and date - n, with the unit in the node's flags (0 is a day).
Cold void dateArithmetic(const Walk &walk, const ExpNode *node, int op, Value &out) {
    Value date, count;
    if (!evalOperands(walk, node, date, count)) return;
    SvcNumNullToZero(count.number());
    DateStep(out.place(), date.number(), count.number(), op, node->flags);
}

// date - date in whole days; null when either date is.
Cold void dateDifference(const Walk &walk, const ExpNode *node, Value &out) {
    Value first, second;
    if (evalOperands(walk, node, first, second))
        DateDifference(out.place(), first.number(), second.number());
}

Cold void concatenation(const Walk &walk, const ExpNode *node, Value &out) {
    Value left, right;
    if (!evalOperands(walk, node, left, right)) return;
    const char *l = (const char *)left.data(), *r = (const char *)right.data();
    size_t a = SvcStrLen(l), b = SvcStrLen(r);
    char *result = (char *)SvcAlloc(a + b + 1);
    if (!result) return;
    memcpy(result, l, a);
    memcpy(result + a, r, b + 1);
    out.setBlock(result);
}

// The rule of an operator node by its kind and data type. A combination
// without a rule (%, arithmetic on texts and keywords, date minus text)
// evaluates nothing and gives no result.
void operatorValue(const Walk &walk, const ExpNode *node, Value &out) {
    int type = node->dataType;
    switch (node->kind) {
    case '+':
        if (type == ZEM_TYPE_NUMBER) arithmeticRun(walk, node, out);
        if (type == ZEM_TYPE_DATETIME) dateArithmetic(walk, node, '+', out);
        return;
    case '-':
        if (type == ZEM_TYPE_DATETIME) dateArithmetic(walk, node, '-', out);
        if (type != ZEM_TYPE_NUMBER) return;
        if (typeOf(node->left) == ZEM_TYPE_NUMBER)
            arithmeticRun(walk, node, out);
        else if (typeOf(node->left) == ZEM_TYPE_DATETIME &&
                 typeOf(node->right) == ZEM_TYPE_DATETIME)
            dateDifference(walk, node, out);
        return;
    case '*':
        if (type == ZEM_TYPE_NUMBER) arithmeticRun(walk, node, out);
        return;
    case '/':
        if (type == ZEM_TYPE_NUMBER) arithmeticRun(walk, node, out);
        return;
    case '|':
        if (type == ZEM_TYPE_STRING) concatenation(walk, node, out);
        return;
    default:
        return;
    }
}

// out is empty on entry and stays so for no result.
void evalAt(const Walk &outer, const ExpNode *node, Value &out) {
    if (!node || outer.depth >= kMaxDepth) return;
    Walk walk = {outer.ec, outer.current, outer.depth + 1};
    switch (node->kind) {
    case NodeNumber: numberLiteral(node, out); return;
    case NodeDate: dateLiteral(node, out); return;
    case NodeString: out.setBlock(stringLiteral(node)); return;
    case NodeInput: out.setBlock(inputValue(walk, node)); return;
    case NodeFunction: out.setBlock(functionValue(walk, node)); return;
    case NodeExpression: referredValue(walk, node, out); return;
    default:
        if (isOperatorKind(node->kind)) operatorValue(walk, node, out);
        return;
    }
}

// The root's value and its data type; no result when nothing can be
// evaluated.
void evaluateRoot(HEC ec, HEXP exp, int *dataType, Value &out) {
    if (!ec || !exp || !exp->root) return;
    *dataType = exp->root->dataType;
    Walk walk = {ec, exp, 0};
    evalAt(walk, exp->root, out);
}

int isValueType(int dataType) {
    return dataType == ZEM_TYPE_NUMBER || dataType == ZEM_TYPE_DATETIME;
}

}  // namespace

void *EvalNode(HEC ec, HEXP current, const ExpNode *node) {
    if (!ec) return 0;
    Walk walk = {ec, current, 0};
    Value value;
    evalAt(walk, node, value);
    return value.takeBlock();
}

extern "C" {

ZEMAPI int ZEMCALL ZEMEvaluateExpression(HEC ec, HEXP exp, int32_t bufferSize, void *buffer) {
    int dataType = -1;
    Value value;
    evaluateRoot(ec, exp, &dataType, value);
    if (!value.has() || !buffer) return 0;
    if (isValueType(dataType)) {
        value.copyOut(buffer);
        return 1;
    }
    if (dataType != ZEM_TYPE_STRING || bufferSize < 0) return 0;
    uint32_t needed = (uint32_t)SvcStrLen((const char *)value.data()) + 1;
    if (bufferSize == 0) {
        memcpy(buffer, &needed, sizeof needed);  // the host's buffer need not be aligned
        return 1;
    }
    memcpy(buffer, value.data(), needed < (uint32_t)bufferSize ? needed : (uint32_t)bufferSize);
    return 1;
}

ZEMAPI int ZEMCALL ZEMEvaluateExpressionExt(HEC ec, HEXP exp, uint32_t *length, void **buffer) {
    int dataType = -1;
    Value value;
    evaluateRoot(ec, exp, &dataType, value);
    if (!value.has() || !buffer) return 0;
    if (isValueType(dataType)) {
        if (!*buffer) return 0;
        value.copyOut(*buffer);
        return 1;
    }
    if (dataType != ZEM_TYPE_STRING) return 0;
    size_t n = SvcStrLen((const char *)value.data()) + 1;
    void *block = *buffer;
    if (!block)
        block = SvcAlloc(n + 1);
    else if (SvcSize(block) < n + 1)
        block = SvcRealloc(block, n + 1);
    if (!block) return 0;
    *buffer = block;
    if (length) *length = (uint32_t)(n & 0xFFFF);
    memcpy(block, value.data(), n);
    return 1;
}

}  // extern "C"
