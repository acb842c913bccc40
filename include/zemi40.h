/*
 * zemi40 — an embeddable expression engine.
 *
 * The public interface, usable from C and C++. A host creates an expression
 * context (HEC), registers the functions, input items and keywords its users
 * may name, and hands formula texts to the library.
 *
 * Conventions of every call:
 *  - The context handle comes first. Success is 1 or a handle, failure 0;
 *    where a number is asked for and none exists the answer is -1.
 *  - Texts are zero-terminated byte strings of the system code page (CP932
 *    by default, see ZEMSetSystemCodePage). Lengths and offsets are bytes.
 *  - Texts handed in are copied; the caller keeps its own. Memory that the
 *    library hands out comes from ZEMMemAlloc and goes back by ZEMMemFree.
 */
#ifndef ZEMI40_H
#define ZEMI40_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#  if defined(ZEM_BUILDING)
#    define ZEMAPI __declspec(dllexport)
#  else
#    define ZEMAPI __declspec(dllimport)
#  endif
#  define ZEMCALL __stdcall
#else
#  define ZEMAPI __attribute__((visibility("default")))
#  define ZEMCALL
#endif

/* ---- Handles ------------------------------------------------------------ */

typedef struct EC *HEC;          /* an expression context */
typedef struct ExpRecord *HEXP;  /* a stored expression */
typedef void *HZEMWND;           /* a window of the host, or 0 */

/* A code address as the item records and the resolve callback carry it.
 * Cast it to the callback type that fits the item's kind. */
typedef void (ZEMCALL *ZEMProc)(void);

/* ---- Values ------------------------------------------------------------- */

/* A Number or DateTime: 25 bytes, byte 0 the count of bytes used behind it,
 * 0 for the null value. Build and read them only through the Svc calls. */
typedef struct Number { unsigned char bytes[25]; } Number;
typedef Number DateTime;
#define ZEM_VALUE_SIZE 25

/* An unpacked date. The unit of fraction is the microsecond (0..999999). */
typedef struct DateFields {
    int32_t month, day, year, hour, minute, second, fraction;
} DateFields;

/* Data type codes. Keyword types run on to 255 and beyond. */
enum {
    ZEM_TYPE_NUMBER = 0,
    ZEM_TYPE_DATETIME = 1,
    ZEM_TYPE_STRING = 2,
    ZEM_TYPE_KEYWORD = 3,
    ZEM_TYPE_ANY = 4,
    ZEM_TYPE_ANY_STAR = 5
};

/* Item kinds. Kind 2 is a named formula in ZEMIsItemUsed and has no store. */
enum { ZEM_ITEM_FUNCTION = 0, ZEM_ITEM_INPUT = 1, ZEM_ITEM_FORMULA = 2, ZEM_ITEM_KEYWORD = 3 };

/* ---- Records at the boundary -------------------------------------------- */

#pragma pack(push, 1)

/* One parameter of a function item. */
typedef struct ExpParam {
    uint16_t mode;      /* 0 any expression of the type, 1 an input item (aggregate) */
    uint16_t type;      /* data type of the parameter */
    uint16_t subclass;  /* subclass an input item given here must have, 0 any */
} ExpParam;

/* A function, input item or keyword. The record is packed; on the 32-bit
 * build its offsets are 0, 2, 4, 8, 12, 77, 79, 81, 83, 85. A function of
 * n parameters is ZEM_EXPITEM_SIZE(n) bytes; one of negative count and an
 * input item or keyword are read as ZEM_EXPITEM_SIZE(1) and
 * ZEM_EXPITEM_SIZE(0) bytes. */
typedef struct ExpItem {
    int16_t kind;               /* 0 function, 1 input item, 3 keyword */
    int16_t dataType;           /* result, value or keyword type */
    const char *functionName;   /* name the resolve callback knows, or 0 */
    ZEMProc callback;           /* value code, or 0 */
    char name[65];              /* what a user writes, at most 64 bytes */
    int16_t paramCount;         /* functions; negative: no parentheses */
    uint16_t required;          /* functions: required count; others: subclass */
    uint16_t optional;          /* functions: optional count; keywords: case-sensitive */
    uint16_t flags;             /* ZEM_FN_... */
    ExpParam params[1];         /* paramCount descriptors, functions only */
} ExpItem;

