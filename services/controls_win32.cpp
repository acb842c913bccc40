// The stand-in CBCtrl classes: each superclasses a system class under the
// host's name, in the library's module, so a dialog made from the library's
// templates finds it. A class the host registered (before or later) is never
// touched: only what this file registered is unregistered, when the
// outermost dialog is over.
#ifdef _WIN32
#include <string.h>

#include "context/startup.h"
#include "services/controls_win32.h"
#include "services/platform.h"

namespace {

LRESULT CALLBACK optionButtonProc(HWND, UINT, WPARAM, LPARAM);

struct StandIn {
    const char *name;
    const char *system;
    WNDPROC own;  // a window procedure of its own, or 0
};

const StandIn kStandIns[] = {
    {"CBCtrlBorDialog", "#32770", 0},        {"CBCtrlEdit", "EDIT", 0},
    {"CBCtrlStatic", "STATIC", 0},           {"CBCtrlCommandButton", "BUTTON", 0},
    {"CBCtrlOptionButton", "BUTTON", optionButtonProc}, {"CBCtrlListBox", "LISTBOX", 0},
    {"CBCtrlGroupBox", "BUTTON", 0},
};
enum { STAND_INS = sizeof(kStandIns) / sizeof(kStandIns[0]) };

bool gRegistered[STAND_INS];
int gDepth;
WNDPROC gButtonProc;

// The host's option button takes "label|bitmap|colour"; the stand-in shows
// the label.
void labelOf(const char *caption, char *label, size_t size) {
    size_t n = strcspn(caption, "|");
    if (n >= size) n = size - 1;
    memcpy(label, caption, n);
    label[n] = 0;
}

LRESULT CALLBACK optionButtonProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    char label[128];
    if (message == WM_NCCREATE || message == WM_CREATE) {
        CREATESTRUCTA *cs = (CREATESTRUCTA *)lParam;
        if (cs && cs->lpszName && !IS_INTRESOURCE(cs->lpszName)) {
            CREATESTRUCTA shown = *cs;
            labelOf(cs->lpszName, label, sizeof(label));
            shown.lpszName = label;
            return CallWindowProcA(gButtonProc, window, message, wParam, (LPARAM)&shown);
        }
    } else if (message == WM_SETTEXT && lParam) {
        labelOf((const char *)lParam, label, sizeof(label));
        return CallWindowProcA(gButtonProc, window, message, wParam, (LPARAM)label);
    }
    return CallWindowProcA(gButtonProc, window, message, wParam, lParam);
}

bool registerStandIn(const StandIn &s, HINSTANCE module) {
    WNDCLASSEXA wc;
    wc.cbSize = sizeof(wc);
    if (GetClassInfoExA(module, s.name, &wc)) return false;  // the host's own
    if (!GetClassInfoExA(0, s.system, &wc)) return false;
    if (s.own) {
        gButtonProc = wc.lpfnWndProc;
        wc.lpfnWndProc = s.own;
    }
    wc.style &= ~CS_GLOBALCLASS;
    wc.hInstance = module;
    wc.lpszClassName = s.name;
    return RegisterClassExA(&wc) != 0;
}

}  // namespace

void ControlClassesAcquire(void) {
    if (gDepth++ > 0) return;
    for (int i = 0; i < STAND_INS; i++) gRegistered[i] = registerStandIn(kStandIns[i], ModuleHandle());
}

void ControlClassesRelease(void) {
    if (gDepth == 0 || --gDepth > 0) return;
    for (int i = 0; i < STAND_INS; i++) {
        if (gRegistered[i]) UnregisterClassA(kStandIns[i].name, ModuleHandle());
        gRegistered[i] = false;
    }
}

#endif
