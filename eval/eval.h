// The tree evaluator.
#ifndef ZEM_EVAL_H
#define ZEM_EVAL_H

#include "context/expressions.h"
#include "language/tree.h"

// The value of a node: a new SvcAlloc block the caller owns (25 bytes for a
// Number or DateTime, a terminated text for a String or Keyword), or 0 for
// no result. current is the expression whose tree is being walked.
void *EvalNode(HEC ec, HEXP current, const ExpNode *node);

#endif