#pragma pack(pop)

/* The report of a failed parse: 12 bytes. */
typedef struct ExpError {
    uint32_t code;    /* 100..137, 0 for none */
    uint32_t start;   /* byte offset of the span in the text */
    uint32_t length;  /* its length in bytes, 0 when unknown */
} ExpError;

#define ZEM_EXPITEM_SIZE(n) (offsetof(ExpItem, params) + 6u * (size_t)(n))

/* Function flags (ExpItem.flags). */
#define ZEM_FN_QUANTIFIER     0x0001  /* may take ALL or DISTINCT */
#define ZEM_FN_QUANTIFIER2    0x0002  /* the same */
#define ZEM_FN_AGG_ANY        0x0004  /* aggregate parameter takes any expression */
#define ZEM_FN_AGG_NODISTINCT 0x0008  /* ... except under DISTINCT */
#define ZEM_FN_DISTINCT       0x0010  /* DISTINCT required */
#define ZEM_FN_ESCAPED        0x0020  /* extended text writes an escaped call */

/* Context option word. */
#define ECFlagShowGenerated   0x0001
#define ECFlagNoConcat        0x0002
#define ECFlagQualifiers      0x0004
#define ECFlagDateMinusString 0x0008
#define ECFlagStringPlus      0x0010
#define ECFlagNoDateMath      0x0020
#define ECFlagModulo          0x0040
#define ECFlagRangesAndSets   0x0080

/* Error codes (ExpError.code); the messages are strings of the same id. */
enum {
    ERR_TYPENUM = 100, ERR_PARM = 101, ERR_VAR = 102, ERR_FUNC = 103,
    ERR_NUMPARMSHI = 105, ERR_GENERAL = 106, ERR_NAME = 107, ERR_INPUT = 108,
    ERR_SYNTAX = 109, ERR_UNKNOWNCHAR = 110, ERR_OPERATORNUM = 111,
    ERR_MAXTOKEN = 112, ERR_OPERATORSTR = 113, ERR_OPERATORDATE = 114,
    ERR_TYPESTR = 115, ERR_TYPEDATE = 116, ERR_NUMPARMSLO = 117,
    ERR_PARMNUM = 118, ERR_PARMSTR = 119, ERR_PARMDATE = 120,
    ERR_MEMORY = 121, ERR_TOCOMPLEX = 122, ERR_INVALIDDATE = 123,
    ERR_EXPPARMS = 124, ERR_RECURSIVE = 125, ERR_DUPNAME = 126,
    ERR_EXPDATATYPE = 127, ERR_TYPENUMDATE = 128, ERR_KEYWORD = 129,
    ERR_MISKEYWORD = 130, ERR_MEMLOW = 131, ERR_OPERATORKEYWORD = 132,
    ERR_PARMKEYWORD = 133, ERR_RANGETYPE = 134, ERR_BETWEEN = 135,
    ERR_IMBEDDEDRANGE = 136, ERR_SUBCLASS = 137
};

/* ---- Host callbacks ----------------------------------------------------- */

/* Turns a function name into a code address, or 0. */
typedef ZEMProc (ZEMCALL *ZEMResolveCallback)(const char *name);
/* Non-zero permits the builder to delete exp. */
typedef int (ZEMCALL *ZEMDelPermissionCallback)(HEC ec, HEXP exp, HZEMWND window);
/* Told of changes to the expression list (codes 1 and 2). */
typedef void (ZEMCALL *ZEMNotifyCallback)(HEC ec, int32_t code);
/* Fills the builder's values list. */
typedef void (ZEMCALL *ZEMListValuesCallback)(HEC ec, const char *itemName, HZEMWND list,
                                              int32_t refresh, int32_t *keepEnabled);
