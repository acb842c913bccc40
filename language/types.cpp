// Type rules of operators, calls, Ranges and Sets. Every check runs as its
// node is built, so a stored expression has one fixed result type.
#include "language/types.h"

#include "context/expressions.h"
#include "context/items.h"
#include "errors/errors.h"
#include "language/parsestate.h"

namespace {

// Quantifier codes as the tokeniser leaves them.
enum { QuantDistinct = 1, QuantAll = 2 };
enum { ModeAggregate = 1 };

ExpNode *listAt(HARRAY list, unsigned index) {
    ExpNode **slot = (ExpNode **)SvcArrayLock(list, index);
    ExpNode *node = slot ? *slot : 0;
    SvcArrayUnlock(list);
    return node;
}

void reportAt(ExpError *report, unsigned code, const ExpNode *node) {
    SetError(report, code, node->start, node->length);
}

// A code with the span left to the grammar rule.
void reportNoSpan(ExpError *report, unsigned code) { SetError(report, code, 0, 0); }

// ---- Operators

unsigned operatorRefusal(int leftType) {
    switch (leftType) {
    case ZEM_TYPE_NUMBER: return ERR_OPERATORNUM;
    case ZEM_TYPE_DATETIME: return ERR_OPERATORDATE;
    case ZEM_TYPE_STRING: return ERR_OPERATORSTR;
    default: return ERR_OPERATORKEYWORD;
    }
}

// The result of a DateTime left operand under + or -; sets *unitOk.
// -1 with the report made when the right operand does not fit.
int dateOperand(int op, const ExpNode *right, int *unitOk) {
    int rightType = right->dataType;
    if (rightType == ZEM_TYPE_NUMBER) {
        *unitOk = 1;
        return ZEM_TYPE_DATETIME;
    }
    if (op == '+') {
        reportAt(&gParse.error, ERR_TYPENUM, right);
        return -1;
    }
    if (rightType == ZEM_TYPE_DATETIME) return ZEM_TYPE_NUMBER;
    if (rightType == ZEM_TYPE_STRING && (gParse.ec->flags & ECFlagDateMinusString))
        return ZEM_TYPE_NUMBER;
    reportAt(&gParse.error, ERR_TYPENUMDATE, right);
    return -1;
}

// The result of an allowed operator on a left operand that is not a
// DateTime: the operands must agree. A keyword beside a value of another
// type is a wrong keyword.
int sameTypeOperand(int leftType, const ExpNode *right) {
    if (right->dataType == leftType) return leftType;
    unsigned code = leftType == ZEM_TYPE_NUMBER ? ERR_TYPENUM
                    : leftType == ZEM_TYPE_STRING ? ERR_TYPESTR
                                                  : ERR_KEYWORD;
    reportAt(&gParse.error, code, right);
    return -1;
}

int operatorType(int op, const ExpNode *left, const ExpNode *right, int unit) {
    int leftType = left->dataType;
    if (!operatorAllowed(gParse.ec, op, leftType)) {
        reportNoSpan(&gParse.error, operatorRefusal(leftType));
        return -1;
    }
    int unitOk = 0;
    int type = leftType == ZEM_TYPE_DATETIME ? dateOperand(op, right, &unitOk)
                                             : sameTypeOperand(leftType, right);
    if (type != -1 && unit && !unitOk) {
        reportNoSpan(&gParse.error, ERR_KEYWORD);
        return -1;
    }
    return type;
}

// ---- Calls

// The descriptor of parameter d. One past the descriptors the function has
// reads as an Any parameter of mode 0, so that a record with as many
// required parameters as parameters still takes more arguments.
ExpParam parameter(const ExpItem *item, int d) {
    if (d >= 0 && d < item->paramCount) return item->params[d];
    ExpParam any = {0, ZEM_TYPE_ANY, 0};
    return any;
}

// The type that argument i of n must have; *d gets its descriptor's index.
int expectedType(const ExpItem *item, HARRAY args, int i, int n, int *d) {
    int P = item->paramCount, R = item->required;
    if (R == 0 || i < R) {
        *d = i;
        return parameter(item, i).type;
    }
    if (i == R) {
        *d = i;
        return P - R > 1 ? listAt(args, R - 1)->dataType : parameter(item, i).type;
    }
    if (R >= P - 1) {
        // One repeating parameter: an Any makes every later argument match
        // the first of the group.
        *d = R;
        int t = parameter(item, R).type;
        return t == ZEM_TYPE_ANY ? listAt(args, R)->dataType : t;
    }
    // A group of P - R parameters repeats from R on.
    int q = (i - R) % (P - R);
    if (q == 0 && i == n - 1) q = 1;
    *d = R + q;
    int t = parameter(item, *d).type;
    if (t != ZEM_TYPE_ANY) return t;
    if (q == 0) return listAt(args, R - 1)->dataType;
    if (i >= P) return listAt(args, *d)->dataType;
    return ZEM_TYPE_ANY;
}

unsigned parameterRefusal(int expected) {
    switch (expected) {
    case ZEM_TYPE_NUMBER: return ERR_PARMNUM;
    case ZEM_TYPE_DATETIME: return ERR_PARMDATE;
    case ZEM_TYPE_STRING: return ERR_PARMSTR;
    default: return ERR_PARMKEYWORD;
    }
}

// The aggregate test of one argument; 1 when it passes.
int aggregateFits(HEC ec, const ExpItem *item, ExpParam param, const ExpNode *arg, int quantifier,
                  ExpError *report) {
    if (param.mode != ModeAggregate) return 1;
    if (arg->kind != NodeInput) {
        int anyExpression = (item->flags & ZEM_FN_AGG_ANY) ||
                            ((item->flags & ZEM_FN_AGG_NODISTINCT) && quantifier != QuantDistinct);
        if (anyExpression) return 1;
        reportAt(report, ERR_PARM, arg);
        return 0;
    }
    if (param.subclass == 0) return 1;
    // A keyword is not among the input items and passes.
    const ExpItem *input = itemLookup(ec, ZEM_ITEM_INPUT, (const char *)arg->left);
    if (input && input->required != param.subclass) {
        reportAt(report, ERR_SUBCLASS, arg);
        return 0;
    }
    return 1;
}

int qualifierFits(const ExpItem *item, ExpError *report, int form, int quantifier) {
    uint16_t flags = item->flags;
    if (form == FormQuantifier && !(flags & (ZEM_FN_QUANTIFIER | ZEM_FN_QUANTIFIER2 | ZEM_FN_DISTINCT))) {
        reportNoSpan(report, ERR_KEYWORD);
        return 0;
    }
    if ((flags & ZEM_FN_DISTINCT) &&
        (form == FormPlain || (form == FormQuantifier && quantifier == QuantAll))) {
        reportNoSpan(report, ERR_MISKEYWORD);
        return 0;
    }
    return 1;
}

// A call without an argument list.
int noArgumentsFit(const ExpItem *item, ExpError *report, int form) {
    if (item->paramCount <= 0) {
        if (form != FormStar) return 1;
        reportNoSpan(report, ERR_SYNTAX);
        return 0;
    }
    if (form == FormStar) {
        if (item->params[0].type == ZEM_TYPE_ANY_STAR) return 1;
        reportNoSpan(report, ERR_SYNTAX);
        return 0;
    }
    if (item->required == 0 && item->optional != 0) return 1;
    reportNoSpan(report, ERR_NUMPARMSLO);
    return 0;
}

// The type of a call of a stored expression; -1 with the report made.
int expressionCallType(ExpNode *node, HEXP exp, HARRAY args, int form) {
    int rootKind = exp->root ? exp->root->kind : NodeNumber;
    if (rootKind == NodeSet || rootKind == NodeRange) {
        reportNoSpan(&gParse.error, ERR_IMBEDDEDRANGE);
        return -1;
    }
    node->kind = NodeExpression;
    if (args || form != FormPlain) {
        reportNoSpan(&gParse.error, ERR_EXPPARMS);
        return -1;
    }
    return exp->resultType;
}

// The type of a call of a function; -1 with the report made.
int functionCallType(int type, HARRAY args, const char *name, int form) {
    if (!CheckArguments(gParse.ec, args, name, &gParse.error, form, gParse.quantifier)) return -1;
    if (type != ZEM_TYPE_ANY) return type;
    type = AnyResultType(gParse.ec, args, name);
    if (type != -1) return type;
    // No argument gives the type, or the keyword that should give it has
    // no subclass to give.
    if (args)
        reportAt(&gParse.error, ERR_KEYWORD, listAt(args, 0));
    else
        reportNoSpan(&gParse.error, ERR_NUMPARMSLO);
    return -1;
}

}  // namespace

