// The name index of a store: an open-addressing table of element pointers
// under a hash of their names folded to capitals, so that the names a
// comparison takes as equal, with or without case, share a hash. Every
// candidate is confirmed with the lookup's own comparison. When more than
// one element answers, the store is walked for the first, which keeps store
// order without the index knowing it.
//
// An index is made at the first lookup in a store of kIndexFrom elements or
// more, a few of which are walked as fast as hashed, and kept until the
// context goes.
// Index upkeep never fails an operation: what cannot be taken in for lack of
// memory is found by walking until a later lookup takes it in.
#include "context/nameindex.h"

#include <string.h>

#include "context/expressions.h"
#include "services/platform.h"

struct NameIndex {
    unsigned capacity;  // a power of two, at least twice used
    unsigned used;
    unsigned seen;      // the store's elements taken in, from the first
    unsigned codePage;  // the one the hashes were folded under
    struct Entry {
        uint32_t hash;
        const void *element;  // 0 for a free entry
    } entries[1];
};

namespace {

const unsigned kIndexFrom = 16;

const char *nameOf(int kind, const void *element) {
    if (kind == ZEM_ITEM_FORMULA) return ((const ExpRecord *)element)->name;
    return ((const ExpItem *)element)->name;
}

uint32_t mix(uint32_t hash, unsigned char byte) { return (hash ^ byte) * 16777619u; }

#ifdef _WIN32
// The system orders texts by its locale, which may take other texts than
// these as equal ("ss" and a sharp s, say); any other name hashes to one
// shared value, which every lookup also probes.
const uint32_t kShared = 0;

bool plainName(const char *name) {
    for (const unsigned char *p = (const unsigned char *)name; *p; p++)
        if (!(*p == '_' || (*p >= '0' && *p <= '9') || ((*p | 32) >= 'a' && (*p | 32) <= 'z')))
            return false;
    return true;
}

uint32_t nameHash(const char *name) {
    if (!plainName(name)) return kShared;
    uint32_t hash = 2166136261u;
    for (const unsigned char *p = (const unsigned char *)name; *p; p++)
        hash = mix(hash, *p >= 'a' && *p <= 'z' ? (unsigned char)(*p - 32) : *p);
    return hash | 1;
}
#else
// Folded a character at a time, as the caseless comparison folds.
uint32_t nameHash(const char *name) {
    uint32_t hash = 2166136261u;
    for (const unsigned char *p = (const unsigned char *)name; *p;) {
        char c[2] = {(char)p[0], 0};
        DWORD n = IsDBCSLeadByte(p[0]) && p[1] ? 2 : 1;
        if (n == 2) c[1] = (char)p[1];
        CharUpperBuffA(c, n);
        hash = mix(hash, (unsigned char)c[0]);
        if (n == 2) hash = mix(hash, (unsigned char)c[1]);
        p += n;
    }
    return hash;
}
#endif

NameIndex *makeIndex(unsigned room) {
    unsigned capacity = 16;
    while (capacity < 2 * room + 2) capacity *= 2;
    size_t size = sizeof(NameIndex) + (capacity - 1) * sizeof(NameIndex::Entry);
    NameIndex *x = (NameIndex *)SvcAlloc(size);
    if (!x) return 0;
    memset(x, 0, size);
    x->capacity = capacity;
    x->codePage = GetACP();
    return x;
}

void place(NameIndex *x, uint32_t hash, const void *element) {
    unsigned mask = x->capacity - 1;
    unsigned at = hash & mask;
    while (x->entries[at].element) at = (at + 1) & mask;
    x->entries[at] = NameIndex::Entry{hash, element};
    x->used++;
}

// Room for `more` entries, in a larger table at need. 0 when memory ran out;
// the index is then as it was.
int makeRoom(NameIndex **slot, unsigned more) {
    NameIndex *x = *slot;
    if (2 * (x->used + more) + 2 <= x->capacity) return 1;
    NameIndex *grown = makeIndex(x->used + more);
    if (!grown) return 0;
    for (unsigned i = 0; i < x->capacity; i++)
        if (x->entries[i].element) place(grown, x->entries[i].hash, x->entries[i].element);
    grown->seen = x->seen;
    SvcFree(x);
    *slot = grown;
    return 1;
}

// Takes out one entry and moves later ones of its run back, so that no
// probe stops short of them.
void takeOut(NameIndex *x, unsigned at) {
    unsigned mask = x->capacity - 1;
    for (unsigned next = (at + 1) & mask; x->entries[next].element; next = (next + 1) & mask) {
        unsigned home = x->entries[next].hash & mask;
        // The entry may fill the hole when its home is not in (at, next].
        if (((next - home) & mask) >= ((next - at) & mask)) {
            x->entries[at] = x->entries[next];
            at = next;
        }
    }
    x->entries[at] = NameIndex::Entry{0, 0};
    x->used--;
}

// The entry of an element under the hash of a name, or -1.
long entryOf(const NameIndex *x, const void *element, const char *name) {
    uint32_t hash = nameHash(name);
    unsigned mask = x->capacity - 1;
    for (unsigned at = hash & mask; x->entries[at].element; at = (at + 1) & mask)
        if (x->entries[at].element == element) return (long)at;
    return -1;
}

// Takes in the store's elements from `seen` on. 0 when memory ran out.
int takeIn(NameIndex **slot, HARRAY store, int kind) {
    unsigned count = store ? SvcArrayCount(store) : 0;
    if ((*slot)->seen >= count) return 1;
    if (!makeRoom(slot, count - (*slot)->seen)) return 0;
    NameIndex *x = *slot;
    const void **elements = (const void **)SvcArrayLock(store, 0);
    for (unsigned i = x->seen; elements && i < count; i++) {
        const char *name = elements[i] ? nameOf(kind, elements[i]) : 0;
        if (name) place(x, nameHash(name), elements[i]);
    }
    SvcArrayUnlock(store);
    x->seen = count;
    return 1;
}

// The context's index of a store brought up to date, or 0 when it cannot
// be. An index of another code page is made again, and so is one of the
// expressions that missed one: their store may be put in another order.
NameIndex *currentIndex(EC *ec, int kind, HARRAY store) {
    NameIndex **slot = &ec->nameIndex[kind];
    unsigned count = SvcArrayCount(store);
    if (*slot && ((*slot)->codePage != GetACP() || (*slot)->seen > count ||
                  (kind == ZEM_ITEM_FORMULA && (*slot)->seen != count))) {
        SvcFree(*slot);
        *slot = 0;
    }
    if (!*slot && (count < kIndexFrom || !(*slot = makeIndex(count)))) return 0;
    return takeIn(slot, store, kind) ? *slot : 0;
}

// Counts the elements under a hash that test accepts, up to two; found
// gets the last.
int collect(const NameIndex *x, uint32_t hash, const char *name, NameTest test, const void *extra,
            void **found) {
    unsigned mask = x->capacity - 1;
    int matches = 0;
    for (unsigned at = hash & mask; x->entries[at].element && matches < 2; at = (at + 1) & mask) {
        const NameIndex::Entry &e = x->entries[at];
        if (e.hash == hash && test(e.element, name, extra)) {
            *found = (void *)e.element;
            matches++;
        }
    }
    return matches;
}

// Whether an index holds what it would hold were it made now.
bool usable(const NameIndex *x) { return x && x->codePage == GetACP(); }

bool knownKind(int kind) { return kind >= 0 && kind < 4; }

}  // namespace