/* Told when an edit changes an expression's name. */
typedef void (ZEMCALL *ZEMRenameCallback)(HEC ec, const char *oldName, const char *newName);

/* The value of an input item: *value is a zeroed block of size bytes (25 for
 * Number and DateTime, 50 for String and Keyword) owned by the evaluator.
 * Grow a String block with FUNStrVarResult. Non-zero when *value holds the
 * value. */
typedef int (ZEMCALL *ZEMInputCallback)(HEC ec, HEXP current, int32_t size, void **value,
                                        const char *name);
/* A function: as above, plus one argument pointer a declared parameter. */
typedef int (ZEMCALL *ZEMFunctionCallback)(HEC ec, HEXP current, int32_t size, void **value,
                                           const char *name, void **arguments);
/* An operator in place of the library's arithmetic; the result is ignored. */
typedef int (ZEMCALL *ZEMOperatorCallback)(HEC ec, HEXP current, int32_t zero, int32_t size1,
                                           void *left, int32_t size2, void *right,
                                           int32_t size3, void *result);
/* Enumeration of items: view is the item record from its name field on. */
typedef void (ZEMCALL *ZEMEnumItemCallback)(HEC ec, const char *view, intptr_t user);

/* A combo control as ZEMLoadComboBox fills it: one call a name. On Windows
 * the library sends CB_ADDSTRING to a real combo box instead. */
typedef struct ZEMComboList {
    int (ZEMCALL *addString)(struct ZEMComboList *self, const char *text);
    void *host;
} ZEMComboList;

/* ---- Memory ------------------------------------------------------------- */

ZEMAPI void *ZEMCALL ZEMMemAlloc(uint32_t size);              /* zeroed, or 0 */
ZEMAPI void *ZEMCALL ZEMMemRealloc(void *block, uint32_t size); /* null block: 0 */
ZEMAPI void ZEMCALL ZEMMemFree(void *block);                    /* null: nothing */
ZEMAPI uint32_t ZEMCALL ZEMMemSize(void *block);                /* null: 0 */

/* ---- Contexts ----------------------------------------------------------- */

/* A new context, or 0 when memory ran out. flags is the option word. */
ZEMAPI HEC ZEMCALL ZEMCreateEC(HZEMWND owner, ZEMResolveCallback resolve,
                               ZEMRenameCallback rename, uint16_t flags);
/* Destroys the context with all it owns. 0 allowed. Always 1. */
ZEMAPI int ZEMCALL ZEMDestroyEC(HEC ec);
/* The setters give back the callback given. */
ZEMAPI ZEMListValuesCallback ZEMCALL ZEMSetListValuesCallback(HEC ec, ZEMListValuesCallback cb);
ZEMAPI ZEMDelPermissionCallback ZEMCALL ZEMSetDelPermissionCallback(HEC ec,
                                                                    ZEMDelPermissionCallback cb);
ZEMAPI ZEMNotifyCallback ZEMCALL ZEMSetNotifyCallback(HEC ec, ZEMNotifyCallback cb);
/* The host's own word: the former value, 0 for a null context. */
ZEMAPI intptr_t ZEMCALL ZEMSetUserLong(HEC ec, intptr_t value);
ZEMAPI intptr_t ZEMCALL ZEMGetUserLong(HEC ec);

/* ---- Items -------------------------------------------------------------- */

/* Copies the host's record (and its function name) into the context. */
ZEMAPI int ZEMCALL ZEMAddExpressionItem(HEC ec, const ExpItem *item);
/* Calls cb for every item of a kind (0, 1, 3) in registration order. */
ZEMAPI void ZEMCALL ZEMEnumExpItems(HEC ec, int kind, ZEMEnumItemCallback cb, intptr_t user);
/* Copies the input item record into out (ZEM_EXPITEM_SIZE(1) bytes). The
 * pointers in it stay the library's. 1 when found. */
ZEMAPI int ZEMCALL ZEMGetExpressionVariable(HEC ec, ExpItem *out, const char *name);
/* Adds every name of a kind to the list; the count added. On Windows the
 * list is the host's combo box window, which gets CB_ADDSTRING. */
