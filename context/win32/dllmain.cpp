// The loader's entry of zemi40.dll: start-up at process attach, the exiting
// thread's slot entries at thread detach, the reverse steps at process
// detach. Built into the DLL only; a program that links the library in gets
// the same steps from program.cpp.
#ifdef _WIN32
#include "context/startup.h"
#include "services/services.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        ZemLibraryLoad(module);
        break;
    case DLL_THREAD_DETACH:
        SvcTlsThreadExit();
        break;
    case DLL_PROCESS_DETACH:
        ZemLibraryUnload();
        break;
    default:
        break;
    }
    return TRUE;
}
#endif
