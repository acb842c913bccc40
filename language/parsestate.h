// The one record of the running parse. It is valid only under the parser
// lock: one parse runs at a time in the whole process.
#ifndef ZEM_PARSESTATE_H
#define ZEM_PARSESTATE_H

#include <stdint.h>

#include "context/ec.h"

struct ExpNode;

// Token numbers. Single-character tokens are the character's code.
enum TokenKind {
    TokEnd = 0,
    TokNumber = 257,
    TokName = 258,
    TokFunction = 259,
    TokConstant = 260,
    TokString = 262,
    TokDate = 263,
    TokConcat = 264,
    TokBad = 265,
    TokUnit = 266,
    TokQuantifier = 267,
    TokNoMemory = 268,
    TokAnd = 269,
};

enum { TOKEN_BUFFER = 2048 };

struct DateErrorNote {
    int noted;
    uint32_t start;
    uint32_t length;
};

struct ParseState {
    const char *source;     // start of the text; not owned
    uint32_t delivered;     // bytes the scanner took, the end blank included
    uint32_t matchLength;   // length of the latest match of any rule
    EC *ec;
    int validating;         // ZEMValidName's parse: unknown names pass
    ExpNode *result;
    ExpError error;
    DateErrorNote dateError;
    int unit;               // unit code pending for the operator being built
    int quantifier;         // 1 DISTINCT, 2 ALL
    uint32_t tokenStart;
    uint32_t tokenLength;
    void *tokenValue;       // owned block handed to the parser with the token
};

extern ParseState gParse;

// Sets the parse up for a text; dateError is left as it was.
void StartParse(EC *ec, const char *text, int validating);

int NextToken(void);
// Counts the bytes of the text up to `count` as taken; the count never goes back.
void DeliverUpTo(uint32_t count);
uint32_t DeliveredCount(void);
// The quick scan of the everyday tokens is on unless a test turns it off.
void ScanQuick(int on);

// 0 when the text was accepted (result is the root), 1 when it failed.
int RunParser(void);

// Maps a message of the parser onto the report.
void ParserMessage(const char *text);

#endif
