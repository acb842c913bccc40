// The window operations of a build without a windowing system: no dialog can
// be made, and every other operation finds no window and does nothing.
#ifndef _WIN32
#include "builder/ui.h"

namespace {

HWND noWindow(HWND, int) { return 0; }
HWND noParent(HWND) { return 0; }
int noId(HWND) { return 0; }
int noLength(HWND) { return 0; }
int noText(HWND, char *buffer, int size) {
    if (buffer && size > 0) buffer[0] = 0;
    return 0;
}
void setNothing(HWND, const char *) {}
void noSelection(HWND, int32_t *start, int32_t *end) { *start = *end = 0; }
void setNoSelection(HWND, int32_t, int32_t) {}
int notModified(HWND) { return 0; }
void setNoFlag(HWND, int) {}
void noClipboardOp(HWND, unsigned) {}
int noClipboard(void) { return 0; }
int noRowAdded(HWND, const char *) { return -1; }
int noRowInserted(HWND, int, const char *) { return -1; }
void noRowDeleted(HWND, int) {}
int noRowLength(HWND, int) { return -1; }
int noRowText(HWND, int, char *buffer) {
    if (buffer) buffer[0] = 0;
    return -1;
}
intptr_t noRowData(HWND, int) { return -1; }
void setNoRowData(HWND, int, intptr_t) {}
int noRow(HWND) { return -1; }
int noRowFound(HWND, int, const char *) { return -1; }
void noRadio(HWND, int, int, int) {}
void noRect(HWND, UiRect *rect) { *rect = UiRect{0, 0, 0, 0}; }
void noPlace(HWND, const UiRect *) {}
void noMove(HWND, int32_t, int32_t) {}
int32_t noScreen(void) { return 0; }
intptr_t noDialog(HWND, UiDialog, void *) { return -1; }
void noEnd(HWND, intptr_t) {}
HWND noModeless(HWND, UiDialog) { return 0; }
void noDestroy(HWND) {}
int noAnswer(HWND, const char *, const char *, unsigned) { return UI_IDCANCEL; }
void noBeep(void) {}
void noTimer(HWND, unsigned, unsigned) {}
void noKill(HWND, unsigned) {}
void noPost(HWND, unsigned, uintptr_t, intptr_t) {}
intptr_t noSend(HWND, unsigned, uintptr_t, intptr_t) { return 0; }
WNDPROC noSubclass(HWND, UiHandler) { return 0; }
intptr_t noFormer(WNDPROC, HWND, unsigned, uintptr_t, intptr_t) { return 0; }
HBITMAP noBitmap(const char *) { return 0; }
void noBitmapSize(HBITMAP, int32_t *width, int32_t *height) { *width = *height = 0; }
void noFree(HBITMAP) {}
void noMetrics(HWND, uintptr_t, TEXTMETRICA *metrics) { *metrics = TEXTMETRICA{}; }
void noDrawBitmap(void *, HBITMAP, int32_t, int32_t, int32_t, int32_t) {}
void noDrawText(void *, const char *, const UiRect *, unsigned) {}
void noDraw(void *, const UiRect *) {}

}  // namespace

const BuilderUi gPlatformUi = {
    noWindow, noParent, noId,
    noLength, noText, setNothing, noSelection, setNoSelection, notModified, setNoFlag,
    setNoFlag, noClipboardOp, noClipboard,
    noRowAdded, noRowInserted, noRowDeleted, noLength, noRowLength, noRowText, noRowData,
    setNoRowData, noRow, noRowDeleted, noRowDeleted, noRowFound,
    setNoFlag, setNoFlag, [](HWND) {}, noRadio, notModified, notModified, noParent, noRect, noRect, noPlace, noMove, noScreen,
    noScreen,
    noDialog, noEnd, noModeless, noDestroy, noAnswer, noBeep, noTimer, noKill, noPost, noSend,
    noSubclass, noFormer,
    noBitmap, noBitmapSize, noFree, noMetrics, noDrawBitmap, noDrawText, noDraw, noDraw,
};
#endif
