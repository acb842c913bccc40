// The context block reader: a fresh context filled from a block (layout in
// persist/blockformat.h; the older versions' differences in
// persist/reader_old.cpp). Every expression is parsed again from its text;
// one that names an expression stored later waits on a list for a later
// pass, and one that no longer parses goes to the end user for repair.
// What was read before a failure stays in the context.
#include <string.h>

#include "builder/internal.h"
#include "context/items.h"
#include "errors/errors.h"
#include "context/threadblock.h"
#include "persist/reader.h"

namespace {

// An expression to parse again: its text with the name behind the text's
// terminator, as a record of the block has them.
struct PostponedEntry {
    char *text;
    int32_t slot;    // the record's index in the expression section
    uint32_t owned;  // the text is an allocation of its own, not the block
};

void report(Load *L, const char *text, const ExpError *error) {
    if (L->errorCallback) L->errorCallback(L->ec, text, error);
    else ZEMErrorDisplay(L->ec->ownerWindow, text, error);
}

// ---- Operator names and input items.

// The twenty names; 1 when the block ends behind them (in version 0, whose
// first name's terminator is the block's first byte, only behind a name
// that is not empty).
bool readNames(Load *L) {
    for (int i = 0; i < BLOCK_OPERATOR_NAMES && L->ok; i++) {
        int32_t length = textLengthAt(L, L->pos);
        if (length < 0) {
            L->ok = false;
            break;
        }
        if (length > 0) {
            OperatorGroup &group = L->ec->operators[kBlockGroupCode[i / BLOCK_OPERATOR_SLOTS]];
            int slot = i % BLOCK_OPERATOR_SLOTS;
            char *copy = SvcStrCopy((const char *)L->block + L->pos);
            SvcFree(group.names[slot]);
            group.names[slot] = copy;
            group.callbacks[slot] = 0;
            if (copy && L->ec->resolveCallback)
                group.callbacks[slot] = (ZEMOperatorCallback)L->ec->resolveCallback(copy);
            if (!copy || (L->ec->resolveCallback && !group.callbacks[slot])) {
                SvcFree(copy);
                group.names[slot] = 0;
                L->ok = false;
            }
        }
        bool last = i == BLOCK_OPERATOR_NAMES - 1 && (L->version > 0 || length > 0);
        if (!advance(L, length + 1, last)) break;
    }
    return L->ok && L->pos == L->size;
}

}  // namespace

bool readHeader(Load *L, unsigned tag, int32_t *count) {
    if (!L->ok || wordAt(L) != tag) return false;
    if (!advance(L, 2, false)) return true;
    *count = (int16_t)wordAt(L);
    advance(L, 2, false);
    return true;
}

