/* The grammar of the expression language. Each rule's action builds its
 * node and checks its types at once, so the first failure of any sort ends
 * the parse. A stack record holds the first token's span and a value: a
 * token's block, a node or a list. What still lies on the stack when a parse
 * fails is released by the destructors below. */

%code requires {
#include <stdint.h>

#include "services/services.h"

struct ExpNode;

/* The span of a stack entry: a token's own, and for a reduction that of its
 * rule's first symbol, so that a non-terminal has the span of its first
 * token. */
struct SpanRecord {
    uint32_t start;
    uint32_t length;
};
}

%code top {
/* A reduction's span is that of its rule's first symbol. */
#define YYLLOC_DEFAULT(Current, Rhs, N) ((Current) = YYRHSLOC(Rhs, (N) ? 1 : 0))
/* 150 entries, the start state's included: the stack is full when a push
 * reaches the last of these 151 slots. It is never grown, and the growth
 * path that is compiled all the same stays off the C heap. */
#define YYINITDEPTH 151
#define YYMAXDEPTH 151
#define YYMALLOC SvcAlloc
#define YYFREE SvcFree
}

%code {
#include "errors/errors.h"
#include "language/parsestate.h"
#include "language/tree.h"
#include "language/types.h"

namespace {

/* The root once a start rule has made it; released if the parse fails
 * after all, at the end of the text. */
ExpNode *gRoot;

int yylex(YYSTYPE *value, SpanRecord *span);
void yyerror(const SpanRecord *, const char *message) { ParserMessage(message); }

EC *context() { return gParse.ec; }

/* Ends the parse from an action. */
#define FAIL()                  \
    do {                        \
        gParse.result = 0;      \
        YYABORT;                \
    } while (0)

void spanOf(const SpanRecord &span) {
    gParse.error.start = span.start;
    gParse.error.length = span.length;
}

/* A check that wrote no span leaves it to the rule. */
int spanLeftOpen() { return gParse.error.length == 0; }

HARRAY newList(ExpNode *first) {
    HARRAY list = SvcArrayCreate(sizeof(ExpNode *), 1);
    if (!list) return 0;
    *(ExpNode **)SvcArrayLock(list, 0) = first;
    SvcArrayUnlock(list);
    return list;
}

/* Appends to a list; 0 when it could not grow, the list still whole. */
HARRAY appendToList(HARRAY list, ExpNode *node) {
    HARRAY grown = SvcArrayGrow(list, -1);
    if (!grown) return 0;
    unsigned last = SvcArrayCount(grown) - 1;
    *(ExpNode **)SvcArrayLock(grown, last) = node;
    SvcArrayUnlock(grown);
    return grown;
}

/* The action of an operator rule, given the spans of the operator, of the
 * unit word (or 0) and of the right operand. */
ExpNode *operatorRule(int op, ExpNode *left, ExpNode *right, const SpanRecord &opToken,
                      const SpanRecord *unitWord, const SpanRecord &rightOperand) {
    ExpNode *node = BuildOperator(op, left, right);
    if (!node) {
        FreeNode(context(), left);
        FreeNode(context(), right);
        return 0;
    }
    node->start = gParse.tokenStart;
    node->length = gParse.tokenLength;
    gParse.result = node;
    if (node->dataType != -1) return node;
    if (spanLeftOpen()) {
        if (!unitWord)
            spanOf(opToken);
        else
            spanOf(gParse.error.code == ERR_KEYWORD ? *unitWord : rightOperand);
    }
    FreeNode(context(), node);
    return 0;
}

/* The action of a call rule, given the name and span of the function, the
 * spans of the star and the quantifier word (or 0); closed is 0 for a call
 * without parentheses. */
ExpNode *callRule(char *name, const SpanRecord &function, HARRAY args, int form,
                  const SpanRecord *star, const SpanRecord *quantifier, int closed) {
    ExpNode *node = BuildCall(name, args, form);
    if (form == FormQuantifier) gParse.quantifier = 0;
    if (!node) {
        FreeArgumentList(context(), args);
        SvcFree(name);
        return 0;
    }
    if (node->dataType == -1) {
        if (spanLeftOpen()) {
            unsigned code = gParse.error.code;
            if (star && code == ERR_SYNTAX)
                spanOf(*star);
            else if (quantifier && (code == ERR_KEYWORD || code == ERR_MISKEYWORD))
                spanOf(*quantifier);
            else
                spanOf(function);
        }
        FreeNode(context(), node);
        return 0;
    }
    node->start = function.start;
    node->length = function.length;
    if (closed) node->closing = gParse.tokenStart;
    return node;
}

/* A leaf of a name or a date: 0 when it failed, the report made. */
ExpNode *leafRule(int kind, void *value, const SpanRecord &token) {
    ExpNode *node = MakeLeaf(kind, value);
    if (!node) {
        SvcFree(value);
        return 0;
    }
    gParse.result = node;
    if (node->dataType == -1 && !(kind == NodeInput && gParse.validating)) {
        spanOf(token);
        FreeNode(context(), node);
        return 0;
    }
    return node;
}

ExpNode *numberRule(void *value, int negate) {
    ExpNode *node = MakeNumber(value, negate);
    if (!node) {
        SvcFree(value);
        return 0;
    }
    gParse.result = node;
    return node;
}

}  // namespace
}