ExpNode *BuildOperator(int op, ExpNode *left, ExpNode *right) {
    int unit = gParse.unit;
    gParse.unit = 0;
    ExpNode *node = NewNode();
    if (!node) {
        SetError(&gParse.error, ERR_MEMORY, 0, 0);
        return 0;
    }
    node->kind = op;
    node->left = left;
    node->right = right;
    node->flags = (uint16_t)unit;
    node->dataType = (int16_t)operatorType(op, left, right, unit);
    return node;
}

ExpNode *BuildCall(char *name, HARRAY args, int form) {
    gParse.unit = 0;
    ExpNode *node = NewNode();
    if (!node) {
        SetError(&gParse.error, ERR_MEMORY, 0, 0);
        return 0;
    }
    node->kind = NodeFunction;
    node->left = name;
    node->right = (void *)args;
    node->flags = (uint16_t)form;
    int type = functionType(gParse.ec, name);
    if (type != -1) {
        type = functionCallType(type, args, name, form);
    } else {
        HEXP exp = ZEMHEXPFromName(gParse.ec, name);
        if (exp)
            type = expressionCallType(node, exp, args, form);
        else
            reportNoSpan(&gParse.error, ERR_FUNC);
    }
    node->dataType = (int16_t)type;
    return node;
}

ExpNode *BuildRange(HEC ec, ExpNode *left, ExpNode *right, ExpError *report) {
    if (!(ec->flags & ECFlagRangesAndSets)) {
        SetError(report, ERR_SYNTAX, 0, 0);
        return 0;
    }
    if (left->dataType != right->dataType) {
        reportAt(report, ERR_BETWEEN, right);
        return 0;
    }
    ExpNode *node = NewNode();
    if (!node) return 0;
    node->kind = NodeRange;
    node->dataType = left->dataType;
    node->left = left;
    node->right = right;
    return node;
}