namespace {

// Where the fields of an input item's head lie in a block of each version;
// -1 for a field the version does not have, which stays 0.
struct ItemHead {
    int32_t size, nameSize, params, subclass, optional, flags;
};
constexpr ItemHead kItemHeads[] = {
    {54, 40, 52, -1, -1, -1},  // version 0
    {60, 40, 52, 54, 56, 58},  // version 1
    {BLOCK_ITEM_HEAD, BLOCK_ITEM_NAME_SIZE, BLOCK_ITEM_PARAMS, BLOCK_ITEM_SUBCLASS,
     BLOCK_ITEM_OPTIONAL, BLOCK_ITEM_FLAGS},  // versions 2 and 3
};

const ItemHead &itemHead(const Load *L) { return kItemHeads[L->version < 2 ? L->version : 2]; }

uint16_t fieldAt(const unsigned char *head, int32_t offset) {
    return offset < 0 ? 0 : (uint16_t)blockGet16(head + offset);
}

// An item's fields out of its head. The stored code addresses are stale:
// the callback comes from resolveCallback or stays 0.
void copyHead(Load *L, ExpItem *item, const unsigned char *head) {
    const ItemHead &h = itemHead(L);
    item->kind = (int16_t)fieldAt(head, BLOCK_ITEM_KIND);
    item->dataType = (int16_t)fieldAt(head, BLOCK_ITEM_TYPE);
    char name[BLOCK_ITEM_NAME_SIZE];
    memcpy(name, head + BLOCK_ITEM_NAME, (size_t)h.nameSize);
    name[h.nameSize - 1] = 0;
    if (L->version == 0) fixItemName(L, item->name, name);
    else memcpy(item->name, name, sizeof name);
    item->paramCount = (int16_t)fieldAt(head, h.params);
    item->required = fieldAt(head, h.subclass);
    item->optional = fieldAt(head, h.optional);
    item->flags = fieldAt(head, h.flags);
}

// One input item: its head, widened when the block is older, then its
// function name.
void readItem(Load *L) {
    ExpItem **slot = appendElement(&L->ec->inputItems);
    if (!slot) {
        L->ok = false;
        return;
    }
    const unsigned char *head = L->block + L->pos;
    ExpItem *item = (ExpItem *)SvcAlloc(itemRecordSize(ZEM_ITEM_INPUT, 0));
    *slot = item;
    if (!item || !advance(L, itemHead(L).size, false)) {
        L->ok = false;
        return;
    }
    copyHead(L, item, head);
    int32_t length = textLengthAt(L, L->pos);
    if (length < 0) {
        L->ok = false;
        return;
    }
    const char *function = (const char *)L->block + L->pos;
    if (!advance(L, length + 1, true)) return;
    item->functionName = SvcStrCopy(function);
    if (!item->functionName) {
        L->ok = false;
        return;
    }
    if (L->ec->resolveCallback) {
        item->callback = L->ec->resolveCallback(item->functionName);
        if (!item->callback) L->ok = false;
    }
}

// ---- Expressions.

bool postpone(Load *L, char *text, int32_t slot, uint32_t owned) {
    HARRAY grown = L->postponed ? SvcArrayGrow(L->postponed, -1)
                                : SvcArrayCreate(sizeof(PostponedEntry), 1);
    if (!grown) return false;
    L->postponed = grown;
    PostponedEntry *e = (PostponedEntry *)SvcArrayLock(grown, SvcArrayCount(grown) - 1);
    *e = PostponedEntry{text, slot, owned};
    SvcArrayUnlock(grown);
    return true;
}

void freeEntries(HARRAY list) {
    for (unsigned i = 0; i < SvcArrayCount(list); i++) {
        PostponedEntry *e = (PostponedEntry *)SvcArrayLock(list, i);
        if (e && e->owned) SvcFree(e->text);
        SvcArrayUnlock(list);
    }
    SvcArrayDestroy(list);
}

// The parent of the builder: the owner window, or the first of its owners
// that is visible and enabled.
HWND repairParent(HEC ec) {
    HWND w = (HWND)ec->ownerWindow;
    for (int hops = 0; w && !(Ui()->isVisible(w) && Ui()->isEnabled(w)) && hops < 64; hops++) {
        HWND owner = Ui()->owner(w);
        if (!owner) break;
        w = owner;
    }
    return w;
}

// A host's own repair: the corrected text is saved by the builder's rules,
// and a refusal ends it. The text waits when it names a later expression.
HEXP repairByHost(Load *L, ThreadBlock *tb, const char *name) {
    Text current;
    current.add(tb->repairText);
    while (current.ok()) {
        const char *fixed = L->ec->repairCallback(L->ec, current.bytes, name, &tb->lastError);
        if (!fixed) return 0;
        Text text;
        text.add(fixed);
        if (!text.ok()) break;
        uint16_t type = 0;
        HEXP exp = ZEMParseFormula(L->ec, 0, text.bytes, name, &tb->lastError, &type);
        if (exp || tb->lastError.code == ERR_MEMORY) return exp;
        int deferred = deferRepair(tb, text.bytes, name);
        if (deferred > 0) return 0;
        if (deferred < 0) break;
        SvcFree(current.bytes);
        current.bytes = text.release();
    }
    SetError(&tb->lastError, ERR_MEMORY, 0, 0);
    return 0;
}

// Hands a text that no longer parses to the end user: the builder in repair
// mode, or the host's repair callback. A fix that waits for a later
// expression goes on the postponed list.
HEXP repair(Load *L, char *text, ExpError *error, int32_t slot) {
    ThreadBlock *tb = threadBlock();
    if (!tb) {
        SetError(error, ERR_MEMORY, 0, 0);
        return 0;
    }
    tb->repairMode = 1;
    SvcFree(tb->repairResult);
    tb->repairResult = 0;
    tb->repairText = text;
    tb->repairName = (char *)nameBehind(text);
    tb->lastError = *error;
    bool opened = true;
    HEXP exp = L->ec->repairCallback
                   ? repairByHost(L, tb, nameBehind(text))
                   : runBuilder(repairParent(L->ec), L->ec, 0, 0, 0, "", &opened);
    // No builder could be made: the text's own error is the report.
    if (!opened) report(L, text, error);
    if (!exp && tb->lastError.code == ERR_MEMORY) *error = tb->lastError;
    if (!exp && tb->repairResult && !postpone(L, (char *)tb->repairResult, slot, 1)) {
        SetError(error, ERR_MEMORY, 0, 0);
        SvcFree(tb->repairResult);
    }
    tb->repairResult = 0;
    tb->repairMode = 0;
    return exp;
}

enum Outcome { Stored, Waits, Failed };

// Parses a record's text: stored, postponed when it names an expression of
// the block, or repaired; else the end of the load, reported when memory
// ran out (a refused or cancelled repair has said enough).
Outcome parseRecord(Load *L, char *text, int32_t slot, uint32_t *owned) {
    ThreadBlock *tb = threadBlock();
    ExpError error = {0, 0, 0};
    uint16_t type = 0;
    if (nameTaken(L->ec, nameBehind(text), &error)) {
        report(L, text, &error);
        return Failed;
    }
    HEXP exp = ZEMParseString(L->ec, text, nameBehind(text), &error, &type);
    if (!exp && error.code == ERR_FUNC && tb &&
        nameIsPending(text, tb->pendingList, &error, tb->pendingCount)) {
        if (postpone(L, text, slot, *owned)) {
            *owned = 0;
            return Waits;
        }
        SetError(&error, ERR_MEMORY, 0, 0);
    } else if (!exp && error.code != ERR_MEMORY) {
        unsigned waiting = L->postponed ? SvcArrayCount(L->postponed) : 0;
        exp = repair(L, text, &error, slot);
        if (!exp && L->postponed && SvcArrayCount(L->postponed) > waiting) return Waits;
        if (!exp && error.code != ERR_MEMORY) return Failed;
    }
    if (!exp) {
        report(L, text, &error);
        return Failed;
    }
    L->slots[slot] = exp;
    return Stored;
}

// Each postponed text once more, in order; gives whether one was stored.
bool retryPass(Load *L) {
    HARRAY taken = L->postponed;
    L->postponed = 0;
    bool progress = false;
    for (unsigned i = 0; i < SvcArrayCount(taken) && L->ok; i++) {
        PostponedEntry *e = (PostponedEntry *)SvcArrayLock(taken, i);
        PostponedEntry entry = *e;
        SvcArrayUnlock(taken);
        Outcome outcome = parseRecord(L, entry.text, entry.slot, &entry.owned);
        e = (PostponedEntry *)SvcArrayLock(taken, i);
        e->owned = entry.owned;  // a text that waits again belongs to the new list
        SvcArrayUnlock(taken);
        L->ok = outcome != Failed;
        progress = progress || outcome == Stored;
    }
    freeEntries(taken);
    return progress;
}

}  // namespace

