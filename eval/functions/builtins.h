// What the built-in functions share, and the table that joins their names
// to their code.
#ifndef ZEM_BUILTINS_H
#define ZEM_BUILTINS_H

#include "zemi40.h"

// Grows or makes *value to newSize: 1, or 0 with *value as it was.
int ResizeResult(void **value, size_t newSize);
// Bytes to reserve for count characters of the system code page.
long CharCapacity(long count);
// A Number argument used as an integer: 0 for null, else its integer part.
int32_t IntegerArgument(const void *argument);

// The code of a built-in by its exported name, or 0.
ZEMFunctionCallback BuiltinByName(const char *name);

#endif
