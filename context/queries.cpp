// The questions a host asks before it deletes or changes something: is an
// input item used in more than a bare reference, is a function named in a
// text, does a call take an input item as argument, does an expression
// aggregate. The walks follow named formulas (usageWalk).
#include <string.h>

#include "context/expressions.h"
#include "context/items.h"
#include "language/tree.h"
#include "services/platform.h"

namespace {

bool namedAs(const ExpNode *node, const char *name) {
    return lstrcmpA((const char *)node->left, name) == 0;
}

struct CallWithInput {
    const char *function;
    const char *input;
};

// At a call of the function: a direct argument that is the input item.
int callWithInputTest(HEC, const ExpNode *node, void *user) {
    const CallWithInput *w = (const CallWithInput *)user;
    if (node->kind != NodeFunction || !nodeList(node) || !namedAs(node, w->function))
        return WalkOn;
    HARRAY list = nodeList(node);
    ExpNode **args = (ExpNode **)SvcArrayLock(list, 0);
    unsigned count = SvcArrayCount(list);
    int found = 0;
    for (unsigned i = 0; args && i < count && !found; i++)
        found = args[i] && args[i]->kind == NodeInput && namedAs(args[i], w->input);
    SvcArrayUnlock(list);
    return found ? WalkFound : WalkOn;
}

int aggregateTest(HEC ec, const ExpNode *node, void *) {
    if (node->kind != NodeFunction) return WalkOn;
    return itemIsAggregate(ec, ZEM_ITEM_FUNCTION, (const char *)node->left) ? WalkFound : WalkOn;
}

}  // namespace

extern "C" {

ZEMAPI int ZEMCALL ZEMIsItemUsedInComplex(HEC ec, const char *inputName) {
    if (!inputName) return 0;
    int32_t count = ZEMGetExpressionCount(ec);
    for (int32_t i = 0; i < count; i++) {
        HEXP exp = ZEMHEXPFromOrdinal(ec, i);
        if (ZEMIsItemUsed(ec, exp, ZEM_ITEM_INPUT, inputName) && !ZEMIsExpressionSimple(ec, exp) &&
            !ZEMIsExpressionSimpleInput(ec, exp))
            return 1;
    }
    return 0;
}

// A text test: a longer name that holds this one counts too. No function
// has an empty name, so an empty name is not looked for.
ZEMAPI int ZEMCALL ZEMIsFunctionUsed(HEC ec, HEXP exp, const char *functionName) {
    if (!exp || !functionName || !*functionName || ZEMGetExpressionOrdinal(ec, exp) < 0) return 0;
    return exp->text && strstr(exp->text, functionName) ? 1 : 0;
}

ZEMAPI int ZEMCALL ZEMIsFunctionVariableUsed(HEC ec, HEXP exp, const char *functionName,
                                             const char *inputName) {
    if (!ec || !exp || !functionName || !inputName) return 0;
    CallWithInput wanted = {functionName, inputName};
    return usageWalk(ec, exp->root, callWithInputTest, &wanted);
}

ZEMAPI int ZEMCALL ZEMIsAggregateUsed(HEC ec, HEXP exp) {
    if (!ec || !exp) return 0;
    return usageWalk(ec, exp->root, aggregateTest, 0);
}

}  // extern "C"
