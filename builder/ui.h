// The few things the builder and the error dialogs ask of a windowing
// system, as one table of operations. The dialogs' logic reaches windows and
// controls only through it, so it runs the same over real Win32 windows and
// over the in-memory controls of the tests.
#ifndef ZEM_UI_H
#define ZEM_UI_H

#include <stdint.h>

#include "services/platform.h"
#include "zemi40.h"

// Messages, notifications and styles the logic names, with the system's
// numbers.
enum {
    UI_WM_DESTROY = 0x0002,
    UI_WM_SETFOCUS = 0x0007,
    UI_WM_PAINT = 0x000F,
    UI_WM_CLOSE = 0x0010,
    UI_WM_SETCURSOR = 0x0020,
    UI_WM_DRAWITEM = 0x002B,
    UI_WM_MEASUREITEM = 0x002C,
    UI_WM_SETFONT = 0x0030,
    UI_WM_KEYDOWN = 0x0100,
    UI_WM_KEYUP = 0x0101,
    UI_WM_CHAR = 0x0102,
    UI_WM_INITDIALOG = 0x0110,
    UI_WM_COMMAND = 0x0111,
    UI_WM_TIMER = 0x0113,
    UI_WM_MOUSEMOVE = 0x0200,
    UI_WM_LBUTTONDOWN = 0x0201,
    UI_WM_LBUTTONUP = 0x0202,
    UI_WM_LBUTTONDBLCLK = 0x0203,
    UI_WM_RBUTTONDBLCLK = 0x0206,
    UI_WM_CUT = 0x0300,
    UI_WM_COPY = 0x0301,
    UI_WM_PASTE = 0x0302,
    UI_WM_CLEAR = 0x0303,
    UI_LB_SETCURSEL = 0x0186,
    UI_VK_RETURN = 0x0D,
    UI_VK_UP = 0x26,
    UI_VK_DOWN = 0x28,
    UI_EN_CHANGE = 0x0300,
    UI_LBN_SELCHANGE = 1,
    UI_LBN_DBLCLK = 2,
    UI_BN_CLICKED = 0,
    UI_MB_OK = 0x0000,
    UI_MB_YESNOCANCEL = 0x0003,
    UI_MB_YESNO = 0x0004,
    UI_MB_ICONHAND = 0x0010,
    UI_MB_ICONQUESTION = 0x0020,
    UI_MB_DEFBUTTON2 = 0x0100,
    UI_IDOK = 1,
    UI_IDCANCEL = 2,
    UI_IDYES = 6,
    UI_IDNO = 7,
};

// The builder's private messages.
enum {
    MSG_ERROR_SELECT = 0x0401,  // the error dialog selects its span
    MSG_SHOW_EXPRESSION = 1124,  // to the text view: wParam mode, lParam HEXP or 0
    MSG_LOAD_VALUES = 1125,      // to the values dialog: lParam item name or 0
    MSG_NEXT_PLACEHOLDER = 1126, // to the builder, posted after an insertion
    MSG_HELP_QUERY = 33791,      // from the host's control library
};

// A rectangle in pixels.
struct UiRect {
    int32_t left, top, right, bottom;
};

// What the list asks to have drawn of one row of the expressions list.
struct UiDrawItem {
    uint32_t action;  // 1 draw entire, 2 select, 4 focus
    uint32_t state;   // 1 selected, 16 focus
    int32_t row;      // -1 for none
    UiRect rect;
    void *dc;
};

// The windows a dialog opens; the platform picks the template and the handler.
enum UiDialog { UiBuilder, UiError, UiLoadError, UiTextView, UiValues };

// The subclass handlers the builder and the dialogs install.
enum UiHandler {
    UiEditHandler,       // the builder's text field
    UiStatusHandler,     // the builder's status pane
    UiFormsHandler,      // the expressions list
    UiVarsHandler,       // the data items list
    UiFuncsHandler,      // the functions list
    UiErrorEditHandler,  // the error dialogs' text
    UiViewEditHandler,   // the text view's text
};

// Callback of the help query: (kind, value).
typedef void(ZEMCALL *UiHelpCallback)(int32_t kind, intptr_t value);

struct BuilderUi {
    // Windows: a control of a dialog by id, a window's parent and id.
    HWND (*item)(HWND dialog, int id);
    HWND (*parent)(HWND window);
    int (*id)(HWND control);

