// Deleting an item after the host has had the chance to remove every
// expression that uses it. An expression that another one names cannot go
// before that other one, so it waits in a deferred list and is offered again
// in later rounds, once its users are gone.
#include "context/expressions.h"
#include "context/items.h"

namespace {

// Expressions put off to a later round. The block is made at first need,
// with room for every expression that could be put in it.
struct Deferred {
    HEXP *list;
    unsigned count;
    unsigned room;
};

// Puts exp off; when the list cannot be made, exp is simply not deferred.
void defer(Deferred *d, HEXP exp, unsigned room) {
    if (!d->list) {
        d->list = (HEXP *)SvcAlloc(room * sizeof(HEXP));
        if (!d->list) return;
        d->room = room;
    }
    if (d->count < d->room) d->list[d->count++] = exp;
}

void release(Deferred *d) {
    SvcFree(d->list);
    *d = Deferred{};
}

struct Deletion {
    HEC ec;
    int kind;
    const char *name;
    int storeKind;  // the store searched: the input items, or else the functions
    ZEMDeleteItemCallback cb;
    int last;    // the callback's latest answer
    int called;  // whether it was called at all
};

// Offers exp to the host. 0 when the host refused. Without the item in its
// store there is nothing to hand over, and exp is passed by.
int offer(Deletion *del, HEXP exp) {
    ExpItem *item = itemLookup(del->ec, del->storeKind, del->name);
    if (!item) return 1;
    del->called = 1;
    del->last = del->cb ? del->cb(del->ec, exp, item) : 0;
    return del->last != 0;
}

// The first pass over the store. 0 when the host refused.
int firstPass(Deletion *del, Deferred *later) {
    HEC ec = del->ec;
    int32_t count = ZEMGetExpressionCount(ec);
    for (int32_t i = 0; i < count; i++) {
        HEXP exp = ZEMHEXPFromOrdinal(ec, i);
        if (!exp) break;  // the host removed more than it was offered
        if (!ZEMIsItemUsed(ec, exp, del->kind, del->name)) continue;
        if (ZEMIsNamedFormulaUsed(ec, exp->name)) {
            defer(later, exp, (unsigned)count);
            continue;
        }
        if (!offer(del, exp)) return 0;
        // The host removed it: the element behind moved into this index.
        count--;
        i--;
    }
    return 1;
}

// One retry round over the current list; what is still named by another
// expression goes into the next. 0 when the host refused.
int retryRound(Deletion *del, const Deferred *current, Deferred *next) {
    for (unsigned i = 0; i < current->count; i++) {
        HEXP exp = current->list[i];
        // A host may have removed more than it was offered.
        if (ZEMGetExpressionOrdinal(del->ec, exp) < 0) continue;
        if (ZEMIsNamedFormulaUsed(del->ec, exp->name))
            defer(next, exp, current->count);
        else if (!offer(del, exp))
            return 0;
    }
    return 1;
}

}  // namespace

extern "C" {

ZEMAPI int ZEMCALL ZEMDeleteExpItem(HEC ec, int kind, const char *name, ZEMDeleteItemCallback cb) {
    if (!ec) return 1;
    int storeKind = kind == ZEM_ITEM_INPUT ? ZEM_ITEM_INPUT : ZEM_ITEM_FUNCTION;
    if (!name) return 1;
    Deletion del = {ec, kind, name, storeKind, cb, 0, 0};
    if (ec->expressions) {
        Deferred current = {}, next = {};
        int going = firstPass(&del, &next);
        // Each round must be shorter than the one before. One that puts off
        // all it was given ends the rounds: nothing removes these any more,
        // as when the item is not in its store and nobody is offered them.
        while (going && next.list && (!current.list || next.count < current.count)) {
            release(&current);
            current = next;
            next = Deferred{};
            going = retryRound(&del, &current, &next);
        }
        release(&current);
        release(&next);
        if (!going) return 0;
    }
    itemDelete(ec, storeKind, name);
    return del.called ? del.last : 1;
}

}  // extern "C"
