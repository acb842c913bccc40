// Per-thread slots. Each slot keeps, for every thread, its value and the
// destructor given with it; the destructor runs when the thread exits.
#ifndef _WIN32
#include <new>
#include <pthread.h>

#include "services/services.h"

namespace {

struct SlotEntry {
    void *value;
    SvcTlsDestructor destructor;
};

void runDestructor(void *p) {
    SlotEntry *e = (SlotEntry *)p;
    if (e->destructor && e->value) e->destructor(e->value);
    delete e;
}

}  // namespace

uint32_t _TLS_AllocIndex(void) {
    pthread_key_t key;
    if (pthread_key_create(&key, runDestructor) != 0) return (uint32_t)-1;
    return (uint32_t)key;
}

void _TLS_FreeIndex(uint32_t slot) {
    // The calling thread's entry is released here; other threads have
    // released theirs at exit.
    SlotEntry *e = (SlotEntry *)pthread_getspecific((pthread_key_t)slot);
    if (e) {
        pthread_setspecific((pthread_key_t)slot, 0);
        runDestructor(e);
    }
    pthread_key_delete((pthread_key_t)slot);
}

void *SvcTlsGet(uint32_t slot) {
    SlotEntry *e = (SlotEntry *)pthread_getspecific((pthread_key_t)slot);
    return e ? e->value : 0;
}

void SvcTlsSet(uint32_t slot, void *value, SvcTlsDestructor destructor) {
    SlotEntry *e = (SlotEntry *)pthread_getspecific((pthread_key_t)slot);
    if (!e) {
        e = new (std::nothrow) SlotEntry{0, 0};
        if (!e) return;
        pthread_setspecific((pthread_key_t)slot, e);
    }
    e->value = value;
    e->destructor = destructor;
}

void SvcTlsThreadExit(void) {}
#endif