%define api.pure full
%define api.location.type {SpanRecord}
%define api.token.prefix {GRAMMAR_}
%locations

%union {
    void *value;    /* a token's block */
    ExpNode *node;
    HARRAY list;
}

%token <value> NUMBER 257
%token <value> NAME 258
%token <value> FUNCTION 259
%token <value> CONSTANT 260
%token <value> STRING 262
%token <value> DATE 263
%token CONCAT 264
%token BAD 265
%token UNIT 266
%token QUANTIFIER 267
%token NOMEMORY 268
%token AND 269

%type <list> head list args
%type <node> expr literal call

%destructor { SvcFree($$); } <value>
%destructor { FreeNode(context(), $$); } <node>
%destructor { FreeArgumentList(context(), $$); } <list>

%left '+' '-'
%left '*' '/'
%left '%'
%left CONCAT
/* A unit word behind a + or - expression closes that expression. */
%precedence UNIT

%start start

%%

/* head comes first so that the default reduction after a top-level
 * expression is the list's: only the end of the text makes a Formula. */
head
    : expr {
        $$ = newList($1);
        if (!$$) {
            SetError(&gParse.error, ERR_MEMORY, 0, 0);
            FreeNode(context(), $1);
            FAIL();
        }
    }
    ;

start
    : expr {
        gParse.result = $1;
        if ($1->dataType > 255) {
            SetError(&gParse.error, ERR_KEYWORD, 0, 1000);
            FreeNode(context(), $1);
            FAIL();
        }
        gRoot = $1;
    }
    | list {
        ExpNode *set = NewNode();
        if (!set) {
            FreeArgumentList(context(), $1);
            FAIL();
        }
        set->kind = NodeSet;
        set->right = (void *)$1;
        gParse.result = set;
        set->dataType = (int16_t)CheckSetMembers(context(), $1, &gParse.error);
        if (set->dataType == -1) {
            FreeNode(context(), set);
            FAIL();
        }
        gRoot = set;
    }
    | expr AND expr {
        ExpNode *range = BuildRange(context(), $1, $3, &gParse.error);
        gParse.result = range;
        if (!range) {
            FreeNode(context(), $1);
            FreeNode(context(), $3);
            FAIL();
        }
        gRoot = range;
    }
    ;

list
    : head ',' expr {
        $$ = appendToList($1, $3);
        if (!$$) {
            SetError(&gParse.error, ERR_MEMORY, 0, 0);
            FreeArgumentList(context(), $1);
            FreeNode(context(), $3);
            FAIL();
        }
    }
    | list ',' expr {
        $$ = appendToList($1, $3);
        if (!$$) {
            SetError(&gParse.error, ERR_MEMORY, 0, 0);
            FreeArgumentList(context(), $1);
            FreeNode(context(), $3);
            FAIL();
        }
    }
    ;

args
    : head
    | list
    ;

