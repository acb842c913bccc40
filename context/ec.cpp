// Creating and destroying contexts, their callbacks and the operator rule.
#include "context/ec.h"

#include "context/expressions.h"
#include "context/items.h"
#include "context/nameindex.h"

extern "C" {

ZEMAPI HEC ZEMCALL ZEMCreateEC(HZEMWND owner, ZEMResolveCallback resolve, ZEMRenameCallback rename,
                               uint16_t flags) {
    EC *ec = (EC *)SvcAlloc(sizeof(EC));
    if (!ec) return 0;
    ec->ownerWindow = owner;
    ec->resolveCallback = resolve;
    ec->renameCallback = rename;
    ec->flags = flags;
    ec->nextFormulaNumber = ec->nextRangeNumber = ec->nextSetNumber = 1;
    ec->concatAllowed = (flags & ECFlagNoConcat) ? 0 : 1;
    return ec;
}

ZEMAPI int ZEMCALL ZEMDestroyEC(HEC ec) {
    if (!ec) return 1;
    releaseExpressions(ec);
    itemStoreRelease(ec->inputItems);
    itemStoreRelease(ec->functions);
    itemStoreRelease(ec->keywords);
    nameIndexRelease(ec);
    // The texts of the settings are the context's own, so they go with it.
    for (int i = 0; i < 3; i++) {
        SvcFree(ec->datePicture[i]);
        SvcFree(ec->dateConvert[i]);
    }
    for (OperatorGroup &g : ec->operators)
        for (char *name : g.names) SvcFree(name);
    SvcFree(ec);
    return 1;
}

ZEMAPI ZEMListValuesCallback ZEMCALL ZEMSetListValuesCallback(HEC ec, ZEMListValuesCallback cb) {
    if (ec) ec->listValuesCallback = cb;
    return cb;
}

ZEMAPI ZEMDelPermissionCallback ZEMCALL ZEMSetDelPermissionCallback(HEC ec,
                                                                    ZEMDelPermissionCallback cb) {
    if (ec) ec->delPermissionCallback = cb;
    return cb;
}

ZEMAPI ZEMNotifyCallback ZEMCALL ZEMSetNotifyCallback(HEC ec, ZEMNotifyCallback cb) {
    if (ec) ec->notifyCallback = cb;
    return cb;
}

ZEMAPI intptr_t ZEMCALL ZEMSetUserLong(HEC ec, intptr_t value) {
    if (!ec) return 0;
    intptr_t former = ec->userLong;
    ec->userLong = value;
    return former;
}

ZEMAPI intptr_t ZEMCALL ZEMGetUserLong(HEC ec) { return ec ? ec->userLong : 0; }

}  // extern "C"

int operatorCode(int op) {
    switch (op) {
    case '+': return OP_PLUS;
    case '-': return OP_MINUS;
    case '/': return OP_DIVIDE;
    case '*': return OP_MULTIPLY;
    case '|': return OP_CONCAT;
    default: return -1;
    }
}

// A filled callback slot of an operator for a data type.
static int hasCallback(const EC *ec, int op, int slot) {
    int code = operatorCode(op);
    return code >= 0 && ec->operators[code].callbacks[slot] != 0;
}

int operatorAllowed(const EC *ec, int op, int dataType) {
    switch (dataType) {
    case ZEM_TYPE_NUMBER:
        if (op == '|') return hasCallback(ec, op, 0);
        if (op == '%') return (ec->flags & ECFlagModulo) != 0;
        return 1;
    case ZEM_TYPE_DATETIME:
        return (op == '+' || op == '-') && !(ec->flags & ECFlagNoDateMath);
    case ZEM_TYPE_STRING:
        switch (op) {
        case '%': return 0;
        case '*': case '-': case '/': return hasCallback(ec, op, 2);
        case '+': return hasCallback(ec, op, 2) || (ec->flags & ECFlagStringPlus) != 0;
        case '|': return !(ec->flags & ECFlagNoConcat);
        default: return 1;
        }
    case ZEM_TYPE_KEYWORD:
        if (op == '%') return 0;
        if (operatorCode(op) >= 0) return hasCallback(ec, op, 3);
        return 1;
    default:
        // Types from 4 on have no slot; Any is resolved before this rule.
        return 0;
    }
}
