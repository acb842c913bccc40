// Recursive locks under their Win32 names, for platforms without them.
#ifndef _WIN32
#include <new>
#include <pthread.h>

#include "services/platform.h"

void InitializeCriticalSection(CRITICAL_SECTION *cs) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t *m = new (std::nothrow) pthread_mutex_t;
    if (m) pthread_mutex_init(m, &attr);
    pthread_mutexattr_destroy(&attr);
    cs->impl = m;
}

void EnterCriticalSection(CRITICAL_SECTION *cs) {
    if (cs->impl) pthread_mutex_lock((pthread_mutex_t *)cs->impl);
}

void LeaveCriticalSection(CRITICAL_SECTION *cs) {
    if (cs->impl) pthread_mutex_unlock((pthread_mutex_t *)cs->impl);
}

void DeleteCriticalSection(CRITICAL_SECTION *cs) {
    pthread_mutex_t *m = (pthread_mutex_t *)cs->impl;
    if (!m) return;
    pthread_mutex_destroy(m);
    delete m;
    cs->impl = 0;
}
#endif
