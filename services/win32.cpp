// Per-thread slots on Windows: a TLS index of the system for each slot, whose
// value is an entry holding the thread's value and the destructor given with
// it. The loader's thread-detach notice runs the destructors of the exiting
// thread (SvcTlsThreadExit); the locks, the string table and the character
// calls are the system's own and need nothing here.
#ifdef _WIN32
#include "services/platform.h"
#include "services/services.h"

namespace {

struct SlotEntry {
    void *value;
    SvcTlsDestructor destructor;
};

// The slots alive, so that a thread's exit can visit each of its entries.
// The library takes one; a few more leave room for the tests.
enum { MAX_SLOTS = 8 };
volatile LONG gSlots[MAX_SLOTS] = {-1, -1, -1, -1, -1, -1, -1, -1};

// Entries live on the process heap, outside the counted library blocks, as
// the system's own TLS storage would.
SlotEntry *newEntry() {
    return (SlotEntry *)HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(SlotEntry));
}

// Runs and drops the calling thread's entry of one slot.
void releaseEntry(DWORD index) {
    SlotEntry *e = (SlotEntry *)TlsGetValue(index);
    if (!e) return;
    TlsSetValue(index, 0);
    if (e->destructor && e->value) e->destructor(e->value);
    HeapFree(GetProcessHeap(), 0, e);
}

}  // namespace

uint32_t _TLS_AllocIndex(void) {
    DWORD index = TlsAlloc();
    if (index == TLS_OUT_OF_INDEXES) return (uint32_t)-1;
    for (volatile LONG &s : gSlots)
        if (InterlockedCompareExchange(&s, (LONG)index, -1) == -1) break;
    return (uint32_t)index;
}

void _TLS_FreeIndex(uint32_t slot) {
    if (slot == (uint32_t)-1) return;
    // Other threads' entries went at their exit; this thread's goes now.
    releaseEntry(slot);
    for (volatile LONG &s : gSlots) InterlockedCompareExchange(&s, -1, (LONG)slot);
    TlsFree(slot);
}

void *SvcTlsGet(uint32_t slot) {
    SlotEntry *e = slot == (uint32_t)-1 ? 0 : (SlotEntry *)TlsGetValue(slot);
    return e ? e->value : 0;
}

void SvcTlsSet(uint32_t slot, void *value, SvcTlsDestructor destructor) {
    if (slot == (uint32_t)-1) return;
    SlotEntry *e = (SlotEntry *)TlsGetValue(slot);
    if (!e) {
        if (!(e = newEntry())) return;
        TlsSetValue(slot, e);
    }
    e->value = value;
    e->destructor = destructor;
}

void SvcTlsThreadExit(void) {
    for (volatile LONG &s : gSlots) {
        LONG index = s;
        if (index != -1) releaseEntry((DWORD)index);
    }
}

#endif
