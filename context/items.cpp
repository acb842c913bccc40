// Functions, input items and keywords: registration, lookup, deletion and
// enumeration. A store is a HandleArray of ExpItem pointers in registration
// order; an element may be null after a failed registration.
#include "context/items.h"

#include <string.h>

#include "context/nameindex.h"
#include "services/platform.h"

namespace {

// Walks a store from its first element; visit gives non-zero to stop.
// The index of the element it stopped at, or -1.
template <typename F>
int walkStore(HARRAY store, F visit) {
    if (!store) return -1;
    ExpItem **items = (ExpItem **)SvcArrayLock(store, 0);
    if (!items) return -1;
    int found = -1;
    unsigned count = SvcArrayCount(store);
    for (unsigned i = 0; i < count; i++) {
        if (items[i] && visit(items[i])) {
            found = (int)i;
            break;
        }
    }
    SvcArrayUnlock(store);
    return found;
}

ExpItem *itemAt(HARRAY store, int index) {
    ExpItem **items = (ExpItem **)SvcArrayLock(store, (unsigned)index);
    ExpItem *item = items ? *items : 0;
    SvcArrayUnlock(store);
    return item;
}

int exactName(const void *item, const char *name, const void *) {
    return lstrcmpA(((const ExpItem *)item)->name, name) == 0;
}

int caselessName(const void *item, const char *name, const void *) {
    return lstrcmpiA(((const ExpItem *)item)->name, name) == 0;
}

// A keyword's own case flag says which comparison it takes.
int keywordName(const void *item, const char *name, const void *) {
    const ExpItem *it = (const ExpItem *)item;
    return (it->optional ? lstrcmpA(it->name, name) : lstrcmpiA(it->name, name)) == 0;
}

ExpItem *lookupWith(const EC *ec, int kind, const char *name, NameTest test) {
    return (ExpItem *)nameFind((EC *)ec, kind, name, test, 0);
}

// The place of an element in a store, looked for from the end, or -1.
int placeOf(HARRAY store, const ExpItem *item) {
    ExpItem **items = (ExpItem **)SvcArrayLock(store, 0);
    int at = (int)SvcArrayCount(store) - 1;
    while (items && at >= 0 && items[at] != item) at--;
    SvcArrayUnlock(store);
    return items ? at : -1;
}

void freeItem(ExpItem *item) {
    SvcFree((void *)item->functionName);
    SvcFree(item);
}

}  // namespace

// A new zeroed element at the end of a store, made at need; its address
// stays valid until the store changes. 0 when memory ran out.
ExpItem **appendElement(HARRAY *store) {
    HARRAY grown = *store ? SvcArrayGrow(*store, -1) : SvcArrayCreate(sizeof(ExpItem *), 1);
    if (!grown) return 0;
    *store = grown;
    unsigned last = SvcArrayCount(grown) - 1;
    ExpItem **slot = (ExpItem **)SvcArrayLock(grown, last);
    SvcArrayUnlock(grown);
    return slot;
}

HARRAY *itemStoreOf(EC *ec, int kind) {
    switch (kind) {
    case ZEM_ITEM_FUNCTION: return &ec->functions;
    case ZEM_ITEM_INPUT: return &ec->inputItems;
    case ZEM_ITEM_KEYWORD: return &ec->keywords;
    default: return 0;
    }
}

size_t itemRecordSize(int kind, int paramCount) {
    if (kind != ZEM_ITEM_FUNCTION) return ZEM_EXPITEM_SIZE(0);
    return paramCount < 0 ? ZEM_EXPITEM_SIZE(1) : ZEM_EXPITEM_SIZE(paramCount);
}

void itemStoreRelease(HARRAY store) {
    if (!store) return;
    ExpItem **items = (ExpItem **)SvcArrayLock(store, 0);
    unsigned count = SvcArrayCount(store);
    for (unsigned i = 0; items && i < count; i++)
        if (items[i]) freeItem(items[i]);
    SvcArrayUnlock(store);
    SvcArrayDestroy(store);
}

// The evaluator looks an input item up at every reference: the walk and its
// comparison are compiled into this one function.
[[gnu::flatten]] ExpItem *itemLookup(const EC *ec, int kind, const char *name) {
    return lookupWith(ec, kind, name, exactName);
}

ExpItem *itemFind(HARRAY store, const char *name) {
    return (ExpItem *)nameWalk(store, name, exactName, 0);
}

int itemDelete(EC *ec, int kind, const char *name) {
    HARRAY store = nameStore(ec, kind);
    ExpItem *item = itemLookup(ec, kind, name);
    int at = item ? placeOf(store, item) : -1;
    if (at < 0) return 0;
    nameIndexRemoved(ec, kind, item, (unsigned)at);
    freeItem(item);
    SvcArrayRemove(store, (unsigned)at);
    return 1;
}

int itemIsAggregate(const EC *ec, int kind, const char *name) {
    ExpItem *item = itemLookup(ec, kind, name);
    // Only a function's record carries descriptors.
    if (!item || item->kind != ZEM_ITEM_FUNCTION) return 0;
    for (int i = 0; i < item->paramCount; i++)
        if (item->params[i].mode != 0) return 1;
    return 0;
}

int inputItemType(const EC *ec, const char *name) {
    ExpItem *item = itemLookup(ec, ZEM_ITEM_INPUT, name);
    return item ? item->dataType : -1;
}

int functionType(const EC *ec, const char *name) {
    ExpItem *item = itemLookup(ec, ZEM_ITEM_FUNCTION, name);
    return item ? item->dataType : -1;
}