bool nameTaken(HEC ec, const char *name, ExpError *error) {
    if (!*name || ZEMIsExpNameUnique(ec, 0, name)) return false;
    SetError(error, ERR_DUPNAME, 0, 0);
    return true;
}

bool recordsInside(const Load *L, int32_t count) {
    for (int32_t i = 0, at = L->pos; i < count; i++) {
        int32_t text = textLengthAt(L, at);
        int32_t name = text < 0 ? -1 : textLengthAt(L, at + text + 1);
        if (name < 0) return false;
        at += text + name + 2;
    }
    return true;
}

namespace {

void readExpressions(Load *L) {
    int32_t count = 0;
    readHeader(L, BLOCK_TAG_EXPRESSIONS, &count);
    if (!L->ok || count <= 0) return;
    ThreadBlock *tb = threadBlock();
    if (!recordsInside(L, count) || !tb ||
        !(L->slots = (HEXP *)SvcAlloc(sizeof(HEXP) * (size_t)count))) {
        L->ok = false;
        return;
    }
    char *record = (char *)L->block + L->pos;
    tb->pendingList = record;
    tb->pendingCount = count;
    sortPendingNames(tb);
    for (int32_t i = 0; i < count && L->ok; i++) {
        uint32_t owned = 0;
        char *text = record;
        record = (char *)nameBehind(record);
        record += strlen(record) + 1;
        L->ok = parseRecord(L, text, i, &owned) != Failed;
    }
    // A pass that stores nothing ends the load, so that names in a circle
    // cannot hold it for ever.
    bool reordered = false;
    while (L->ok && L->postponed) {
        bool progress = retryPass(L);
        reordered = reordered || progress;
        if (L->ok && !progress && L->postponed) L->ok = false;
    }
    if (L->postponed) freeEntries(L->postponed), L->postponed = 0;
    SvcFree(tb->pendingNames);
    tb->pendingNames = 0;
    // Postponed expressions joined the store late: the block's order back.
    HARRAY store = L->ec->expressions;
    if (reordered && store && (int32_t)SvcArrayCount(store) == count) {
        HEXP *elements = (HEXP *)SvcArrayLock(store, 0);
        if (elements) memcpy(elements, L->slots, sizeof(HEXP) * (size_t)count);
        SvcArrayUnlock(store);
    }
}

// The sections behind the names. What an older block holds beyond the
// current one, and what it lacks, is dealt with in persist/reader_old.cpp.
int readBlock(HEC ec, int version, int32_t size, const unsigned char *block,
              int32_t loadExpressions, ZEMLoadErrorCallback errorCallback) {
    if (!ec) return 0;
    Load L = {ec, version, block, size, version == 0 ? 0 : 1, true, errorCallback, 0, 0, false};
    if (readNames(&L)) return 1;
    int32_t count = 0;
    bool items = readHeader(&L, BLOCK_TAG_ITEMS, &count);
    for (int32_t i = 0; items && i < count && L.ok; i++) readItem(&L);
    if (version == 0) skipOldFunctions(&L);
    if (version < BLOCK_VERSION && items && L.ok) stampSubclass(&L);
    if (!L.ok) return 0;
    if (L.pos >= L.size || wordAt(&L) != BLOCK_TAG_EXPRESSIONS || !loadExpressions) return 1;
    if (version < 2) readOldExpressions(&L);
    else readExpressions(&L);
    SvcFree(L.slots);
    return L.ok;
}

}  // namespace

ZEMAPI int ZEMCALL ZEMSetECContents(HEC ec, int32_t size, const void *block, int32_t loadExpressions,
                                    ZEMLoadErrorCallback errorCallback) {
    if (!block || size <= 0) return 0;
    const unsigned char *bytes = (const unsigned char *)block;
    if (bytes[0] > BLOCK_VERSION) return 0;
    return readBlock(ec, bytes[0], size, bytes, loadExpressions, errorCallback);
}

ZEMAPI ZEMRepairCallback ZEMCALL ZEMSetRepairCallback(HEC ec, ZEMRepairCallback callback) {
    if (!ec) return 0;
    ZEMRepairCallback former = ec->repairCallback;
    ec->repairCallback = callback;
    return former;
}