    // Texts of windows and fields. getText copies at most size - 1 bytes
    // and a terminator and gives the count copied. setText also sets a
    // window's title.
    int (*textLength)(HWND window);
    int (*getText)(HWND window, char *buffer, int size);
    void (*setText)(HWND window, const char *text);
    // Selection of a field in bytes; end may run past the text.
    void (*getSelection)(HWND field, int32_t *start, int32_t *end);
    void (*setSelection)(HWND field, int32_t start, int32_t end);
    int (*modified)(HWND field);
    void (*setModified)(HWND field, int on);
    void (*limitText)(HWND field, int limit);
    // UI_WM_CUT, UI_WM_COPY, UI_WM_PASTE or UI_WM_CLEAR on a field.
    void (*clipboard)(HWND field, unsigned op);
    int (*clipboardHasText)(void);

    // Rows of a list. listAdd inserts where the list sorts it, listInsert at
    // a row (-1 the end); both give the row or a negative number. listText
    // needs room for listTextLength + 1 bytes.
    int (*listAdd)(HWND list, const char *text);
    int (*listInsert)(HWND list, int row, const char *text);
    void (*listDelete)(HWND list, int row);
    int (*listCount)(HWND list);
    int (*listTextLength)(HWND list, int row);
    int (*listText)(HWND list, int row, char *buffer);
    intptr_t (*listData)(HWND list, int row);
    void (*setListData)(HWND list, int row, intptr_t data);
    int (*listSelection)(HWND list);  // -1 for none
    void (*selectRow)(HWND list, int row);  // -1 clears; as LB_SETCURSEL, so the
                                            // list's handler sees it
    void (*setTopRow)(HWND list, int row);
    // The first row after `after` (-1 from the top) that begins with the
    // text, case aside, searching round; -1 for none.
    int (*findRow)(HWND list, int after, const char *prefix);

    // State and place of windows.
    void (*enable)(HWND window, int on);
    void (*show)(HWND window, int on);
    void (*focus)(HWND window);
    void (*checkRadio)(HWND dialog, int first, int last, int id);
    int (*isVisible)(HWND window);
    int (*isEnabled)(HWND window);
    HWND (*owner)(HWND window);  // 0 for none
    void (*screenRect)(HWND window, UiRect *rect);
    void (*clientRect)(HWND control, UiRect *rect);  // in its parent's client space
    void (*placeControl)(HWND control, const UiRect *rect);  // the same space
    void (*moveWindow)(HWND window, int32_t x, int32_t y);   // screen, size kept
    int32_t (*screenWidth)(void);
    int32_t (*screenHeight)(void);

    // Dialogs and messages. runDialog is modal and gives what endDialog was
    // given, or -1 when the dialog could not be made; openDialog makes a
    // modeless one, 0 when it could not.
    intptr_t (*runDialog)(HWND parent, UiDialog which, void *param);
    void (*endDialog)(HWND dialog, intptr_t result);
    HWND (*openDialog)(HWND owner, UiDialog which);
    void (*destroy)(HWND window);
    int (*ask)(HWND owner, const char *text, const char *title, unsigned style);
    void (*beep)(void);
    void (*setTimer)(HWND window, unsigned id, unsigned milliseconds);
    void (*killTimer)(HWND window, unsigned id);
    void (*post)(HWND window, unsigned message, uintptr_t wParam, intptr_t lParam);
    intptr_t (*send)(HWND window, unsigned message, uintptr_t wParam, intptr_t lParam);
    // Puts a handler on a control; gives the former one.
    WNDPROC (*subclass)(HWND control, UiHandler handler);
    // Hands a message to a control's former handler.
    intptr_t (*callFormer)(WNDPROC former, HWND control, unsigned message, uintptr_t wParam,
                           intptr_t lParam);

    // Resources and drawing.
    HBITMAP (*loadBitmap)(const char *name);
    void (*bitmapSize)(HBITMAP bitmap, int32_t *width, int32_t *height);
    void (*freeBitmap)(HBITMAP bitmap);
    void (*fontMetrics)(HWND dialog, uintptr_t font, TEXTMETRICA *metrics);
    // Draws a bitmap at (x, y) of the device, its size in device units.
    void (*drawBitmap)(void *dc, HBITMAP bitmap, int32_t x, int32_t y, int32_t width,
                       int32_t height);
    void (*drawText)(void *dc, const char *text, const UiRect *rect, unsigned flags);
    void (*invert)(void *dc, const UiRect *rect);
    void (*focusRect)(void *dc, const UiRect *rect);
};

// The table in use: the platform's, or one a test put in its place.
const BuilderUi *Ui(void);
// Puts a table in place of the platform's (0 restores it); gives the former.
const BuilderUi *UiReplace(const BuilderUi *table);

// The platform's own table.
extern const BuilderUi gPlatformUi;

#endif