int keywordType(const EC *ec, const char *name) {
    ExpItem *item = lookupWith(ec, ZEM_ITEM_KEYWORD, name, keywordName);
    return item ? item->dataType : -1;
}

int keywordSubclass(const EC *ec, const char *name) {
    ExpItem *item = lookupWith(ec, ZEM_ITEM_KEYWORD, name, caselessName);
    return item ? item->required : -1;
}

extern "C" {

ZEMAPI int ZEMCALL ZEMAddExpressionItem(HEC ec, const ExpItem *host) {
    if (!ec || !host) return 0;
    HARRAY *store = itemStoreOf(ec, host->kind);
    if (!store) return 0;
    ExpItem **slot = appendElement(store);
    if (!slot) return 0;
    size_t size = itemRecordSize(host->kind, host->paramCount);
    ExpItem *item = (ExpItem *)SvcAlloc(size);
    if (!item) return 0;  // the element stays, null
    *slot = item;
    memcpy(item, host, size);
    item->functionName = 0;
    if (host->functionName) {
        char *copy = SvcStrCopy(host->functionName);
        item->functionName = copy;
        if (ec->resolveCallback && !host->callback) item->callback = ec->resolveCallback(copy);
    }
    return 1;
}

ZEMAPI void ZEMCALL ZEMEnumExpItems(HEC ec, int kind, ZEMEnumItemCallback cb, intptr_t user) {
    if (!ec || !cb) return;
    HARRAY *store = itemStoreOf(ec, kind);
    if (!store) return;
    walkStore(*store, [&](ExpItem *it) {
        cb(ec, it->name, user);
        return 0;
    });
}

ZEMAPI int ZEMCALL ZEMGetExpressionVariable(HEC ec, ExpItem *out, const char *name) {
    if (!ec || !out || !name) return 0;
    ExpItem *item = itemLookup(ec, ZEM_ITEM_INPUT, name);
    if (!item) return 0;
    // Only the item's own bytes: the descriptor tail carries nothing for an
    // input item and the stored record does not have it.
    memcpy(out, item, ZEM_EXPITEM_SIZE(0));
    memset(out->params, 0, sizeof(out->params));
    return 1;
}

#ifdef _WIN32
// The host's combo box window gets one CB_ADDSTRING a name.
ZEMAPI int ZEMCALL ZEMLoadComboBox(HEC ec, int kind, HZEMWND combo) {
    if (!ec || !combo) return 0;
    auto add = [combo](const char *name) {
        return (int)SendMessageA((HWND)combo, CB_ADDSTRING, 0, (LPARAM)name);
    };
#else
ZEMAPI int ZEMCALL ZEMLoadComboBox(HEC ec, int kind, ZEMComboList *combo) {
    if (!ec || !combo || !combo->addString) return 0;
    auto add = [combo](const char *name) { return combo->addString(combo, name); };
#endif
    HARRAY *store = itemStoreOf(ec, kind);
    if (!store) return 0;
    int added = 0;
    walkStore(*store, [&](ExpItem *it) {
        if (add(it->name) >= 0) added++;
        return 0;
    });
    return added;
}

ZEMAPI int ZEMCALL ZEMDelExpItemNoCheck(HEC ec, int kind, const char *name) {
    if (!ec || !name) return 0;
    HARRAY *store = itemStoreOf(ec, kind);
    if (!store || !*store) return 0;
    return itemDelete(ec, kind, name);
}

ZEMAPI int ZEMCALL ZEMDeleteAllECVars(HEC ec) {
    if (!ec || !ec->inputItems) return 0;
    char name[sizeof(((ExpItem *)0)->name)];
    for (int i = (int)SvcArrayCount(ec->inputItems) - 1; i >= 0; i--) {
        ExpItem *item = itemAt(ec->inputItems, i);
        if (!item) {
            nameIndexRemoved(ec, ZEM_ITEM_INPUT, 0, (unsigned)i);
            SvcArrayRemove(ec->inputItems, (unsigned)i);
            continue;
        }
        memcpy(name, item->name, sizeof(name));
        name[sizeof(name) - 1] = 0;
        if (!ZEMDelExpItemNoCheck(ec, ZEM_ITEM_INPUT, name)) return 0;
    }
    return 1;
}

ZEMAPI int ZEMCALL ZEMIsItemAggregate(HEC ec, int kind, const char *name) {
    if (!ec || !name) return 0;
    HARRAY *store = itemStoreOf(ec, kind);
    if (!store || !*store) return 0;
    return itemIsAggregate(ec, kind, name);
}

ZEMAPI int ZEMCALL ZEMInputNameIsKeyword(char *out, const char *name) {
    static const char *const kUnits[] = {"DAY", "MONTH", "YEAR", "HOUR", "MINUTE", "SECOND"};
    char word[65];
    if (!out) return 0;
    if (!name || !*name) {
        out[0] = 0;
        return 0;
    }
    size_t n = SvcStrLen(name);
    if (n > 64) n = 64;
    memcpy(word, name, n);
    word[n] = 0;
    CharUpperBuffA(word, (DWORD)n);
    if (word[n - 1] == 'S') word[n - 1] = 0;
    for (const char *unit : kUnits) {
        if (strcmp(word, unit) == 0) {
            out[0] = '_';
            memcpy(out + 1, name, n);
            out[n + 1] = 0;
            return 1;
        }
    }
    memcpy(out, name, n);
    out[n] = 0;
    return 0;
}

}  // extern "C"