HARRAY nameStore(const EC *ec, int kind) {
    switch (kind) {
    case ZEM_ITEM_FUNCTION: return ec->functions;
    case ZEM_ITEM_INPUT: return ec->inputItems;
    case ZEM_ITEM_FORMULA: return ec->expressions;
    case ZEM_ITEM_KEYWORD: return ec->keywords;
    default: return 0;
    }
}

void *nameWalk(HARRAY store, const char *name, NameTest test, const void *extra) {
    if (!store || !name) return 0;
    void **elements = (void **)SvcArrayLock(store, 0);
    void *found = 0;
    unsigned count = SvcArrayCount(store);
    for (unsigned i = 0; elements && i < count && !found; i++)
        if (elements[i] && test(elements[i], name, extra)) found = elements[i];
    SvcArrayUnlock(store);
    return found;
}

void *nameFind(EC *ec, int kind, const char *name, NameTest test, const void *extra) {
    HARRAY store = ec && knownKind(kind) ? nameStore(ec, kind) : 0;
    if (!store || !name) return 0;
    NameIndex *x = currentIndex(ec, kind, store);
    uint32_t hash = x ? nameHash(name) : 0;
#ifdef _WIN32
    if (hash == kShared) x = 0;
#endif
    if (!x) return nameWalk(store, name, test, extra);
    void *found = 0;
    int matches = collect(x, hash, name, test, extra, &found);
#ifdef _WIN32
    matches += collect(x, kShared, name, test, extra, &found);
#endif
    return matches > 1 ? nameWalk(store, name, test, extra) : found;
}

void nameIndexStored(EC *ec, const void *record) {
    NameIndex **slot = &ec->nameIndex[ZEM_ITEM_FORMULA];
    const char *name = ((const ExpRecord *)record)->name;
    // The record is the store's last. Left out, it is taken in later.
    if (!usable(*slot) || (*slot)->seen + 1 != SvcArrayCount(ec->expressions)) return;
    if (name && !makeRoom(slot, 1)) return;
    if (name) place(*slot, nameHash(name), record);
    (*slot)->seen++;
}

void nameIndexRemoved(EC *ec, int kind, const void *element, unsigned position) {
    NameIndex *x = knownKind(kind) ? ec->nameIndex[kind] : 0;
    if (!x || position >= x->seen) return;
    if (!usable(x)) {
        SvcFree(x);
        ec->nameIndex[kind] = 0;
        return;
    }
    x->seen--;
    const char *name = element ? nameOf(kind, element) : 0;
    long at = name ? entryOf(x, element, name) : -1;
    if (at >= 0) takeOut(x, (unsigned)at);
}

void nameIndexRenamed(EC *ec, int kind, const void *element, const char *formerName) {
    NameIndex *x = knownKind(kind) ? ec->nameIndex[kind] : 0;
    if (!x) return;
    long at = usable(x) && formerName ? entryOf(x, element, formerName) : -1;
    const char *name = nameOf(kind, element);
    if (at >= 0) takeOut(x, (unsigned)at);
    if (at >= 0 && name) place(x, nameHash(name), element);
    // Not held (a late element, say): the index is made again when needed.
    if (at < 0) {
        SvcFree(x);
        ec->nameIndex[kind] = 0;
    }
}

void nameIndexRelease(EC *ec) {
    for (NameIndex *&x : ec->nameIndex) {
        SvcFree(x);
        x = 0;
    }
}
