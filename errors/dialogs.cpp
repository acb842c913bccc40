// The error dialogs: a report's text with its span selected and the message
// of its code below. The span is selected only after the dialog has first
// painted, and the text takes no input while it scrolls.
#include "builder/builder.h"
#include "context/threadblock.h"
#include "errors/errors.h"

namespace {

enum { HELP_ERRORS = 257 };

ZEMErrorDisplayHook gHook;
// Set when a dialog starts, cleared at its first paint.
int gSelectionPending;

int32_t showReport(HWND parent, const char *text, const ExpError *error, UiDialog which) {
    ExpError report = error ? *error : ExpError{0, 0, 0};
    if (!text) text = "";
    if (gHook) {
        char message[MESSAGE_BUFFER];
        ErrorMessage(report.code, message, sizeof(message));
        return gHook(parent, text, &report, message, which == UiLoadError);
    }
    ThreadBlock *tb = threadBlock();
    if (!tb) return -1;
    tb->dialogError = report;
    tb->dialogErrorText = (char *)text;
    return Ui()->runDialog(parent, which, 0) == -1 ? -1 : 1;
}

void selectSpan(HWND dialog, const ExpError &error) {
    HWND field = Ui()->item(dialog, ID_ERROR_TEXT);
    int32_t length = Ui()->textLength(field);
    int32_t start = error.start < (uint32_t)length ? (int32_t)error.start : length;
    int32_t end = error.length < (uint32_t)(length - start) ? start + (int32_t)error.length : length;
    Ui()->focus(field);
    Ui()->setSelection(field, start, end);
}

}  // namespace

ZEMAPI int32_t ZEMCALL ZEMErrorDisplay(HZEMWND parent, const char *text, const ExpError *error) {
    return showReport((HWND)parent, text, error, UiError);
}

ZEMAPI ZEMErrorDisplayHook ZEMCALL ZEMSetErrorDisplayHook(ZEMErrorDisplayHook hook) {
    ZEMErrorDisplayHook former = gHook;
    gHook = hook;
    return former;
}

int32_t showLoadError(HWND parent, const char *text, const ExpError *error) {
    Ui()->beep();
    return showReport(parent, text, error, UiLoadError);
}

intptr_t ErrorDialogEvent(HWND dialog, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    switch (message) {
    case UI_WM_INITDIALOG: {
        gSelectionPending = 1;
        char text[MESSAGE_BUFFER];
        ErrorMessage(tb->dialogError.code, text, sizeof(text));
        Ui()->setText(Ui()->item(dialog, ID_ERROR_MESSAGE), text);
        HWND field = Ui()->item(dialog, ID_ERROR_TEXT);
        Ui()->setText(field, tb->dialogErrorText);
        if (field) tb->errorEditProc = Ui()->subclass(field, UiErrorEditHandler);
        return 0;  // the dialog manager leaves the focus alone
    }
    case UI_WM_PAINT:
        if (gSelectionPending) {
            gSelectionPending = 0;
            Ui()->post(dialog, MSG_ERROR_SELECT, 0, 0);
        }
        return 0;
    case MSG_ERROR_SELECT:
        selectSpan(dialog, tb->dialogError);
        return 1;
    case UI_WM_COMMAND:
        if ((wParam & 0xFFFF) == ID_ERROR_OK || (wParam & 0xFFFF) == UI_IDCANCEL)
            Ui()->endDialog(dialog, 1);
        return 0;
    case MSG_HELP_QUERY:
        if (lParam) ((UiHelpCallback)lParam)(HELP_ERRORS, (intptr_t) "Error messages");
        return 0;
    default:
        return 0;
    }
}

// The text of a report or of the text view can be read and scrolled, but
// not typed into or selected by hand; Return still reaches the default
// button.
static intptr_t readOnlyEvent(WNDPROC former, HWND field, unsigned message, uintptr_t wParam,
                              intptr_t lParam) {
    switch (message) {
    case UI_WM_CHAR: case UI_WM_MOUSEMOVE: case UI_WM_LBUTTONDOWN: case UI_WM_LBUTTONUP:
    case UI_WM_LBUTTONDBLCLK:
        return 0;
    case UI_WM_KEYDOWN:
        if (wParam != UI_VK_RETURN) return 0;
        [[fallthrough]];
    default:
        return Ui()->callFormer(former, field, message, wParam, lParam);
    }
}

intptr_t ErrorEditEvent(HWND field, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    return tb ? readOnlyEvent(tb->errorEditProc, field, message, wParam, lParam) : 0;
}

intptr_t ViewEditEvent(HWND field, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    return tb ? readOnlyEvent(tb->viewEditProc, field, message, wParam, lParam) : 0;
}
