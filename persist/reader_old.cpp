// What the blocks of versions 0, 1 and 2 need beyond the current reader.
// Version 0 holds a section of function records that is read over, and its
// names may collide with the date unit words, which have since become part
// of the language: such names get a "_" in front, in items, in expression
// names and in the texts. Versions 0 and 1 know no repair and no forward
// reference: a text that does not parse ends the load.
#include <string.h>

#include "context/items.h"
#include "context/rename.h"
#include "errors/errors.h"
#include "persist/reader.h"

enum {
    OLD_FUNCTION_HEAD = 54,
    OLD_FUNCTION_COUNT = 52,  // the signed parameter count in the head
    OLD_PARAM_SIZE = 6,
};

void skipOldFunctions(Load *L) {
    int32_t count = 0;
    if (!readHeader(L, BLOCK_TAG_OLD_EXPRESSIONS, &count)) return;
    for (int32_t i = 0; i < count && L->ok; i++) {
        if (L->size - L->pos < OLD_FUNCTION_HEAD) {
            L->ok = false;
            return;
        }
        int32_t params = (int16_t)blockGet16(L->block + L->pos + OLD_FUNCTION_COUNT);
        if (params < 0) params = 0;
        if (!advance(L, OLD_FUNCTION_HEAD + OLD_PARAM_SIZE * params, true)) return;
        int32_t length = textLengthAt(L, L->pos);
        if (length < 0) L->ok = false;
        else advance(L, length + 1, true);
    }
}

// Old items carry no subclass of their own (or one of another meaning):
// they all take the one the host's ReportAverage asks of its first
// parameter. Without that function, or without a descriptor, they keep what
// they have.
void stampSubclass(Load *L) {
    ExpItem *average = itemLookup(L->ec, ZEM_ITEM_FUNCTION, "ReportAverage");
    HARRAY store = L->ec->inputItems;
    if (!average || average->paramCount == 0 || !store) return;
    ExpItem **items = (ExpItem **)SvcArrayLock(store, 0);
    for (unsigned i = 0; items && i < SvcArrayCount(store); i++)
        if (items[i]) items[i]->required = average->params[0].subclass;
    SvcArrayUnlock(store);
}

void fixItemName(Load *L, char *field, const char *stored) {
    if (ZEMInputNameIsKeyword(field, stored) == 1) L->clashSeen = true;
}

namespace {

// Once a name has clashed, every later text has its clashing words
// prefixed; a word grows by one byte and is at least three bytes long, so
// twice the text is room enough.
bool parseOldRecord(Load *L, const char *text, const char *name) {
    char fixedName[BLOCK_ITEM_NAME_SIZE + 1];
    char *rewritten = 0;
    ExpError error = {0, 0, 0};
    uint16_t type = 0;
    HEXP exp = 0;
    if (L->version == 0) {
        fixItemName(L, fixedName, name);
        if (L->clashSeen) {
            rewritten = (char *)SvcAlloc(2 * strlen(text) + 2);
            if (rewritten) rewriteKeywordNames(rewritten, text);
            name = fixedName;
        }
    }
    if (L->clashSeen && !rewritten) error.code = ERR_MEMORY;
    else if (!nameTaken(L->ec, name, &error))
        exp = ZEMParseString(L->ec, rewritten ? rewritten : text, name, &error, &type);
    SvcFree(rewritten);
    if (!exp && L->errorCallback) L->errorCallback(L->ec, text, &error);
    return exp != 0;
}

}  // namespace

void readOldExpressions(Load *L) {
    int32_t count = 0;
    readHeader(L, BLOCK_TAG_EXPRESSIONS, &count);
    if (!L->ok || count <= 0) return;
    if (!recordsInside(L, count)) {
        L->ok = false;
        return;
    }
    const char *record = (const char *)L->block + L->pos;
    for (int32_t i = 0; i < count && L->ok; i++) {
        const char *text = record;
        const char *name = nameBehind(text);
        record = nameBehind(name);
        L->ok = parseOldRecord(L, text, name);
    }
}
