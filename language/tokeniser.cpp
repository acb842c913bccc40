// The tokeniser: the input side of the scanner and the actions of its
// rules. The rules themselves are in scanner.l; each calls TokenAction with
// its number and the text it matched. An action hands back a token, or
// refuses its match so that a shorter or lower-ranked reading is tried.
#include <string.h>

#include "context/items.h"
#include "eval/convert.h"
#include "language/parsestate.h"
#include "language/quickscan.h"
#include "services/platform.h"
#include "services/services.h"

ParseState gParse;

// The bridge with the generated scanner, which declares the same five.
enum { TOKEN_REFUSED = -1 };
int TokenAction(int rule, const char *text, uint32_t length, uint32_t start);
int QuickTokenAction(int rule, const char *text, uint32_t length, uint32_t start);
void TokenOverflow(void);
int ScanNext(void);
void ScanReset(void);

namespace {

enum { NOT_NAME = -1, GIVE_BACK = -2 };  // results of the name check besides an offset

uint16_t contextFlags() { return gParse.ec ? gParse.ec->flags : 0; }

void setSpan(uint32_t start, uint32_t length) {
    gParse.tokenStart = start;
    gParse.tokenLength = length;
}

char *copyText(const char *text, uint32_t length) {
    char *copy = (char *)SvcAlloc((size_t)length + 1);
    if (copy) memcpy(copy, text, length);
    return copy;
}

// Hands a copy of the text over with the token; no memory, no token.
int withCopy(int token, const char *text, uint32_t length, uint32_t start) {
    char *value = copyText(text, length);
    if (!value) return TokNoMemory;
    gParse.tokenValue = value;
    setSpan(start, length);
    return token;
}

// ---- Words.

struct CodedWord {
    const char *word;
    int code;
};

constexpr CodedWord kUnits[] = {
    {"DAY", 1}, {"MONTH", 2}, {"YEAR", 4}, {"HOUR", 8}, {"MINUTE", 16}, {"SECOND", 32},
};

// The unit code of a word with one final S dropped, or 0; a word that
// cannot be copied is no unit word.
int unitCode(const char *word, uint32_t length) {
    char *upper = copyText(word, length);
    if (!upper) return 0;
    SvcStrUpper(upper);
    if (length > 0 && upper[length - 1] == 'S') upper[--length] = 0;
    int code = 0;
    for (const CodedWord &unit : kUnits)
        if (strlen(unit.word) == length && memcmp(upper, unit.word, length) == 0) code = unit.code;
    SvcFree(upper);
    return code;
}

int quantifierCode(const char *word) {
    if (lstrcmpiA(word, "DISTINCT") == 0) return 1;
    if (lstrcmpiA(word, "ALL") == 0) return 2;
    return 0;
}

// A word that turns out to be a unit or a quantifier carries no value:
// its copy goes and tokenValue is what it was before.
int dropValue(int token, void *previous) {
    SvcFree(gParse.tokenValue);
    gParse.tokenValue = previous;
    return token;
}

int classifyWord(const char *word, uint32_t length, uint32_t start) {
    if (lstrcmpiA(word, "AND") == 0) return TokAnd;
    void *previous = gParse.tokenValue;
    if (withCopy(TokName, word, length, start) == TokNoMemory) return TokNoMemory;
    uint16_t flags = contextFlags();
    if (!(flags & ECFlagNoDateMath)) {
        int unit = unitCode(word, length);
        if (unit) {
            gParse.unit = unit;
            return dropValue(TokUnit, previous);
        }
    }
    if (flags & ECFlagQualifiers) {
        int quantifier = quantifierCode(word);
        if (quantifier) {
            gParse.quantifier = quantifier;
            return dropValue(TokQuantifier, previous);
        }
    }
    return TokName;
}

// Two words and one space are a name only when a keyword of that name
// exists; otherwise the first word is read alone.
int twoWords(const char *text, uint32_t length, uint32_t start) {
    if (gParse.validating) return TOKEN_REFUSED;
    void *previous = gParse.tokenValue;
    if (withCopy(TokName, text, length, start) == TokNoMemory) return TokNoMemory;
    if (gParse.ec && keywordType(gParse.ec, (const char *)gParse.tokenValue) != -1) return TokName;
    dropValue(TOKEN_REFUSED, previous);
    return TOKEN_REFUSED;
}

// ---- The name check. The patterns know bytes only; this walk knows the
// code page. It gives NOT_NAME for a good name, GIVE_BACK to refuse, or the
// offset of the first bad byte.

bool isNameMark(unsigned char c) { return c == '@' || c == '#' || c == '$' || c == '_' || c == '.'; }

bool isAsciiAlnum(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isValidTrail(unsigned char c) { return (c >= 0x40 && c <= 0x7E) || (c >= 0x80 && c <= 0xFC); }

// A function name may stop at spaces and its "(": the name is good when
// the "(" closes the text, else the byte at `bad` is the fault.
int functionTail(const char *text, uint32_t length, uint32_t bad) {
    uint32_t at = bad;
    while (at < length && text[at] == ' ') at++;
    return at == length - 1 && text[at] == '(' ? NOT_NAME : (int)bad;
}

int checkSingleByte(const char *text, uint32_t length, bool functionMode) {
    bool quoted = false;
    for (uint32_t i = 0; i < length; i++) {
        unsigned char c = (unsigned char)text[i];
        if (c == '"' || c == '`') {
            quoted = !quoted;
            continue;
        }
        if (quoted || isAsciiAlnum(c) || isNameMark(c) || IsCharAlphaA((CHAR)c)) continue;
        if (functionMode && (c == ' ' || c == '(')) return functionTail(text, length, i);
        // A "|" taken for a trail byte at the end belongs to a following "||".
        if (i == length - 1 && c == '|') return GIVE_BACK;
        return (int)i;
    }
    return NOT_NAME;
}

int checkDoubleByte(const char *text, uint32_t length, bool functionMode) {
    bool quoted = false;
    for (uint32_t i = 0; i < length; i++) {
        unsigned char c = (unsigned char)text[i];
        if (SvcIsLead(c)) {
            if (i + 1 >= length) return (int)i;
            if (!isValidTrail((unsigned char)text[i + 1])) return (int)(i + 1);
            i++;
            continue;
        }
        if (c == '"' || c == '`') {
            quoted = !quoted;
            continue;
        }
        if (quoted || SvcIsWordChar(c) || isNameMark(c) || isAsciiAlnum(c)) continue;
        if (functionMode && (c == ' ' || c == '(')) return functionTail(text, length, i);
        return (int)i;
    }
    return NOT_NAME;
}

int nameCheck(const char *text, uint32_t length, bool functionMode) {
    return SvcIsDoubleByte() ? checkDoubleByte(text, length, functionMode)
                             : checkSingleByte(text, length, functionMode);
}

int badByte(uint32_t start, int offset) {
    setSpan(start + (uint32_t)offset, 1);
    return TokBad;
}

int name(const char *text, uint32_t length, uint32_t start) {
    int check = nameCheck(text, length, false);
    if (check == GIVE_BACK) return TOKEN_REFUSED;
    if (check >= 0) return badByte(start, check);
    return withCopy(TokName, text, length, start);
}

// The value is the name alone, without its "(" and the spaces before it.
int functionValue(const char *text, uint32_t length, uint32_t start) {
    if (withCopy(TokFunction, text, length, start) == TokNoMemory) return TokNoMemory;
    char *value = (char *)gParse.tokenValue;
    value[length - 1] = 0;
    SvcStrRTrim(value, value);
    return TokFunction;
}

int functionName(const char *text, uint32_t length, uint32_t start) {
    int check = nameCheck(text, length, true);
    if (check >= 0) return badByte(start, check);
    return functionValue(text, length, start);
}

// ---- Literals.

int number(const char *text, uint32_t length, uint32_t start) {
    Number *value = (Number *)SvcAlloc(sizeof(Number));
    if (!value) return TokNoMemory;
    SvcNumFromText(value, text);
    gParse.tokenValue = value;
    setSpan(start, length);
    return TokNumber;
}

// With ranges and sets on, a date must convert, or the text is read another
// way; the first date refused is noted for the report of a failed parse.
int date(const char *text, uint32_t length, uint32_t start) {
    if (contextFlags() & ECFlagRangesAndSets) {
        DateTime scratch;
        if (!TextToDate(&scratch, text)) {
            if (!gParse.dateError.noted) gParse.dateError = DateErrorNote{1, start, length};
            return TOKEN_REFUSED;
        }
    }
    return withCopy(TokDate, text, length, start);
}

// Under a double-byte code page the closing quote must be a quote of its
// own and not the trail of a character: walk the literal by characters and
// its escaped quotes by pairs; the first lone quote must be the last byte.
bool closesOnLastByte(const char *text, uint32_t length) {
    uint32_t i = 1;
    while (i < length) {
        unsigned char c = (unsigned char)text[i];
        bool pairWithQuote = (c == '\'' || c == '\\') && i + 1 < length && text[i + 1] == '\'';
        if (SvcIsLead(c) || pairWithQuote) {
            i += 2;
        } else if (c == '\'') {
            return i == length - 1;
        } else {
            i++;
        }
    }
    return false;
}

int string(const char *text, uint32_t length, uint32_t start) {
    if (SvcIsDoubleByte() && length > 2 && !closesOnLastByte(text, length)) return TOKEN_REFUSED;
    char *value = copyText(text + 1, length - 2);
    if (!value) return TokNoMemory;
    gParse.tokenValue = value;
    setSpan(start, length);
    return TokString;
}

int singleCharacter(const char *text, uint32_t start) {
    setSpan(start, 1);
    if (text[0] == '%' && !(contextFlags() & ECFlagModulo)) return TokBad;
    return (unsigned char)text[0];
}

int marked(int token, uint32_t start, uint32_t length) {
    setSpan(start, length);
    return token;
}

}  // namespace

int TokenAction(int rule, const char *text, uint32_t length, uint32_t start) {
    switch (rule) {
    case 0: return classifyWord(text, length, start);
    case 1: return twoWords(text, length, start);
    case 2: return withCopy(TokConstant, text, length, start);
    case 3: return name(text, length, start);
    case 4: case 5: case 6: return number(text, length, start);
    case 7: case 8: return date(text, length, start);
    case 9: return string(text, length, start);
    case 10: return functionName(text, length, start);
    case 11: return marked(TokConcat, start, length);
    case 12: return singleCharacter(text, start);
    default: return marked(TokBad, start, length);
    }
}

// The quick scan's names are ASCII letters, digits and # $ @ _, a function's
// followed by spaces and "(": the name check passes them all.
int QuickTokenAction(int rule, const char *text, uint32_t length, uint32_t start) {
    if (rule == RuleName) return withCopy(TokName, text, length, start);
    if (rule == RuleFunction) return functionValue(text, length, start);
    return TokenAction(rule, text, length, start);
}

// A token of TOKEN_BUFFER bytes or more ends the text where it stands. The
// span is told by the latest match before it.
void TokenOverflow(void) {
    gParse.error.code = ERR_MAXTOKEN;
    gParse.error.start = gParse.delivered + 1 - gParse.matchLength;
    gParse.error.length = gParse.matchLength + 1;
}

void StartParse(EC *ec, const char *text, int validating) {
    DateErrorNote dateError = gParse.dateError;
    memset(&gParse, 0, sizeof gParse);
    gParse.dateError = dateError;
    gParse.source = text;
    gParse.ec = ec;
    gParse.validating = validating;
    ScanReset();
}

void DeliverUpTo(uint32_t count) {
    if (gParse.delivered < count) gParse.delivered = count;
}

uint32_t DeliveredCount(void) { return gParse.delivered; }

int NextToken(void) { return ScanNext(); }
