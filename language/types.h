// The type rules that run while a text is parsed: operator and call nodes,
// the ends of a Range, the members of a Set, and the arguments of a call.
// A failing check leaves its report in the report given (or the parse's own
// report); a report of length 0 leaves the span to the grammar rule.
#ifndef ZEM_TYPES_H
#define ZEM_TYPES_H

#include "context/ec.h"
#include "language/tree.h"

// An operator node (37, 42, 43, 45, 47, 124) over two operands, with the
// pending unit word in its flags; dataType -1 when the types do not fit.
// 0 when out of memory (the operands stay the caller's).
ExpNode *BuildOperator(int op, ExpNode *left, ExpNode *right);

// A call of a function or of a stored expression; dataType -1 on failure.
// 0 when out of memory (name and arguments stay the caller's).
ExpNode *BuildCall(char *name, HARRAY args, int form);

// A Range of two ends, or 0 on failure (the ends stay the caller's).
ExpNode *BuildRange(HEC ec, ExpNode *left, ExpNode *right, ExpError *report);

// The common data type of a Set's members, or -1.
int CheckSetMembers(HEC ec, HARRAY list, ExpError *report);

// 1 when the arguments fit the function's parameters, else 0.
int CheckArguments(HEC ec, HARRAY args, const char *name, ExpError *report, int form,
                   int quantifier);

// For count arguments (1 or more): 0 good, below 0 too few, above 0 too many.
int ArgumentCountRule(int count, const ExpItem *item);

// The type of a call of a function of type Any, or -1.
int AnyResultType(HEC ec, HARRAY args, const char *name);

#endif
