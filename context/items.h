// The three item stores of a context and their lookups.
#ifndef ZEM_ITEMS_H
#define ZEM_ITEMS_H

#include "context/ec.h"

// The store of a kind (0, 1, 3), or 0 for another kind.
HARRAY *itemStoreOf(EC *ec, int kind);

// A new zeroed element at the end of a store, made at need; its address
// stays valid until the store changes. 0 when memory ran out.
ExpItem **appendElement(HARRAY *store);

// The size of a stored record of this kind and parameter count.
size_t itemRecordSize(int kind, int paramCount);

// Frees every record of a store and the store.
void itemStoreRelease(HARRAY store);

// First record of that exact name in the store of a kind, or 0.
ExpItem *itemLookup(const EC *ec, int kind, const char *name);
// The same by walking a store.
ExpItem *itemFind(HARRAY store, const char *name);
// Deletes the first record of that exact name: 1, or 0 when absent.
int itemDelete(EC *ec, int kind, const char *name);
// 1 when the first record of that name has an aggregate parameter.
int itemIsAggregate(const EC *ec, int kind, const char *name);

int inputItemType(const EC *ec, const char *name);   // -1 when absent
int functionType(const EC *ec, const char *name);    // -1 when absent
int keywordType(const EC *ec, const char *name);     // honours the case flag
int keywordSubclass(const EC *ec, const char *name); // ignores case always

#endif