#if defined(_WIN32)
ZEMAPI int ZEMCALL ZEMLoadComboBox(HEC ec, int kind, HZEMWND combo);
#else
ZEMAPI int ZEMCALL ZEMLoadComboBox(HEC ec, int kind, ZEMComboList *combo);
#endif
/* Deletes the first item of that kind and name without asking. */
ZEMAPI int ZEMCALL ZEMDelExpItemNoCheck(HEC ec, int kind, const char *name);
/* Deletes every input item; 1, or 0 with no input store or on a failure. */
ZEMAPI int ZEMCALL ZEMDeleteAllECVars(HEC ec);
/* Non-zero when the named item has an aggregate parameter. */
ZEMAPI int ZEMCALL ZEMIsItemAggregate(HEC ec, int kind, const char *name);
/* 1 when name clashes with a date unit word; out (65 bytes) gets a name
 * that does not ("_" + name), or the name itself. */
ZEMAPI int ZEMCALL ZEMInputNameIsKeyword(char *out, const char *name);

/* ---- Stored expressions -------------------------------------------------
 * An expression's ordinal is its place in the context's store, from 0.
 * The kinds: Formula, Range (two ends joined by AND), Set (a comma list). */

/* Called for each expression; non-zero to go on. */
typedef int (ZEMCALL *ZEMEnumExpCallback)(HEC ec, HEXP exp, int32_t ordinal);

ZEMAPI int32_t ZEMCALL ZEMGetExpressionCount(HEC ec);
ZEMAPI int32_t ZEMCALL ZEMGetExpressionOrdinal(HEC ec, HEXP exp);        /* -1 when absent */
ZEMAPI HEXP ZEMCALL ZEMHEXPFromOrdinal(HEC ec, int32_t ordinal);
ZEMAPI HEXP ZEMCALL ZEMHEXPFromName(HEC ec, const char *name);          /* exact name */
ZEMAPI HEXP ZEMCALL ZEMHEXPFromText(HEC ec, const char *text);          /* exact text */
/* The last result of the callback, 0 when it was not called. */
ZEMAPI int ZEMCALL ZEMEnumExpressions(HEC ec, ZEMEnumExpCallback cb);
/* Text and name into a buffer of size bytes (at least 1): copies what fits,
 * terminates, and gives the lesser of the length and size. */
ZEMAPI int32_t ZEMCALL ZEMGetExpressionTextLength(HEC ec, HEXP exp);
ZEMAPI int32_t ZEMCALL ZEMGetExpressionText(HEC ec, HEXP exp, int32_t size, char *buffer);
ZEMAPI int32_t ZEMCALL ZEMGetExpressionNameLength(HEC ec, HEXP exp);
ZEMAPI int32_t ZEMCALL ZEMGetExpressionName(HEC ec, HEXP exp, int32_t size, char *buffer);
/* The result type in the low 16 bits, all ones above; 0xFFFFFFFF for none. */
ZEMAPI uint32_t ZEMCALL ZEMGetExpressionDataType(HEC ec, HEXP exp);
/* which 1: is it a Set; which 2: is it a Range. */
ZEMAPI int ZEMCALL ZEMIsExpRange(HEC ec, HEXP exp, uint16_t which);
ZEMAPI int ZEMCALL ZEMIsExpressionSimple(HEC ec, HEXP exp);       /* a literal alone */
ZEMAPI int ZEMCALL ZEMIsExpressionSimpleInput(HEC ec, HEXP exp);  /* a name alone */
ZEMAPI int32_t ZEMCALL ZEMGetSimpleInputSubClass(HEC ec, HEXP exp); /* -1 when none */
ZEMAPI int ZEMCALL ZEMIsExpNameGenerated(HEC ec, HEXP exp);
/* 1 when no other expression and no function has the name. */
ZEMAPI int ZEMCALL ZEMIsExpNameUnique(HEC ec, HEXP leaveOut, const char *name);
/* 1 when destroyed (or exp is 0); 0 when unknown or named by another. */
ZEMAPI int ZEMCALL ZEMDestroyEXP(HEC ec, HEXP exp);
/* A new expression from exp's text; a taken or empty name is generated. */
ZEMAPI HEXP ZEMCALL ZEMCloneExpression(HEC ec, HEXP exp, const char *newName,
                                       uint16_t *resultType);
