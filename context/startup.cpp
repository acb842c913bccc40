// Start-up: the per-thread slot, the two recursive locks, the module handle
// and the default context, made when the library is loaded and released in
// reverse order when it is unloaded.
#include "context/startup.h"

#include <string.h>

#include "context/threadblock.h"
#include "services/services.h"

ZemLock gParserLock;
ZemLock gDateLock;

namespace {

uint32_t gSlot = (uint32_t)-1;
HINSTANCE gModule;
HEC gDefaultContext;

void freeThreadBlock(void *block) { SvcFree(block); }

// The labels and titles every block carries, so that generated names have
// their stem on every thread.
void loadLabels(ThreadBlock *tb) {
    struct {
        unsigned id;
        char *to;
        int size;
    } const labels[] = {
        {208, tb->formulaLabel, 128},  {214, tb->rangeLabel, 128},   {215, tb->setLabel, 128},
        {207, tb->titleFormula, 128},  {212, tb->titleRange, 128},   {213, tb->titleSet, 128},
        {227, tb->numberLabel, 40},    {228, tb->dateTimeLabel, 40}, {229, tb->stringLabel, 40},
        {230, tb->anyLabel, 40},       {231, tb->keywordLabel, 40},
    };
    for (const auto &l : labels) LoadStringA(gModule, l.id, l.to, l.size);
}

void initLock(ZemLock *lock) {
    InitializeCriticalSection(&lock->section);
    lock->depth = 0;
}

}  // namespace

void LockEnter(ZemLock *lock) {
    EnterCriticalSection(&lock->section);
    lock->depth++;
}

void LockLeave(ZemLock *lock) {
    lock->depth--;
    LeaveCriticalSection(&lock->section);
}

HINSTANCE ModuleHandle(void) { return gModule; }

HEC defaultContext(void) { return gDefaultContext; }

ThreadBlock *threadBlock(void) {
    ThreadBlock *tb = (ThreadBlock *)SvcTlsGet(gSlot);
    if (tb) return tb;
    tb = (ThreadBlock *)SvcAlloc(sizeof(ThreadBlock));
    if (tb) {
        loadLabels(tb);
        tb->defaultContext = gDefaultContext;
    }
    SvcTlsSet(gSlot, tb, freeThreadBlock);
    return tb;
}

// The attach step: the module handle, the loading thread's block and the
// default context.
static void attachProcess(HINSTANCE module) {
    if (gModule) return;
    gModule = module;
    gDefaultContext = ZEMCreateEC(0, 0, 0, 0);
    threadBlock();
}

void ZemLibraryLoad(HINSTANCE module) {
    SvcMemoryStart();
    gSlot = _TLS_AllocIndex();
    initLock(&gDateLock);
    initLock(&gParserLock);
    attachProcess(module);
}

void ZemLibraryUnload(void) {
    DeleteCriticalSection(&gParserLock.section);
    DeleteCriticalSection(&gDateLock.section);
    _TLS_FreeIndex(gSlot);
    SvcMemoryStop();
}

#ifndef _WIN32
// Its address stands for the module where there is no module handle.
static char gModuleAnchor;
__attribute__((constructor)) static void loadLibrary(void) { ZemLibraryLoad(&gModuleAnchor); }
__attribute__((destructor)) static void unloadLibrary(void) { ZemLibraryUnload(); }
#endif

extern "C" {

ZEMAPI void *ZEMCALL FUNModuleHandle(void) { return gModule; }

ZEMAPI void ZEMCALL FUNWinIniChange(void) {}

}
