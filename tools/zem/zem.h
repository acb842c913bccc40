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
    std::string fix;      // the correction of a block's formula, code page 932
    std::string refused;  // the name of the formula whose repair was given up
};

enum { TypeInferred = -1 };

// Makes the context with the built-in functions; 0 on failure. The
// context gives every input item of a loaded block the tool's values.
int sessionOpen(Session *s);
// The last function name of a loaded block that zem does not have.
const std::string &unresolvedName();
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

// The report of a failed parse: the text (UTF-8 for the terminal, and as the
// library has it), a caret line under the error's span and its message.
void printReport(FILE *out, const std::string &utf8, const std::string &text, const ExpError &report);

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
// Fills the session's fresh context from a block file, formulas that no
// longer parse repaired on the terminal: 0, 1 when the load failed, 2 when
// the file cannot be read; a failure is told on standard error.
int loadBlock(Session *s, const std::string &path);
// Tells a block file in plain words: 0 for a well-formed block, 1 for a
// malformed one (what was read is printed, then the fault), 2 when the
// file cannot be read.
int describeBlockFile(FILE *out, const std::string &path);

// ---- The repair of a block's formula on the terminal (repair.cpp)

// Shows the formula's name, text and error on standard error and reads a
// corrected line from standard input; an empty line or its end gives up.
const char *ZEMCALL repairOnTerminal(HEC ec, const char *text, const char *name,
                                     const ExpError *error);
// Where the loader reports a formula that failed for want of memory.
void ZEMCALL reportLoadError(HEC ec, const char *text, const ExpError *error);

#endif
