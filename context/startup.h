// What exists before the first exported call: the two process-wide
// recursive locks, the module state and each thread's ThreadBlock.
#ifndef ZEM_STARTUP_H
#define ZEM_STARTUP_H

#include "services/platform.h"
#include "zemi40.h"

// A recursive lock with its depth beside it.
struct ZemLock {
    CRITICAL_SECTION section;
    long depth;  // touched only by the thread that holds the lock
};

extern ZemLock gParserLock;  // every parse of the process
extern ZemLock gDateLock;    // the locale block of the picture conversions

void LockEnter(ZemLock *lock);
void LockLeave(ZemLock *lock);

// Holds a lock for the length of a scope.
class LockGuard {
public:
    explicit LockGuard(ZemLock *lock) : lock_(lock) { LockEnter(lock_); }
    ~LockGuard() { LockLeave(lock_); }
    LockGuard(const LockGuard &) = delete;
    LockGuard &operator=(const LockGuard &) = delete;

private:
    ZemLock *lock_;
};

HINSTANCE ModuleHandle(void);

// The load and unload steps, run once by the platform's loader hook.
void ZemLibraryLoad(HINSTANCE module);
void ZemLibraryUnload(void);

#endif
