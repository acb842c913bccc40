// The error codes of parse-time reports and their messages.
#ifndef ZEM_ERRORS_H
#define ZEM_ERRORS_H

#include <stddef.h>

#include "zemi40.h"

enum { ERROR_FIRST = 100, ERROR_LAST = 137, MESSAGE_BUFFER = 200 };

// The symbol of a code ("ERR_SYNTAX"), or 0 for a code outside the table.
const char *ErrorSymbol(unsigned code);

// The message of a code in the active code page, read into buffer (cut to
// size); its length, 0 for a code without a message.
int ErrorMessage(unsigned code, char *buffer, int size);

// Sets a report.
void SetError(ExpError *error, unsigned code, unsigned start, unsigned length);

#endif