/* kind 0 function, 1 input item, 2 named formula; follows named formulas. */
ZEMAPI int ZEMCALL ZEMIsItemUsed(HEC ec, HEXP exp, int kind, const char *name);
ZEMAPI int ZEMCALL ZEMIsNamedFormulaUsed(HEC ec, const char *name);
/* Non-zero when an expression that is neither a literal alone nor a name
 * alone uses the input item. */
ZEMAPI int ZEMCALL ZEMIsItemUsedInComplex(HEC ec, const char *inputName);
/* 1 when exp's text contains name anywhere (a text test, not a walk). */
ZEMAPI int ZEMCALL ZEMIsFunctionUsed(HEC ec, HEXP exp, const char *functionName);
/* Non-zero when a call of the function has the input item as a direct
 * argument somewhere in exp, named formulas followed. */
ZEMAPI int ZEMCALL ZEMIsFunctionVariableUsed(HEC ec, HEXP exp, const char *functionName,
                                             const char *inputName);
/* Non-zero when exp calls a function with an aggregate parameter. */
ZEMAPI int ZEMCALL ZEMIsAggregateUsed(HEC ec, HEXP exp);
/* Renames a function (kind 0) or an input item (any other kind) in its store
 * and in every stored expression's text and tree. newName must fit 64 bytes.
 * Always 0. */
ZEMAPI int ZEMCALL ZEMRenameExpressionItem(HEC ec, int kind, const char *oldName,
                                           const char *newName);
/* Offered an expression that uses an item about to be deleted: non-zero
 * when the host has removed it (ZEMDestroyEXP), 0 to refuse the deletion. */
typedef int (ZEMCALL *ZEMDeleteItemCallback)(HEC ec, HEXP exp, ExpItem *item);
/* Deletes an item (kind 1 input item, else function) after offering every
 * expression that uses it to cb, users before what they use. Non-zero when
 * done (1, or cb's last answer); 0 when cb refused, everything kept. */
ZEMAPI int ZEMCALL ZEMDeleteExpItem(HEC ec, int kind, const char *name, ZEMDeleteItemCallback cb);

/* ---- Parsing --------------------------------------------------------------
 * The text and name stay the caller's. resultType must be valid; it is
 * written as soon as the text has parsed. report may be 0; after a failure
 * it holds the code and the byte span, after a success it means nothing. */
ZEMAPI HEXP ZEMCALL ZEMParseString(HEC ec, const char *text, const char *name,
                                   ExpError *report, uint16_t *resultType);
/* Adds a new expression (old 0) or replaces old in place, keeping its HEXP. */
ZEMAPI HEXP ZEMCALL ZEMParseFormula(HEC ec, HEXP old, const char *text, const char *name,
                                    ExpError *report, uint16_t *resultType);
/* 1 when name can serve as a name. A null context is the default one. */
ZEMAPI int ZEMCALL ZEMValidName(HEC ec, const char *name, ExpError *report);

/* ---- Evaluation ---------------------------------------------------------
 * Only a Formula evaluates. A failure anywhere gives 0 and no report. */

/* Number and DateTime: 25 bytes into buffer. String: with bufferSize 0 the
 * needed size (length + 1) as a 32-bit number at buffer; else the lesser of
 * bufferSize and length + 1 bytes (cut strings arrive without a NUL). */
ZEMAPI int ZEMCALL ZEMEvaluateExpression(HEC ec, HEXP exp, int32_t bufferSize, void *buffer);
/* Number and DateTime: 25 bytes into *buffer, which the caller allocated.
 * String: *buffer (from ZEMMemAlloc, or 0) is grown to fit, the text with
 * its NUL copied, and *length set to its size masked to 16 bits. */