expr
    : expr '+' expr {
        gParse.unit = 0;
        $$ = operatorRule('+', $1, $3, @2, 0, @3);
        if (!$$) FAIL();
    }
    | expr '-' expr {
        gParse.unit = 0;
        $$ = operatorRule('-', $1, $3, @2, 0, @3);
        if (!$$) FAIL();
    }
    | expr '*' expr {
        $$ = operatorRule('*', $1, $3, @2, 0, @3);
        if (!$$) FAIL();
    }
    | expr '/' expr {
        $$ = operatorRule('/', $1, $3, @2, 0, @3);
        if (!$$) FAIL();
    }
    | expr '%' expr {
        $$ = operatorRule('%', $1, $3, @2, 0, @3);
        if (!$$) FAIL();
    }
    | expr CONCAT expr {
        $$ = operatorRule('|', $1, $3, @2, 0, @3);
        if (!$$) FAIL();
    }
    | expr '-' expr UNIT {
        $$ = operatorRule('-', $1, $3, @2, &@4, @3);
        if (!$$) FAIL();
    }
    | expr '+' expr UNIT {
        $$ = operatorRule('+', $1, $3, @2, &@4, @3);
        if (!$$) FAIL();
    }
    | '(' expr ')' { $$ = $2; }
    | NOMEMORY {
        $$ = 0;
        SetError(&gParse.error, ERR_MEMORY, 0, 0);
        FAIL();
    }
    | BAD {
        $$ = 0;
        SetError(&gParse.error, ERR_UNKNOWNCHAR, @1.start, @1.length);
        FAIL();
    }
    | call
    | NAME {
        $$ = leafRule(NodeInput, $1, @1);
        if (!$$) FAIL();
    }
    | literal
    ;

literal
    : '-' NUMBER {
        $$ = numberRule($2, 1);
        if (!$$) FAIL();
    }
    | NUMBER {
        $$ = numberRule($1, 0);
        if (!$$) FAIL();
    }
    | DATE {
        $$ = leafRule(NodeDate, $1, @1);
        if (!$$) FAIL();
    }
    | STRING {
        $$ = MakeLeaf(NodeString, $1);
        if (!$$) {
            SvcFree($1);
            FAIL();
        }
        gParse.result = $$;
    }
    ;

call
    : CONSTANT {
        $$ = callRule((char *)$1, @1, 0, FormPlain, 0, 0, 0);
        if (!$$) FAIL();
    }
    | FUNCTION ')' {
        $$ = callRule((char *)$1, @1, 0, FormPlain, 0, 0, 1);
        if (!$$) FAIL();
    }
    | FUNCTION args ')' {
        $$ = callRule((char *)$1, @1, $2, FormPlain, 0, 0, 1);
        if (!$$) FAIL();
    }
    | FUNCTION '*' ')' {
        $$ = callRule((char *)$1, @1, 0, FormStar, &@2, 0, 1);
        if (!$$) FAIL();
    }
    | FUNCTION QUANTIFIER ')' {
        $$ = callRule((char *)$1, @1, 0, FormQuantifier, 0, &@2, 1);
        if (!$$) FAIL();
    }
    | FUNCTION QUANTIFIER args ')' {
        $$ = callRule((char *)$1, @1, $3, FormQuantifier, 0, &@2, 1);
        if (!$$) FAIL();
    }
    ;

%%

namespace {

int carriesValue(int token) {
    switch (token) {
    case TokNumber: case TokName: case TokFunction: case TokConstant: case TokString: case TokDate:
        return 1;
    default:
        return 0;
    }
}

/* A token: its span as the tokeniser left it, and its block, which now
 * belongs to the parser. */
int yylex(YYSTYPE *value, SpanRecord *span) {
    int token = NextToken();
    span->start = gParse.tokenStart;
    span->length = gParse.tokenLength;
    value->value = 0;
    if (carriesValue(token)) {
        value->value = gParse.tokenValue;
        gParse.tokenValue = 0;
    }
    return token;
}

}  // namespace

int RunParser(void) {
    gRoot = 0;
    int failed = yyparse() != 0;
    if (failed) {
        FreeNode(gParse.ec, gRoot);
        gParse.result = 0;
    } else {
        gParse.result = gRoot;
    }
    gRoot = 0;
    return failed;
}

void ParserMessage(const char *text) {
    if (gParse.error.code == ERR_MAXTOKEN) return;
    static const struct {
        const char *text;
        unsigned code;
    } kMessages[] = {
        {"syntax error", ERR_SYNTAX},
        {"Syntax error", ERR_SYNTAX},
        {"Out of Memory", ERR_MEMORY},
        {"memory exhausted", ERR_TOCOMPLEX},  // the parser's stack is full
        {"Parser stack overflow", ERR_TOCOMPLEX},
    };
    unsigned code = ERR_GENERAL;
    for (const auto &m : kMessages) {
        if (SvcStrEqual(text, m.text)) {
            code = m.code;
            break;
        }
    }
    uint32_t matched = gParse.matchLength;
    SetError(&gParse.error, code, DeliveredCount() - matched, matched);
}
