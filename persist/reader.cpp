// The context block reader: a fresh context filled from a block of version
// 3 (layout in persist/blockformat.h). Every expression is parsed again from
// its text; one that names an expression stored later waits on a list for a
// later pass, and one that no longer parses goes to the end user for repair.
// What was read before a failure stays in the context.
#include <string.h>

#include "builder/internal.h"
#include "context/items.h"
#include "errors/errors.h"
#include "context/threadblock.h"
#include "persist/blockformat.h"

namespace {

// An expression to parse again: its text with the name behind the text's
// terminator, as a record of the block has them.
struct PostponedEntry {
    char *text;
    int32_t slot;    // the record's index in the expression section
    uint32_t owned;  // the text is an allocation of its own, not the block
};

struct Load {
    HEC ec;
    const unsigned char *block;
    int32_t size;
    int32_t pos;  // bytes consumed
    bool ok;
    ZEMLoadErrorCallback errorCallback;
    HARRAY postponed;  // PostponedEntry, 0 while empty
    HEXP *slots;
};

const char *nameBehind(const char *text) { return text + strlen(text) + 1; }

void report(Load *L, const char *text, const ExpError *error) {
    if (L->errorCallback) L->errorCallback(L->ec, text, error);
    else ZEMErrorDisplay(L->ec->ownerWindow, text, error);
}

// Moves the position on; a position that reaches the end (or passes it,
// with `atEndOk`) is a failure.
bool advance(Load *L, int32_t by, bool atEndOk) {
    L->pos += by;
    bool over = atEndOk ? L->pos > L->size : L->pos >= L->size;
    if (over) L->ok = false;
    return !over;
}

unsigned wordAt(const Load *L) {
    return L->size - L->pos >= 2 ? blockGet16(L->block + L->pos) : 0xFFFFFFFFu;
}

// The length of the text at the position, -1 when it has no terminator
// inside the block.
int32_t textLengthAt(const Load *L, int32_t at) {
    if (at >= L->size) return -1;
    const void *end = memchr(L->block + at, 0, (size_t)(L->size - at));
    return end ? (int32_t)((const unsigned char *)end - (L->block + at)) : -1;
}

// ---- Operator names and input items.

// The twenty names; 1 when the block ends behind them.
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
        if (!advance(L, length + 1, i == BLOCK_OPERATOR_NAMES - 1)) break;
    }
    return L->ok && L->pos == L->size;
}

// A section's tag and count; false when the block has no such section.
bool readHeader(Load *L, unsigned tag, int32_t *count) {
    if (!L->ok || wordAt(L) != tag) return false;
    if (!advance(L, 2, false)) return true;
    *count = (int16_t)wordAt(L);
    advance(L, 2, false);
    return true;
}

// One input item: its head laid out for a 32-bit host, then its function name.
void readItem(Load *L) {
    ExpItem **slot = appendElement(&L->ec->inputItems);
    if (!slot) {
        L->ok = false;
        return;
    }
    const unsigned char *head = L->block + L->pos;
    ExpItem *item = (ExpItem *)SvcAlloc(itemRecordSize(ZEM_ITEM_INPUT, 0));
    *slot = item;
    if (!item || !advance(L, BLOCK_ITEM_HEAD, false)) {
        L->ok = false;
        return;
    }
    item->kind = (int16_t)blockGet16(head + BLOCK_ITEM_KIND);
    item->dataType = (int16_t)blockGet16(head + BLOCK_ITEM_TYPE);
    memcpy(item->name, head + BLOCK_ITEM_NAME, BLOCK_ITEM_NAME_SIZE);
    item->name[BLOCK_ITEM_NAME_SIZE - 1] = 0;
    item->paramCount = (int16_t)blockGet16(head + BLOCK_ITEM_PARAMS);
    item->required = (uint16_t)blockGet16(head + BLOCK_ITEM_SUBCLASS);
    item->optional = (uint16_t)blockGet16(head + BLOCK_ITEM_OPTIONAL);
    item->flags = (uint16_t)blockGet16(head + BLOCK_ITEM_FLAGS);
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

// Every record must lie inside the block before anything is parsed.
bool recordsInside(const Load *L, int32_t count) {
    for (int32_t i = 0, at = L->pos; i < count; i++) {
        int32_t text = textLengthAt(L, at);
        int32_t name = text < 0 ? -1 : textLengthAt(L, at + text + 1);
        if (name < 0) return false;
        at += text + name + 2;
    }
    return true;
}

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
    // Postponed expressions joined the store late: the block's order back.
    HARRAY store = L->ec->expressions;
    if (reordered && store && (int32_t)SvcArrayCount(store) == count) {
        HEXP *elements = (HEXP *)SvcArrayLock(store, 0);
        if (elements) memcpy(elements, L->slots, sizeof(HEXP) * (size_t)count);
        SvcArrayUnlock(store);
    }
}

int readVersion3(HEC ec, int32_t size, const unsigned char *block, int32_t loadExpressions,
                 ZEMLoadErrorCallback errorCallback) {
    if (!ec) return 0;
    Load L = {ec, block, size, 1, true, errorCallback, 0, 0};
    if (readNames(&L)) return 1;
    int32_t count = 0;
    if (readHeader(&L, BLOCK_TAG_ITEMS, &count))
        for (int32_t i = 0; i < count && L.ok; i++) readItem(&L);
    if (!L.ok) return 0;
    if (L.pos >= L.size || wordAt(&L) != BLOCK_TAG_EXPRESSIONS || !loadExpressions) return 1;
    readExpressions(&L);
    SvcFree(L.slots);
    return L.ok;
}

}  // namespace

ZEMAPI int ZEMCALL ZEMSetECContents(HEC ec, int32_t size, const void *block, int32_t loadExpressions,
                                    ZEMLoadErrorCallback errorCallback) {
    if (!block || size <= 0) return 0;
    const unsigned char *bytes = (const unsigned char *)block;
    switch (bytes[0]) {
    case BLOCK_VERSION: return readVersion3(ec, size, bytes, loadExpressions, errorCallback);
    default: return 0;  // versions 0 to 2 are read by readers still to come
    }
}

ZEMAPI ZEMRepairCallback ZEMCALL ZEMSetRepairCallback(HEC ec, ZEMRepairCallback callback) {
    if (!ec) return 0;
    ZEMRepairCallback former = ec->repairCallback;
    ec->repairCallback = callback;
    return former;
}