ZEMAPI int ZEMCALL ZEMEvaluateExpressionExt(HEC ec, HEXP exp, uint32_t *length, void **buffer);

/* ---- Settings and copy -------------------------------------------------- */

/* A path below 520 bytes replaces the help path; the help context number is
 * stored in every case. */
ZEMAPI int ZEMCALL ZEMSetHelpPath(HEC ec, const char *path, int32_t helpContext);
/* Wrapping formats (each with one %s) for rewritten date, date-and-time and
 * time literals of the extended text; a null format keeps its slot. Bit
 * 0x0002 of flags turns the wrapping on. */
ZEMAPI void ZEMCALL ZEMSetDateConvert(HEC ec, const char *date, const char *dateTime,
                                      const char *time, uint16_t flags);
/* Date pictures (docs/pictures.md) for date, date-and-time and time literals
 * of the extended text; null or empty clears a slot. Always 1. */
ZEMAPI int ZEMCALL ZEMSetDatePicture(HEC ec, const char *date, const char *dateTime,
                                     const char *time);
/* Names the host's callback for an operator (0 +, 1 -, 2 /, 3 *, 4 ||) on a
 * data type (0 to 3), resolved through the resolve callback. 1, or 0 when
 * ec is 0 or memory ran out: the context is then destroyed and ec is dead. */
ZEMAPI int ZEMCALL ZEMSetOperatorCallback(HEC ec, int16_t op, int16_t dataType, const char *name);
/* A new context with ec's callbacks, settings, items and expressions (parsed
 * afresh; one that names a later expression is left out), or 0. */
ZEMAPI HEC ZEMCALL ZEMCopyEC(HEC ec);

/* ---- Text and persistence ------------------------------------------------ */

/* An upper bound of the extended text's length (no terminator); 0 for a
 * null exp. Extended text inlines named formulas in brackets; with expand
 * non-zero it escapes flagged function calls (" {fn " ... " } ") and
 * rewrites date literals in the context's pictures. */
ZEMAPI int32_t ZEMCALL ZEMGetExtendedTextLength(HEC ec, HEXP exp, int32_t expand);
/* Fills buffer (bufferSize at least 1) with the cut, terminated extended
 * text; gives its length less one (-1 for the empty text), 0 when memory
 * ran out (buffer empty). */
ZEMAPI int32_t ZEMCALL ZEMGetExtendedText(HEC ec, HEXP exp, int32_t bufferSize, char *buffer,
                                          int32_t expand);
/* The size of ec's block (version 3); withExpressions 0 leaves the
 * expression section out. A null context: 1. */
ZEMAPI uint32_t ZEMCALL ZEMGetECBlockSize(HEC ec, int32_t withExpressions);
/* Writes ec's block into buffer, never past bufferSize; gives the bytes
 * written. A result below ZEMGetECBlockSize(ec, 1) means the block is
 * incomplete, except for a buffer sized without expressions. */
ZEMAPI uint32_t ZEMCALL ZEMGetECBlock(HEC ec, int32_t bufferSize, void *buffer);

/* ---- The built-in functions ----------------------------------------------
 * FUNDefineFunctions registers the 46 built-ins in a context, under their
 * names without "FUN". Each is also exported under its FUN name with the
 * function callback's arguments (ZEMFunctionCallback). */
ZEMAPI int ZEMCALL FUNDefineFunctions(HEC ec);
/* Puts text into a String result block of size bytes, growing it first when
 * it is too small. 1, or 0 with *value unchanged. */
ZEMAPI int ZEMCALL FUNStrVarResult(void **value, int32_t size, const char *text);

#define ZEM_BUILTIN(name)                                                      \
    ZEMAPI int ZEMCALL name(HEC ec, HEXP current, int32_t size, void **value, \
                            const char *functionName, void **arguments);
