// Helpers shared by the benchmarks (no test framework here).
#ifndef ZEM_BENCH_SUPPORT_H
#define ZEM_BENCH_SUPPORT_H

#include <stdio.h>

#include "zemi40.h"

// Registers an item with up to four parameters of the given types (a
// negative count: none and no brackets); gives what registration gives.
inline int BenchItem(HEC ec, int kind, int type, const char *name, int paramCount = 0,
                     const int *paramTypes = nullptr, int required = 0, int flags = 0,
                     const char *functionName = nullptr, ZEMProc callback = nullptr) {
    unsigned char buf[ZEM_EXPITEM_SIZE(4)] = {};
    ExpItem *it = (ExpItem *)buf;
    it->kind = (int16_t)kind;
    it->dataType = (int16_t)type;
    it->functionName = functionName;
    it->callback = callback;
    snprintf(it->name, sizeof it->name, "%s", name);
    it->paramCount = (int16_t)paramCount;
    it->required = (uint16_t)required;
    it->flags = (uint16_t)flags;
    for (int i = 0; i < paramCount && i < 4; i++) it->params[i].type = (uint16_t)paramTypes[i];
    return ZEMAddExpressionItem(ec, it);
}

#endif