int CheckSetMembers(HEC ec, HARRAY list, ExpError *report) {
    if (!(ec->flags & ECFlagRangesAndSets)) {
        SetError(report, ERR_SYNTAX, 0, 0);
        return -1;
    }
    const ExpNode *first = listAt(list, 0);
    int type = first->dataType;
    if (type >= 255) {
        reportAt(report, ERR_KEYWORD, first);
        return -1;
    }
    unsigned count = SvcArrayCount(list);
    for (unsigned i = 1; i < count; i++) {
        const ExpNode *member = listAt(list, i);
        if (member->dataType == type) continue;
        reportAt(report, member->dataType < 255 ? ERR_RANGETYPE : ERR_KEYWORD, member);
        return -1;
    }
    return type;
}

int CheckArguments(HEC ec, HARRAY args, const char *name, ExpError *report, int form,
                   int quantifier) {
    const ExpItem *item = itemLookup(ec, ZEM_ITEM_FUNCTION, name);
    if (!item) return 0;
    if (!qualifierFits(item, report, form, quantifier)) return 0;
    if (!args) return noArgumentsFit(item, report, form);
    int n = (int)SvcArrayCount(args);
    int rule = ArgumentCountRule(n, item);
    if (rule != 0) {
        reportNoSpan(report, rule < 0 ? ERR_NUMPARMSLO : ERR_NUMPARMSHI);
        return 0;
    }
    for (int i = 0; i < n; i++) {
        int d = 0;
        int expected = expectedType(item, args, i, n, &d);
        const ExpNode *arg = listAt(args, (unsigned)i);
        if (arg->dataType != expected && expected != ZEM_TYPE_ANY && expected != ZEM_TYPE_ANY_STAR) {
            reportAt(report, parameterRefusal(expected), arg);
            return 0;
        }
        if (!aggregateFits(ec, item, parameter(item, d), arg, quantifier, report)) return 0;
    }
    return 1;
}

int ArgumentCountRule(int count, const ExpItem *item) {
    int P = item->paramCount, R = item->required, Q = item->optional;
    if (count == P) return 0;
    if (count < P) {
        if (R == 0 || count < R || Q == 0) return -1;
    } else {
        if (R == 0) return 1;
        if (Q == 0) return 0;
    }
    return count > Q + R ? 1 : 0;
}

int AnyResultType(HEC ec, HARRAY args, const char *name) {
    if (!args || functionType(ec, name) == -1) return -1;
    const ExpNode *first = listAt(args, 0);
    if (first->dataType > 255) return keywordSubclass(ec, (const char *)first->left);
    return listAt(args, SvcArrayCount(args) - 1)->dataType;
}