ZEM_BUILTIN(FUNDateAddDay)
ZEM_BUILTIN(FUNDateYear)
ZEM_BUILTIN(FUNDateMonth)
ZEM_BUILTIN(FUNDateDay)
ZEM_BUILTIN(FUNDateHour)
ZEM_BUILTIN(FUNDateMinute)
ZEM_BUILTIN(FUNDateSecond)
ZEM_BUILTIN(FUNDateMonthBegin)
ZEM_BUILTIN(FUNDateMonthEnd)
ZEM_BUILTIN(FUNDateToStr)
ZEM_BUILTIN(FUNDateConstruct)
ZEM_BUILTIN(FUNStrMid)
ZEM_BUILTIN(FUNStrRight)
ZEM_BUILTIN(FUNStrLeft)
ZEM_BUILTIN(FUNStrLength)
ZEM_BUILTIN(FUNStrRTrim)
ZEM_BUILTIN(FUNStrLTrim)
ZEM_BUILTIN(FUNStrRepeat)
ZEM_BUILTIN(FUNStrPad)
ZEM_BUILTIN(FUNStrCompare)
ZEM_BUILTIN(FUNStrIFF)
ZEM_BUILTIN(FUNStrCase)
ZEM_BUILTIN(FUNStrProper)
ZEM_BUILTIN(FUNStrReplace)
ZEM_BUILTIN(FUNStrScan)
ZEM_BUILTIN(FUNStrSpaces)
ZEM_BUILTIN(FUNStrToDate)
ZEM_BUILTIN(FUNStrToNumber)
ZEM_BUILTIN(FUNStrUpper)
ZEM_BUILTIN(FUNNumberAbsolute)
ZEM_BUILTIN(FUNNumberMod)
ZEM_BUILTIN(FUNNumberToStr)
ZEM_BUILTIN(FUNNumberToCurrency)
ZEM_BUILTIN(FUNNumberCountryFmt)
ZEM_BUILTIN(FUNNumberRound)
ZEM_BUILTIN(FUNNumberTruncate)
ZEM_BUILTIN(FUNStrLower)
ZEM_BUILTIN(FUNNumberIFF)
ZEM_BUILTIN(FUNDateIFF)
ZEM_BUILTIN(FUNDateToStrPicture)
ZEM_BUILTIN(FUNNumberToStrPicture)
ZEM_BUILTIN(FUNStrTrim)
ZEM_BUILTIN(FUNStrTranslate)
ZEM_BUILTIN(FUNPower)
ZEM_BUILTIN(FUNWeekDay)
ZEM_BUILTIN(FUNDateQuarter)
#undef ZEM_BUILTIN

/* ---- Loading a context block ------------------------------------------ */

/* Where a report of a load goes instead of ZEMErrorDisplay. */
typedef void (ZEMCALL *ZEMLoadErrorCallback)(HEC ec, const char *text, const ExpError *error);
/* Fills a fresh context (functions and keywords registered, no input items)
 * from a block of exactly size bytes that ZEMGetECBlock wrote. With
 * loadExpressions 0 it stops before the expressions. An expression that no
 * longer parses goes to the end user: the builder in repair mode, or the
 * context's repair callback. 1 on success; on 0 what was read stays, and the
 * context is to be destroyed. */
ZEMAPI int ZEMCALL ZEMSetECContents(HEC ec, int32_t size, const void *block,
                                    int32_t loadExpressions, ZEMLoadErrorCallback errorCallback);
/* A host's own repair of a text that does not load: called with the text,
 * the expression's name and the error, it gives a corrected text (the
 * host's, valid until the next call) or 0 to refuse, which fails the load.
 * A correction that still fails is offered again with its new error. With
 * one set, the builder is not opened. Gives the former callback. */
typedef const char *(ZEMCALL *ZEMRepairCallback)(HEC ec, const char *text, const char *name,
                                                 const ExpError *error);
ZEMAPI ZEMRepairCallback ZEMCALL ZEMSetRepairCallback(HEC ec, ZEMRepairCallback callback);

/* ---- The builder and the error dialogs ---------------------------------- */

