// The string table, in the bytes of each code page the library can run
// under. LoadStringA picks the table of the active code page.
#ifndef _WIN32
#include <string.h>

#include "services/platform.h"

namespace {

struct StringEntry {
    unsigned id;
    int length;
    const char *bytes;
};

#include "string_table.inc"

template <size_t N>
const StringEntry *findIn(const StringEntry (&table)[N], unsigned id) {
    size_t lo = 0, hi = N;
    while (lo < hi) {
        size_t mid = (lo + hi) / 2;
        if (table[mid].id == id) return &table[mid];
        if (table[mid].id < id) lo = mid + 1;
        else hi = mid;
    }
    return 0;
}

}  // namespace

int LoadStringA(HINSTANCE, unsigned id, char *buffer, int size) {
    if (!buffer || size <= 0) return 0;
    const StringEntry *e = GetACP() == 932 ? findIn(kStrings932, id) : findIn(kStrings1252, id);
    if (!e) {
        buffer[0] = 0;
        return 0;
    }
    int n = e->length < size - 1 ? e->length : size - 1;
    // Whole characters only: a cut must not leave a lone lead byte.
    int whole = 0;
    while (whole < n) {
        int step = IsDBCSLeadByte((BYTE)e->bytes[whole]) ? 2 : 1;
        if (whole + step > n) break;
        whole += step;
    }
    n = whole;
    memcpy(buffer, e->bytes, (size_t)n);
    buffer[n] = 0;
    return n;
}
#endif
