// The formula builder and its side windows, as handlers of events. The
// platform's window procedures hand every message here; tests do the same
// over their own controls.
#ifndef ZEM_BUILDER_H
#define ZEM_BUILDER_H

#include <stdint.h>

#include "builder/ui.h"
#include "zemi40.h"

// Control ids of the builder dialog.
enum {
    ID_OK = 1, ID_CANCEL = 2,
    ID_TEXT = 100, ID_NAME = 101,
    ID_COPY = 102, ID_CUT = 103, ID_PASTE = 104, ID_PARENS = 105,
    ID_ITEMS = 106, ID_FUNCTIONS = 107,
    ID_PLUS = 108, ID_MINUS = 109, ID_TIMES = 110, ID_DIVIDE = 111, ID_SPARE = 112,
    ID_OPERATOR_FRAME = 113, ID_EXPRESSIONS = 114, ID_NAME_LABEL = 115,
    ID_DELETE = 116, ID_OPEN = 117, ID_SHOW_TEXT = 118, ID_PAD_FRAME = 119,
    ID_DIGIT0 = 120, ID_POINT = 130, ID_CLEAR = 131, ID_APPLY = 132, ID_VALUES = 133,
    ID_MODE_FORMULA = 134, ID_MODE_RANGE = 135, ID_MODE_SET = 136,
    ID_EXPRESSIONS_LABEL = 137, ID_MODE_LABEL = 138, ID_STATUS = 139,
    // The error dialogs and the side windows.
    ID_ERROR_TEXT = 200, ID_ERROR_MESSAGE = 201, ID_ERROR_OK = 202,
    ID_SIDE_CONTROL = 100,
};

enum { REPAIR_TIMER = 1, REPAIR_DELAY = 1000 };

// Held by the launching call for the length of the dialog.
struct LaunchRecord {
    HEC context;
    HEXP expression;
    HEXP result;
    uint16_t maximumText;
};

// Runs the builder over parent in a mode (0 Formula, 1 Range, 2 Set): the
// exported launches and the block reader's repair, which sets repairMode
// and its companions first. The expression saved, or 0; `opened` tells
// whether a dialog could be made (a repair's caller then reports itself).
HEXP runBuilder(HWND parent, HEC ec, HEXP exp, uint16_t maximumText, int mode,
                const char *startItem, bool *opened = 0);

// The builder dialog. WM_INITDIALOG carries the LaunchRecord, WM_DRAWITEM a
// UiDrawItem, WM_SETFONT the font; WM_MEASUREITEM answers the row height.
intptr_t BuilderEvent(HWND dialog, unsigned message, uintptr_t wParam, intptr_t lParam);

// The handlers put on the builder's controls. Each hands the message to the
// control's former handler where it should and gives the result.
intptr_t EditFieldEvent(HWND field, unsigned message, uintptr_t wParam, intptr_t lParam);
intptr_t StatusPaneEvent(HWND pane, unsigned message, uintptr_t wParam, intptr_t lParam);
intptr_t FormsListEvent(HWND list, unsigned message, uintptr_t wParam, intptr_t lParam);
intptr_t ItemListEvent(HWND list, unsigned message, uintptr_t wParam, intptr_t lParam);

// The side windows and the text view's field.
intptr_t TextViewEvent(HWND view, unsigned message, uintptr_t wParam, intptr_t lParam);
intptr_t ValuesViewEvent(HWND view, unsigned message, uintptr_t wParam, intptr_t lParam);
intptr_t ViewEditEvent(HWND field, unsigned message, uintptr_t wParam, intptr_t lParam);

// The error dialogs and their text's handler.
intptr_t ErrorDialogEvent(HWND dialog, unsigned message, uintptr_t wParam, intptr_t lParam);
intptr_t ErrorEditEvent(HWND field, unsigned message, uintptr_t wParam, intptr_t lParam);

// Shows a load error over the builder: DLGFERROR, after a beep.
int32_t showLoadError(HWND parent, const char *text, const ExpError *error);

// The forward reference test shared with the block reader: the span of a
// failed parse names an expression of the block being read.
int nameIsPending(const char *text, const void *pendingList, const ExpError *error,
                  int32_t pendingCount);

#endif
