// The state of one load, shared by the reader of the current block and the
// differences of the older versions.
#ifndef ZEM_READER_H
#define ZEM_READER_H

#include <string.h>

#include "context/ec.h"
#include "persist/blockformat.h"

struct Load {
    HEC ec;
    int version;
    const unsigned char *block;
    int32_t size;
    int32_t pos;  // bytes consumed
    bool ok;
    ZEMLoadErrorCallback errorCallback;
    HARRAY postponed;  // PostponedEntry, 0 while empty
    HEXP *slots;
    bool clashSeen;  // version 0: a name met a date unit word; sticks to the end
};

inline const char *nameBehind(const char *text) { return text + strlen(text) + 1; }

// Moves the position on; a position that reaches the end (or passes it,
// with `atEndOk`) is a failure.
inline bool advance(Load *L, int32_t by, bool atEndOk) {
    L->pos += by;
    bool over = atEndOk ? L->pos > L->size : L->pos >= L->size;
    if (over) L->ok = false;
    return !over;
}

inline unsigned wordAt(const Load *L) {
    return L->size - L->pos >= 2 ? blockGet16(L->block + L->pos) : 0xFFFFFFFFu;
}

// The length of the text at `at`, -1 when it has no terminator inside the
// block.
inline int32_t textLengthAt(const Load *L, int32_t at) {
    if (at < 0 || at >= L->size) return -1;
    const void *end = memchr(L->block + at, 0, (size_t)(L->size - at));
    return end ? (int32_t)((const unsigned char *)end - (L->block + at)) : -1;
}

// A section's tag and count; false when the block has no such section.
bool readHeader(Load *L, unsigned tag, int32_t *count);

// Whether `count` expression records (text and name, terminated) lie
// inside the block from the position on.
bool recordsInside(const Load *L, int32_t count);

// Whether a stored expression already has the name: a damaged block can
// repeat one, and names that find another expression than the one they
// were checked against could close a circle. Sets the error.
bool nameTaken(HEC ec, const char *name, ExpError *error);

// The older versions' own steps (persist/reader_old.cpp).
void skipOldFunctions(Load *L);
void stampSubclass(Load *L);
void fixItemName(Load *L, char *field, const char *stored);
void readOldExpressions(Load *L);

#endif
