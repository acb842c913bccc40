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

// All of the first n entries of an argument vector are there.
bool HaveArguments(void **arguments, int n);
// Makes sure the result block holds need bytes; a block that is not there
// is made, whatever size claims.
bool ReserveResult(int32_t size, void **value, int64_t need);
// The size rule, then n bytes of text and a terminator into the result.
int GiveBytes(int32_t size, void **value, const char *text, size_t n);
int GiveText(int32_t size, void **value, const char *text);
// The 25-byte result block when the first n arguments are there, else 0.
Number *NumberResult(void **value, void **arguments, int n);

// The signature of every built-in.
#define BUILTIN(name)                                                                 \
    ZEMAPI int ZEMCALL name(HEC, HEXP, [[maybe_unused]] int32_t size, void **value, \
                            const char *, void **arguments)

// The code of a built-in by its exported name, or 0.
ZEMFunctionCallback BuiltinByName(const char *name);

#endif