/* Opens the formula builder, modal, over parent: an end user composes, names,
 * opens and deletes expressions of ec. exp is the expression to open, or 0.
 * maximumText limits the text field in bytes (0: no limit of the library's).
 * Gives the expression saved by OK, or 0 (Cancel, or no dialog could be
 * made: then error 131 goes through ZEMErrorDisplay). */
ZEMAPI HEXP ZEMCALL ZEMBuildExpression(HZEMWND parent, HEC ec, HEXP exp, uint16_t maximumText);
/* The same in the mode of a type: 1 Set, 2 Range, any other Formula. With a
 * startItem named in the data items list, its values window opens at once. */
ZEMAPI HEXP ZEMCALL ZEMBuildExpressionOfType(HZEMWND parent, HEC ec, HEXP exp,
                                            uint16_t maximumText, int32_t type,
                                            const char *startItem);
/* Shows a report to the user: the text with the error's span selected and
 * the message of its code. 1 when the user closed it, -1 when it could not
 * be shown. The text must stay valid during the call. */
ZEMAPI int32_t ZEMCALL ZEMErrorDisplay(HZEMWND parent, const char *text, const ExpError *error);

/* A host's own way of showing reports: with a hook set, ZEMErrorDisplay and
 * the builder's reports (loading: 1 for the report of a block's text that
 * failed to load) go to the hook, which gets the text, the span and the
 * message of the code in the system code page, and whose result
 * ZEMErrorDisplay gives. Without one, Windows shows the dialog, and a build
 * without windows gives -1. Process-wide; gives the former hook. */
typedef int32_t (ZEMCALL *ZEMErrorDisplayHook)(HZEMWND parent, const char *text,
                                              const ExpError *error, const char *message,
                                              int32_t loading);
ZEMAPI ZEMErrorDisplayHook ZEMCALL ZEMSetErrorDisplayHook(ZEMErrorDisplayHook hook);

/* ---- Start-up state ----------------------------------------------------- */

ZEMAPI void *ZEMCALL FUNModuleHandle(void);
ZEMAPI void ZEMCALL FUNWinIniChange(void);

/* ---- Extensions of this build -------------------------------------------- */

/* Selects the stand-in system code page: 932 (double-byte Shift-JIS, the
 * default) or 1252 (single-byte). 1 when accepted. Call it before any
 * context exists; texts already handed in keep their bytes. On Windows the
 * real system code page is used and the call gives 0. */
ZEMAPI int ZEMCALL ZEMSetSystemCodePage(uint32_t codePage);
ZEMAPI uint32_t ZEMCALL ZEMGetSystemCodePage(void);

/* Regional settings that the date and number conversions read. */
typedef struct ZEMRegional {
    int32_t dateOrder;        /* 0 month/day/year, 1 day/month/year, 2 year/month/day */
    char dateSeparator[4];    /* "/" */
    char timeSeparator[4];    /* ":" */
    char decimalPoint[4];     /* "." */
    char grouping[4];         /* "," */
    char currency[8];         /* "$" */
    int32_t currencyAfter;    /* 0 "$1.00", 1 "1.00$" */
    int32_t currencyDecimals; /* 2 */
    char am[8], pm[8];        /* "AM", "PM" */
    char monthNames[12][16];  /* "January" ... */
    char monthAbbrev[12][8];  /* "Jan" ... */
    char dayNames[7][16];     /* "Sunday" ... */
    char dayAbbrev[7][8];     /* "Sun" ... */
    int32_t clock24;          /* 0: default time text with AM/PM */
} ZEMRegional;

/* Replaces the regional settings (null restores the defaults). Takes effect
 * for conversions without a picture at once, and for picture conversions of
 * a process that has not made one yet. */
ZEMAPI int ZEMCALL ZEMSetRegionalSettings(const ZEMRegional *settings);
ZEMAPI void ZEMCALL ZEMGetRegionalSettings(ZEMRegional *out);

#ifdef __cplusplus
}
#endif

#include "zemi40_values.h"

#endif
