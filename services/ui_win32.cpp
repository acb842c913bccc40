// The window operations over Win32: the builder's and the error dialogs'
// controls are the system's windows, their templates and bitmaps the
// library's resources, their handlers the exported window procedures.
#ifdef _WIN32
#include "builder/ui.h"
#include "builder/win32/procs.h"
#include "context/startup.h"
#include "services/controls_win32.h"
#include "services/services.h"

namespace {

struct DialogKind {
    const char *resource;
    DLGPROC proc;
};

// By UiDialog.
const DialogKind kDialogs[] = {
    {"EXPBILD", ZemDlgProc},          {"DLGERROR", ZEMErrorDlgProc},
    {"DLGFERROR", ZEMErrorDlgProc},   {"EXPTEXTVIEW", ZemViewTextDlgProc},
    {"LISTVALUES", ZemListValuesDlgProc},
};

// By UiHandler.
const WNDPROC kHandlers[] = {
    EditSubProc, StatusSubProc, LBFormsSubProc, LBVarsSubProc, LBFuncsSubProc,
    ZEMErrorEditProc, ViewEditSubProc,
};

LRESULT sendTo(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return SendMessageA(window, message, wParam, lParam);
}

HWND item(HWND dialog, int id) { return GetDlgItem(dialog, id); }
HWND parent(HWND window) { return GetParent(window); }
int id(HWND control) { return GetDlgCtrlID(control); }

int textLength(HWND window) { return GetWindowTextLengthA(window); }
int getText(HWND window, char *buffer, int size) {
    if (size > 0) buffer[0] = 0;
    return GetWindowTextA(window, buffer, size);
}
void setText(HWND window, const char *text) { SetWindowTextA(window, text); }

// The library counts a field's positions in bytes of the code page. An
// edit control of an ANSI window does so on some systems and counts
// characters on others (wine): with double-byte characters in the text, the
// control's own length in its units tells which.
struct FieldText {
    char *bytes = 0;
    int32_t length = 0;
    bool inCharacters = false;
    explicit FieldText(HWND field);
    ~FieldText() { SvcFree(bytes); }
    int32_t toControl(int32_t offset) const;
    int32_t fromControl(int32_t position) const;
};

int32_t characterCount(const char *text, int32_t bytes) {
    int32_t count = 0;
    for (const char *p = text; p < text + bytes && *p; p = CharNextA(p)) count++;
    return count;
}

FieldText::FieldText(HWND field) {
    length = GetWindowTextLengthA(field);
    bytes = (char *)SvcAlloc((size_t)length + 1);
    if (!bytes) return;
    length = GetWindowTextA(field, bytes, length + 1);
    if (characterCount(bytes, length) == length) return;
    DWORD from = 0, to = 0, all = 0;
    sendTo(field, EM_GETSEL, (WPARAM)&from, (LPARAM)&to);
    sendTo(field, EM_SETSEL, 0, -1);
    sendTo(field, EM_GETSEL, 0, (LPARAM)&all);
    sendTo(field, EM_SETSEL, from, to);
    inCharacters = (int32_t)all != length;
}

// Byte offset to the control's position: the characters that start before it.
int32_t FieldText::toControl(int32_t offset) const {
    if (!inCharacters) return offset;
    return characterCount(bytes, offset < length ? offset : length);
}

int32_t FieldText::fromControl(int32_t position) const {
    if (!inCharacters) return position;
    const char *p = bytes;
    for (int32_t i = 0; i < position && *p; i++) p = CharNextA(p);
    return (int32_t)(p - bytes);
}

void getSelection(HWND field, int32_t *start, int32_t *end) {
    DWORD from = 0, to = 0;
    sendTo(field, EM_GETSEL, (WPARAM)&from, (LPARAM)&to);
    FieldText text(field);
    *start = text.fromControl((int32_t)from);
    *end = text.fromControl((int32_t)to);
}
void setSelection(HWND field, int32_t start, int32_t end) {
    FieldText text(field);
    sendTo(field, EM_SETSEL, text.toControl(start), text.toControl(end));
}
int modified(HWND field) { return sendTo(field, EM_GETMODIFY, 0, 0) != 0; }
void setModified(HWND field, int on) { sendTo(field, EM_SETMODIFY, on, 0); }
void limitText(HWND field, int limit) { sendTo(field, EM_LIMITTEXT, limit, 0); }
void clipboard(HWND field, unsigned op) { sendTo(field, op, 0, 0); }
int clipboardHasText(void) { return IsClipboardFormatAvailable(CF_TEXT) != 0; }

int listAdd(HWND list, const char *text) { return (int)sendTo(list, LB_ADDSTRING, 0, (LPARAM)text); }
int listInsert(HWND list, int row, const char *text) {
    return (int)sendTo(list, LB_INSERTSTRING, row, (LPARAM)text);
}
void listDelete(HWND list, int row) { sendTo(list, LB_DELETESTRING, row, 0); }
int listCount(HWND list) { return (int)sendTo(list, LB_GETCOUNT, 0, 0); }
int listTextLength(HWND list, int row) { return (int)sendTo(list, LB_GETTEXTLEN, row, 0); }
int listText(HWND list, int row, char *buffer) {
    return (int)sendTo(list, LB_GETTEXT, row, (LPARAM)buffer);
}
intptr_t listData(HWND list, int row) { return sendTo(list, LB_GETITEMDATA, row, 0); }
void setListData(HWND list, int row, intptr_t data) { sendTo(list, LB_SETITEMDATA, row, data); }
int listSelection(HWND list) { return (int)sendTo(list, LB_GETCURSEL, 0, 0); }
// Sent to the list itself, so that a handler on it sees the change.
void selectRow(HWND list, int row) { sendTo(list, LB_SETCURSEL, row, 0); }
void setTopRow(HWND list, int row) { sendTo(list, LB_SETTOPINDEX, row, 0); }
int findRow(HWND list, int after, const char *prefix) {
    return (int)sendTo(list, LB_FINDSTRING, after, (LPARAM)prefix);
}

void enable(HWND window, int on) { EnableWindow(window, on); }
void show(HWND window, int on) { ShowWindow(window, on ? SW_SHOW : SW_HIDE); }
void focus(HWND window) { SetFocus(window); }
void checkRadio(HWND dialog, int first, int last, int id) { CheckRadioButton(dialog, first, last, id); }

void screenRect(HWND window, UiRect *rect) {
    RECT r = {0, 0, 0, 0};
    GetWindowRect(window, &r);
    *rect = UiRect{r.left, r.top, r.right, r.bottom};
}
void clientRect(HWND control, UiRect *rect) {
    RECT r = {0, 0, 0, 0};
    GetWindowRect(control, &r);
    MapWindowPoints(0, GetParent(control), (POINT *)&r, 2);
    *rect = UiRect{r.left, r.top, r.right, r.bottom};
}
void placeControl(HWND control, const UiRect *r) {
    SetWindowPos(control, 0, r->left, r->top, r->right - r->left, r->bottom - r->top,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}
void moveWindow(HWND window, int32_t x, int32_t y) {
    RECT r;
    if (!GetWindowRect(window, &r)) return;
    MoveWindow(window, x, y, r.right - r.left, r.bottom - r.top, FALSE);
}
// The full-screen size: the screen less the task bar.
int32_t screenWidth(void) { return GetSystemMetrics(SM_CXFULLSCREEN); }
int32_t screenHeight(void) { return GetSystemMetrics(SM_CYFULLSCREEN); }

intptr_t runDialog(HWND owner, UiDialog which, void *param) {
    ControlClassesAcquire();
    intptr_t result = DialogBoxParamA(ModuleHandle(), kDialogs[which].resource, owner,
                                      kDialogs[which].proc, (LPARAM)param);
    ControlClassesRelease();
    return result;
}
void endDialog(HWND dialog, intptr_t result) { EndDialog(dialog, result); }
HWND openDialog(HWND owner, UiDialog which) {
    ControlClassesAcquire();
    HWND made = CreateDialogParamA(ModuleHandle(), kDialogs[which].resource, owner,
                                   kDialogs[which].proc, 0);
    ControlClassesRelease();
    return made;
}
void destroy(HWND window) { DestroyWindow(window); }
int ask(HWND owner, const char *text, const char *title, unsigned style) {
    return MessageBoxA(owner, text, title, style);
}
void beep(void) { MessageBeep(0); }
void setTimer(HWND window, unsigned id, unsigned milliseconds) { SetTimer(window, id, milliseconds, 0); }
void killTimer(HWND window, unsigned id) { KillTimer(window, id); }
void post(HWND window, unsigned message, uintptr_t wParam, intptr_t lParam) {
    PostMessageA(window, message, wParam, lParam);
}
intptr_t send(HWND window, unsigned message, uintptr_t wParam, intptr_t lParam) {
    return sendTo(window, message, wParam, lParam);
}
WNDPROC subclass(HWND control, UiHandler handler) {
    if (!control) return 0;
    return (WNDPROC)SetWindowLongPtrA(control, GWLP_WNDPROC, (LONG_PTR)kHandlers[handler]);
}
intptr_t callFormer(WNDPROC former, HWND control, unsigned message, uintptr_t wParam,
                    intptr_t lParam) {
    return former ? CallWindowProcA(former, control, message, wParam, lParam)
                  : DefWindowProcA(control, message, wParam, lParam);
}

HBITMAP loadBitmap(const char *name) { return LoadBitmapA(ModuleHandle(), name); }
void bitmapSize(HBITMAP bitmap, int32_t *width, int32_t *height) {
    BITMAP bm = {};
    if (!bitmap || !GetObjectA(bitmap, sizeof(bm), &bm)) bm.bmWidth = bm.bmHeight = 0;
    *width = bm.bmWidth;
    *height = bm.bmHeight;
}
void freeBitmap(HBITMAP bitmap) { DeleteObject(bitmap); }
void fontMetrics(HWND dialog, uintptr_t font, TEXTMETRICA *metrics) {
    *metrics = TEXTMETRICA{};
    HDC dc = GetDC(dialog);
    if (!dc) return;
    HGDIOBJ old = font ? SelectObject(dc, (HFONT)font) : 0;
    GetTextMetricsA(dc, metrics);
    if (old) SelectObject(dc, old);
    ReleaseDC(dialog, dc);
}
void drawBitmap(void *dc, HBITMAP bitmap, int32_t x, int32_t y, int32_t width, int32_t height) {
    HDC target = (HDC)dc, memory = CreateCompatibleDC(target);
    if (!memory) return;
    HGDIOBJ old = SelectObject(memory, bitmap);
    SetMapMode(memory, GetMapMode(target));
    POINT size = {width, height};
    DPtoLP(target, &size, 1);
    BitBlt(target, x, y, size.x, size.y, memory, 0, 0, SRCCOPY);
    SelectObject(memory, old);
    DeleteDC(memory);
}
void drawText(void *dc, const char *text, const UiRect *r, unsigned flags) {
    RECT rect = {r->left, r->top, r->right, r->bottom};
    DrawTextA((HDC)dc, text, -1, &rect, flags);
}
void invert(void *dc, const UiRect *r) {
    RECT rect = {r->left, r->top, r->right, r->bottom};
    InvertRect((HDC)dc, &rect);
}
void focusRect(void *dc, const UiRect *r) {
    RECT rect = {r->left, r->top, r->right, r->bottom};
    DrawFocusRect((HDC)dc, &rect);
}

int isVisible(HWND window) { return IsWindowVisible(window) != 0; }
int isEnabled(HWND window) { return IsWindowEnabled(window) != 0; }
HWND owner(HWND window) { return (HWND)GetWindowLongPtrA(window, GWLP_HWNDPARENT); }

}  // namespace

const BuilderUi gPlatformUi = {
    item, parent, id,
    textLength, getText, setText, getSelection, setSelection, modified, setModified,
    limitText, clipboard, clipboardHasText,
    listAdd, listInsert, listDelete, listCount, listTextLength, listText, listData,
    setListData, listSelection, selectRow, setTopRow, findRow,
    enable, show, focus, checkRadio, isVisible, isEnabled, owner, screenRect, clientRect, placeControl, moveWindow,
    screenWidth, screenHeight,
    runDialog, endDialog, openDialog, destroy, ask, beep, setTimer, killTimer, post, send,
    subclass, callFormer,
    loadBitmap, bitmapSize, freeBitmap, fontMetrics, drawBitmap, drawText, invert, focusRect,
};
#endif
