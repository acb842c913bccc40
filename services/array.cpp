// HandleArray: a growable array of fixed-size elements. The handle is the
// address of a small header; the elements live in a separate block.
//
// An array may be changed while it is locked (a walker's callback may add
// or remove elements). Removal closes up in place. Growth that needs a
// larger block keeps the former block alive until the last unlock, so a
// walker's element pointer never dangles; it simply sees the old elements.
#include <string.h>

#include "services/services.h"

namespace {

struct ArrayHeader {
    size_t elementSize;
    unsigned count;
    unsigned capacity;
    unsigned lockDepth;
    char *elements;  // behind a one-word link, used while the block is retired
    char *retired;   // chain of former element blocks, freed at the last unlock
};

const size_t kLink = sizeof(void *);

char *linkOf(char *elements) { return elements - kLink; }

ArrayHeader *header(HARRAY array) { return (ArrayHeader *)array; }

void freeRetired(ArrayHeader *a) {
    while (a->retired) {
        char *next = *(char **)linkOf(a->retired);
        SvcFree(linkOf(a->retired));
        a->retired = next;
    }
}

// Room for at least `wanted` elements; 0 when memory ran out.
int reserve(ArrayHeader *a, unsigned wanted) {
    if (wanted <= a->capacity) return 1;
    unsigned capacity = a->capacity ? a->capacity * 2 : 4;
    if (capacity < wanted) capacity = wanted;
    if (capacity > SVC_ARRAY_MAX) capacity = SVC_ARRAY_MAX;
    char *block = (char *)SvcAlloc(kLink + a->elementSize * capacity);
    if (!block) return 0;
    char *fresh = block + kLink;
    if (a->elements) {
        memcpy(fresh, a->elements, a->elementSize * a->count);
        if (a->lockDepth) {
            *(char **)linkOf(a->elements) = a->retired;
            a->retired = a->elements;
        } else {
            SvcFree(linkOf(a->elements));
        }
    }
    a->elements = fresh;
    a->capacity = capacity;
    return 1;
}

}  // namespace

HARRAY SvcArrayCreate(size_t elementSize, unsigned count) {
    if (elementSize == 0 || count > SVC_ARRAY_MAX) return 0;
    ArrayHeader *a = (ArrayHeader *)SvcAlloc(sizeof(ArrayHeader));
    if (!a) return 0;
    a->elementSize = elementSize;
    if (!reserve(a, count ? count : 1)) {
        SvcFree(a);
        return 0;
    }
    a->count = count;
    return (HARRAY)a;
}

void SvcArrayDestroy(HARRAY array) {
    ArrayHeader *a = header(array);
    if (!a) return;
    freeRetired(a);
    SvcFree(linkOf(a->elements));
    SvcFree(a);
}

void *SvcArrayLock(HARRAY array, unsigned index) {
    ArrayHeader *a = header(array);
    if (!a || index > a->count) return 0;
    a->lockDepth++;
    return a->elements + index * a->elementSize;
}

void SvcArrayUnlock(HARRAY array) {
    ArrayHeader *a = header(array);
    if (!a || a->lockDepth == 0) return;
    if (--a->lockDepth == 0) freeRetired(a);
}

HARRAY SvcArrayGrow(HARRAY array, int position) {
    ArrayHeader *a = header(array);
    if (!a || position != -1 || a->count >= SVC_ARRAY_MAX) return 0;
    if (!reserve(a, a->count + 1)) return 0;
    memset(a->elements + a->count * a->elementSize, 0, a->elementSize);
    a->count++;
    return array;
}

uint32_t SvcArrayInfo(HARRAY array) {
    ArrayHeader *a = header(array);
    return a ? (uint32_t)a->count << 16 : 0;
}

unsigned SvcArrayCount(HARRAY array) { return SvcArrayInfo(array) >> 16; }

HARRAY SvcArrayRemove(HARRAY array, unsigned index) {
    ArrayHeader *a = header(array);
    if (!a || index >= a->count) return array;
    char *at = a->elements + index * a->elementSize;
    memmove(at, at + a->elementSize, (a->count - index - 1) * a->elementSize);
    a->count--;
    memset(a->elements + a->count * a->elementSize, 0, a->elementSize);
    return array;
}
