// Start-up for a Windows program that links the library in (the tests and
// zem): there is no DllMain, so a static object loads and unloads the
// library with the program, and a TLS callback, which the loader calls for
// every module, brings the thread-detach notice. The module is the program
// itself: its resources hold the string table and its export table the
// built-ins.
#ifdef _WIN32
#include "context/startup.h"
#include "services/services.h"

namespace {

HINSTANCE thisModule() {
    HMODULE module = 0;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       (LPCSTR)(void *)&thisModule, &module);
    return module;
}

struct Lifetime {
    Lifetime() { ZemLibraryLoad(thisModule()); }
    ~Lifetime() { ZemLibraryUnload(); }
} gLifetime;

void NTAPI threadNotice(PVOID, DWORD reason, PVOID) {
    if (reason == DLL_THREAD_DETACH) SvcTlsThreadExit();
}

}  // namespace

// The loader walks the callbacks between the CRT's .CRT$XLA and .CRT$XLZ.
extern "C" __attribute__((section(".CRT$XLF"), used))
const PIMAGE_TLS_CALLBACK zemThreadNotice = threadNotice;
#endif
