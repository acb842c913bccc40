// Lookup by name in the four stores of a context through a hash index, with
// the answers of a walk: the first element in store order that the lookup's
// own comparison accepts, null elements passed over.
#ifndef ZEM_NAMEINDEX_H
#define ZEM_NAMEINDEX_H

#include "context/ec.h"

// A store by the kind of what it holds: ZEM_ITEM_FUNCTION, ZEM_ITEM_INPUT,
// ZEM_ITEM_FORMULA (the stored expressions) or ZEM_ITEM_KEYWORD.
HARRAY nameStore(const EC *ec, int kind);

// Whether an element (an ExpItem, or an ExpRecord for the expressions) is
// the one wanted under name. A test may accept only names equal to name
// byte for byte or up to case by the code page's rules.
typedef int (*NameTest)(const void *element, const char *name, const void *extra);

// The first element of the store that test accepts, or 0.
void *nameFind(EC *ec, int kind, const char *name, NameTest test, const void *extra);
// The same by a plain walk of the store.
void *nameWalk(HARRAY store, const char *name, NameTest test, const void *extra);

// What keeps an index in step. Elements appended to an item store are taken
// in at the next lookup, once their names are written; an expression is
// told when stored. A removal is told before the element is freed, with its
// place in the store; a rename after it, with the former name.
void nameIndexStored(EC *ec, const void *record);
void nameIndexRemoved(EC *ec, int kind, const void *element, unsigned position);
void nameIndexRenamed(EC *ec, int kind, const void *element, const char *formerName);
void nameIndexRelease(EC *ec);

#endif
