// zem: a small command-line host of the library. It registers input items
// and named formulas, evaluates formulas and prints their values. The
// terminal speaks UTF-8, the library its code page 932.
#ifndef ZEM_TOOL_H
#define ZEM_TOOL_H

#include <stdio.h>

#include <string>
#include <vector>

#include "zemi40.h"

// ---- Code page 932 and UTF-8 (codepage.cpp)

// Converts UTF-8 to code page 932: 1, or 0 when a character has no place in
// it or the bytes are no UTF-8.
int utf8To932(const std::string &utf8, std::string *out);
// Converts code page 932 to UTF-8; a byte that is no character becomes '?'.
std::string cp932ToUtf8(const std::string &text);
// The program's arguments in UTF-8, as the terminal gave them.
std::vector<std::string> utf8Arguments(int argc, char **argv);

// ---- A session: one context with its items, formulas and output (session.cpp)

struct InputItem {
    std::string name;  // code page 932
    int type;          // ZEM_TYPE_NUMBER, _DATETIME or _STRING
    Number value;      // Number and DateTime
    std::string text;  // String, code page 932
};

struct Session {
    HEC ec = 0;
    std::vector<InputItem> items;
    FILE *out = stdout;
    int failures = 0;  // formulas that did not parse or evaluate
};

enum { TypeInferred = -1 };

// Makes the context with the built-in functions; 0 on failure.
int sessionOpen(Session *s);
void sessionClose(Session *s);
// An input item from "name=value" or "name:type=value" (UTF-8). On failure
// *why says what was wrong and the result is 0.
int sessionAddItem(Session *s, const std::string &argument, std::string *why);
// A named formula from "Name=text": 1 when it parsed, else the report is
// printed and the result is 0.
int sessionDefine(Session *s, const std::string &argument);
// Parses and evaluates a formula and prints it with its value, or with the
// report of its failure. 1 on success.
int sessionEvaluate(Session *s, const std::string &formula);

// Opens the builder dialog on the session's context and prints the formula
// the user saved with its name, text and value. 1 when one was saved.
int sessionBuild(Session *s);

// True when an argument reads as an item: a name without blanks, quotes or
// operators, optionally ":type", then "=".
bool looksLikeItem(const std::string &argument);

// ---- Block files (block.cpp)

// Writes the session's context as a block into a file: 1, or 0 with the
// reason printed.
int saveBlock(Session *s, const std::string &path);
// Tells a block file in plain words: 0 for a well-formed block, 1 for a
// malformed one (what was read is printed, then the fault), 2 when the
// file cannot be read.
int describeBlockFile(FILE *out, const std::string &path);

#endif
