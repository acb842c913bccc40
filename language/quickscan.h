// A quick scan of the everyday tokens, in front of the generated scanner.
#ifndef ZEM_QUICKSCAN_H
#define ZEM_QUICKSCAN_H

#include <stdint.h>

// The rule numbers of scanner.l that the quick scan gives.
enum QuickRule {
    RuleWord = 0,
    RuleName = 3,
    RuleNumber = 4,
    RuleString = 9,
    RuleFunction = 10,
    RuleConcat = 11,
    RuleOperator = 12,
    RuleBlanks = 13,
};

struct QuickMatch {
    int rule;
    uint32_t length;  // bytes of the token
    uint32_t reach;   // bytes the generated scanner would have taken
};

// Reads the token at `at`, whose scan must stop at `end` (where two NULs
// lie). Gives 1 and the match when the token is one the generated scanner
// would give by that rule at that length with no action refusing it, and
// with the same reach; 0 when it must decide.
int QuickScan(const char *at, const char *end, QuickMatch *match);

#endif
