// The deep copy of a context. The copy is built through the public
// operations, so that its stores, trees and widths come out fresh.
#include "context/ec.h"
#include "context/expressions.h"

// Adds every item of a source store to the copy. The records carry their
// callbacks, so the resolve callback is not asked again for them.
static void copyItems(HEC copy, HARRAY store) {
    if (!store) return;
    ExpItem **items = (ExpItem **)SvcArrayLock(store, 0);
    unsigned count = SvcArrayCount(store);
    for (unsigned i = 0; items && i < count; i++)
        if (items[i]) ZEMAddExpressionItem(copy, items[i]);
    SvcArrayUnlock(store);
}

// Parses every stored text afresh in the copy, in ordinal order. One that
// fails (for instance by naming a later expression) is left out.
static void copyExpressions(HEC copy, HEC source) {
    int32_t count = ZEMGetExpressionCount(source);
    for (int32_t i = 0; i < count; i++) {
        HEXP exp = ZEMHEXPFromOrdinal(source, i);
        if (!exp || !exp->text) continue;
        ExpError report = {};
        uint16_t resultType = 0;
        ZEMParseString(copy, exp->text, exp->name ? exp->name : "", &report, &resultType);
    }
}

static int anyDateConvert(const EC *ec) {
    return ec->dateConvert[0] || ec->dateConvert[1] || ec->dateConvert[2];
}

extern "C" {

// Not copied: the operator table, the help path and context, and the name
// counters, which start again at 1.
ZEMAPI HEC ZEMCALL ZEMCopyEC(HEC source) {
    if (!source) return 0;
    HEC copy = ZEMCreateEC(source->ownerWindow, source->resolveCallback, source->renameCallback,
                           source->flags);
    if (!copy) return 0;
    copy->userLong = source->userLong;
    copy->delPermissionCallback = source->delPermissionCallback;
    copy->notifyCallback = source->notifyCallback;
    copy->listValuesCallback = source->listValuesCallback;
    if (anyDateConvert(source))
        ZEMSetDateConvert(copy, source->dateConvert[0], source->dateConvert[1],
                          source->dateConvert[2], source->dateConvertFlags);
    if (source->datePicture[0])
        ZEMSetDatePicture(copy, source->datePicture[0], source->datePicture[1],
                          source->datePicture[2]);
    copyItems(copy, source->functions);
    copyItems(copy, source->inputItems);
    copyItems(copy, source->keywords);
    copyExpressions(copy, source);
    return copy;
}

}  // extern "C"
