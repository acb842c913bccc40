// The error code table: symbols by code; the messages are strings of the
// string table under the code's own id.
#include "errors/errors.h"

#include "context/startup.h"
#include "services/platform.h"

namespace {

constexpr const char *kSymbols[ERROR_LAST - ERROR_FIRST + 1] = {
    "ERR_TYPENUM",      "ERR_PARM",         "ERR_VAR",          "ERR_FUNC",
    0,                  "ERR_NUMPARMSHI",   "ERR_GENERAL",      "ERR_NAME",
    "ERR_INPUT",        "ERR_SYNTAX",       "ERR_UNKNOWNCHAR",  "ERR_OPERATORNUM",
    "ERR_MAXTOKEN",     "ERR_OPERATORSTR",  "ERR_OPERATORDATE", "ERR_TYPESTR",
    "ERR_TYPEDATE",     "ERR_NUMPARMSLO",   "ERR_PARMNUM",      "ERR_PARMSTR",
    "ERR_PARMDATE",     "ERR_MEMORY",       "ERR_TOCOMPLEX",    "ERR_INVALIDDATE",
    "ERR_EXPPARMS",     "ERR_RECURSIVE",    "ERR_DUPNAME",      "ERR_EXPDATATYPE",
    "ERR_TYPENUMDATE",  "ERR_KEYWORD",      "ERR_MISKEYWORD",   "ERR_MEMLOW",
    "ERR_OPERATORKEYWORD", "ERR_PARMKEYWORD", "ERR_RANGETYPE",  "ERR_BETWEEN",
    "ERR_IMBEDDEDRANGE", "ERR_SUBCLASS",
};

}  // namespace

const char *ErrorSymbol(unsigned code) {
    if (code < ERROR_FIRST || code > ERROR_LAST) return 0;
    return kSymbols[code - ERROR_FIRST];
}

int ErrorMessage(unsigned code, char *buffer, int size) {
    if (!buffer || size <= 0) return 0;
    buffer[0] = 0;
    if (!ErrorSymbol(code)) return 0;
    return LoadStringA(ModuleHandle(), code, buffer, size);
}

void SetError(ExpError *error, unsigned code, unsigned start, unsigned length) {
    error->code = code;
    error->start = start;
    error->length = length;
}
