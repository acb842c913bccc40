// Registers the built-in functions in a context. Each is described by a
// string of the library's string table, "FUNname,result,count,type1,...",
// and its code is found under the full name.
#include <stdlib.h>
#include <string.h>

#include "context/startup.h"
#include "eval/functions/builtins.h"
#include "services/platform.h"
#include "services/services.h"

namespace {

enum {
    FIRST_DEFINITION = 20000,
    LAST_DEFINITION = 20045,
    TEXT_SIZE = 129,  // a definition is read up to 128 bytes
    MOST_PARAMS = 64, // more than a definition's text can list
};

// The working record must hold any descriptor count a definition can give;
// on targets with wide pointers that is more than 127 bytes.
constexpr size_t RECORD_SIZE =
    ZEM_EXPITEM_SIZE(MOST_PARAMS) > 127 ? ZEM_EXPITEM_SIZE(MOST_PARAMS) : 127;

// The blocks of one run, freed however it ends.
struct WorkBlocks {
    ExpItem *record = (ExpItem *)SvcAlloc(RECORD_SIZE);
    char *text = (char *)SvcAlloc(TEXT_SIZE);
    char *name = (char *)SvcAlloc(TEXT_SIZE);
    char *field = (char *)SvcAlloc(TEXT_SIZE);
    bool ready() const { return record && text && name && field; }
    ~WorkBlocks() {
        SvcFree(field);
        SvcFree(name);
        SvcFree(text);
        SvcFree(record);
    }
};

// The next field behind *cursor into `out`, passing a run of commas as one
// separator: false when no field is left.
bool nextField(const char **cursor, char *out) {
    const char *p = *cursor;
    while (*p == ',') p++;
    if (!*p) return false;
    size_t n = strcspn(p, ",");
    if (n >= TEXT_SIZE) n = TEXT_SIZE - 1;
    memcpy(out, p, n);
    out[n] = 0;
    *cursor = p + strcspn(p, ",");
    return true;
}

// A number field; one that is missing reads as 0, as atoi reads an empty text.
int numberField(const char **cursor, char *field) {
    return nextField(cursor, field) ? atoi(field) : 0;
}

// Fills the record from one definition: false when it cannot be one.
bool readDefinition(const char *text, WorkBlocks *w) {
    ExpItem *record = w->record;
    memset(record, 0, RECORD_SIZE);
    record->kind = ZEM_ITEM_FUNCTION;
    const char *cursor = text;
    if (!nextField(&cursor, w->name)) return false;
    size_t length = strlen(w->name);
    const char *shortName = length > 3 ? w->name + 3 : "";
    size_t kept = strlen(shortName);
    if (kept > sizeof record->name - 1) kept = sizeof record->name - 1;
    memcpy(record->name, shortName, kept);
    record->dataType = (int16_t)numberField(&cursor, w->field);
    int count = numberField(&cursor, w->field);
    if (count > MOST_PARAMS) return false;
    record->paramCount = (int16_t)count;
    for (int i = 0; i < count; i++)
        record->params[i].type = (uint16_t)numberField(&cursor, w->field);
    record->functionName = w->name;
#ifdef _WIN32
    // The library's own export table holds the code under the full name.
    record->callback = reinterpret_cast<ZEMProc>(
        reinterpret_cast<void (*)(void)>(GetProcAddress(ModuleHandle(), w->name)));
#else
    record->callback = reinterpret_cast<ZEMProc>(
        reinterpret_cast<void (*)(void)>(BuiltinByName(w->name)));
#endif
    return true;
}

}  // namespace

// A second call adds every function again.
extern "C" ZEMAPI int ZEMCALL FUNDefineFunctions(HEC ec) {
    if (!ec) return 0;
    WorkBlocks w;
    if (!w.ready()) return 0;
    for (unsigned id = FIRST_DEFINITION; id <= LAST_DEFINITION; id++) {
        if (!LoadStringA(ModuleHandle(), id, w.text, TEXT_SIZE)) continue;
        if (!readDefinition(w.text, &w)) continue;
        if (!ZEMAddExpressionItem(ec, w.record)) return 0;
    }
    return 1;
}
