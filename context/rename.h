// Renaming an item across the stored expressions, and the word rewrite that
// the reader of the oldest blocks shares with it.
#ifndef ZEM_RENAME_H
#define ZEM_RENAME_H

#include "context/ec.h"

struct ExpNode;

// The bytes that part words in a text for the rewrites; a double quote
// holds a quoted name together. The line end of the language (LF) is among
// them, so that a name at the start of a line is a word of its own.
extern const char kWordDelimiters[];
enum { WordQuote = 34 };

// Copies text to destination, each word of under 16 bytes that clashes with
// a date unit word (ZEMInputNameIsKeyword) prefixed by "_". destination
// needs room for the text, its terminator and one byte for each prefixed
// word. Gives the number of words prefixed.
int rewriteKeywordNames(char *destination, const char *text);

// Renames one expression's references to an item (kind 0 a function, else
// an input item) in its text and tree, both or neither. 0 when memory ran
// out and nothing changed, else 1.
int renameInExpression(HEC ec, HEXP exp, int kind, const char *oldName, const char *newName);

#endif
