// The builder's three lists: filling, exact finds, the buttons that follow
// the expressions list, its owner-drawn rows, and the handlers on the lists,
// the text field and the status pane.
#include <string.h>

#include "builder/internal.h"

namespace {

enum { OPEN_CAPTION = 235, SHOW_CAPTION = 238, KEYWORD_HIDDEN = 255, DRAW_FLAGS = 36,
       ACTION_ENTIRE = 1, ACTION_SELECT = 2, ACTION_FOCUS = 4, STATE_SELECTED = 1,
       STATE_FOCUS = 16, MK_LEFT = 1 };

// Calls add for each item of a store, in store order.
template <typename F>
void eachItem(HARRAY store, F add) {
    for (unsigned i = 0; i < SvcArrayCount(store); i++) {
        ExpItem **slot = (ExpItem **)SvcArrayLock(store, i);
        ExpItem *item = slot ? *slot : 0;
        SvcArrayUnlock(store);
        if (item) add(item);
    }
}

// Generated names of a literal alone or a name alone stay out of the list
// unless the context shows them.
bool listed(HEC ec, HEXP exp) {
    if (ec->flags & ECFlagShowGenerated) return true;
    bool simple = ZEMIsExpressionSimple(ec, exp) || ZEMIsExpressionSimpleInput(ec, exp);
    return !(simple && ZEMIsExpNameGenerated(ec, exp));
}

HBITMAP bitmapOfKind(const ThreadBlock *tb, int kind) {
    return kind == KindSet ? tb->setBitmap : kind == KindRange ? tb->rangeBitmap : tb->formulaBitmap;
}

HBITMAP rowBitmap(const ThreadBlock *tb, int row, const char *text) {
    if (row == 0) return bitmapOfKind(tb, tb->mode);
    return bitmapOfKind(tb, kindOf(ZEMHEXPFromName(tb->context, text)));
}

// The expressions list's selection moved: the buttons and the text view
// follow it.
void followSelection(HWND dialog, bool openView) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return;
    if (!tb->repairMode) enableControl(dialog, ID_OPEN, 1);
    refreshDeleteButton(dialog);
    if (openView || tb->textView) openTextView(dialog);
    else syncTextButton(dialog);
    if (offersValues(tb)) refreshEntryCaptions(dialog);
}

}  // namespace

void fillLists(HWND dialog, ThreadBlock *tb) {
    HEC ec = tb->context;
    HWND items = control(dialog, ID_ITEMS), functions = control(dialog, ID_FUNCTIONS);
    HWND expressions = control(dialog, ID_EXPRESSIONS);
    eachItem(ec->inputItems, [&](ExpItem *item) { Ui()->listAdd(items, item->name); });
    eachItem(ec->keywords, [&](ExpItem *item) {
        if (item->dataType < KEYWORD_HIDDEN) Ui()->listAdd(items, item->name);
    });
    SvcListFit(items);
    eachItem(ec->functions, [&](ExpItem *item) { Ui()->listAdd(functions, item->name); });
    SvcListFit(functions);

    char entry[128];
    loadString(tb->mode == KindSet ? 211 : tb->mode == KindRange ? 210 : 201, entry, sizeof(entry));
    Ui()->setListData(expressions, Ui()->listInsert(expressions, -1, entry), -1);
    int32_t count = ZEMGetExpressionCount(ec);
    for (int32_t i = 0; i < count; i++) {
        HEXP exp = ZEMHEXPFromOrdinal(ec, i);
        if (!exp || !listed(ec, exp)) continue;
        int row = Ui()->listInsert(expressions, -1, exp->name);
        if (row >= 0) Ui()->setListData(expressions, row, i);
    }
    SvcListFit(expressions);
}

int selectExactRow(HWND list, const char *text) {
    // The list finds rows that begin with the text; each hit is compared
    // whole, and the search goes on behind it until it wraps.
    for (int after = -1;;) {
        int row = Ui()->findRow(list, after, text);
        if (row <= after) return -1;
        Text found;
        rowText(list, row, &found);
        if (found.ok() && lstrcmpA(found.bytes, text) == 0) {
            Ui()->selectRow(list, row);
            Ui()->setTopRow(list, row);
            return row;
        }
        after = row;
    }
}

int rowOfName(HWND list, const char *name) {
    int count = Ui()->listCount(list);
    for (int row = 1; row < count; row++) {
        Text text;
        rowText(list, row, &text);
        if (text.ok() && strcmp(text.bytes, name) == 0) return row;
    }
    return -1;
}

void refreshDeleteButton(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND list = control(dialog, ID_EXPRESSIONS);
    int row = Ui()->listSelection(list);
    bool on = false;
    if (tb && !tb->repairMode && tb->context->delPermissionCallback && row >= 1) {
        Text name;
        rowText(list, row, &name);
        on = name.ok() && !ZEMIsNamedFormulaUsed(tb->context, name.bytes);
    }
    enableControl(dialog, ID_DELETE, on);
}

void refreshEntryCaptions(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND list = control(dialog, ID_EXPRESSIONS);
    int row = Ui()->listSelection(list);
    if (!tb || row < 0) return;
    int kind = tb->mode;
    if (row > 0) {
        Text name;
        rowText(list, row, &name);
        if (!name.ok()) return;
        kind = kindOf(ZEMHEXPFromName(tb->context, name.bytes));
    }
    char caption[128];
    loadString(OPEN_CAPTION + (unsigned)kind, caption, sizeof(caption));
    Ui()->setText(control(dialog, ID_OPEN), caption);
    loadString(SHOW_CAPTION + (unsigned)kind, caption, sizeof(caption));
    Ui()->setText(control(dialog, ID_SHOW_TEXT), caption);
}

int rowHeight(const ThreadBlock *tb) {
    return tb->textMetrics.tmHeight + tb->textMetrics.tmExternalLeading;
}

void drawRow(HWND dialog, const UiDrawItem *item) {
    ThreadBlock *tb = threadBlock();
    if (!tb || !item) return;
    bool bitmaps = offersValues(tb);
    UiRect textRect = item->rect;
    if (bitmaps) textRect.left += tb->bitmapWidth + tb->textMetrics.tmAveCharWidth;
    if ((item->action & ACTION_ENTIRE) && item->row >= 0) {
        Text text;
        rowText(control(dialog, ID_EXPRESSIONS), item->row, &text);
        if (bitmaps) {
            int32_t top = item->rect.top +
                (rowHeight(tb) - tb->bitmapHeight + 1) / 2;
            Ui()->drawBitmap(item->dc, rowBitmap(tb, item->row, text.c_str()), item->rect.left,
                             top, tb->bitmapWidth, tb->bitmapHeight);
        }
        if (text.ok()) Ui()->drawText(item->dc, text.bytes, &textRect, DRAW_FLAGS);
        if ((item->state & STATE_SELECTED) && !(item->action & ACTION_SELECT))
            Ui()->invert(item->dc, &textRect);
        if ((item->state & STATE_FOCUS) && !(item->action & ACTION_FOCUS))
            Ui()->focusRect(item->dc, &item->rect);
    }
    if ((item->action & ACTION_SELECT) &&
        (!(item->action & ACTION_ENTIRE) || (item->state & STATE_SELECTED)))
        Ui()->invert(item->dc, &textRect);
    if ((item->action & ACTION_FOCUS) &&
        !((item->action & ACTION_ENTIRE) && !(item->state & STATE_FOCUS)))
        Ui()->focusRect(item->dc, &item->rect);
}

intptr_t EditFieldEvent(HWND field, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    intptr_t result = Ui()->callFormer(tb->editProc, field, message, wParam, lParam);
    if (message == UI_WM_KEYDOWN || message == UI_WM_LBUTTONUP)
        refreshEditButtons(Ui()->parent(field));
    return result;
}

intptr_t StatusPaneEvent(HWND pane, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    switch (message) {
    case UI_WM_SETCURSOR: case UI_WM_KEYDOWN: case UI_WM_CHAR: case UI_WM_MOUSEMOVE:
    case UI_WM_LBUTTONDOWN: case UI_WM_LBUTTONUP: case UI_WM_LBUTTONDBLCLK:
        return 0;
    case UI_WM_SETFOCUS: {
        // The pane only shows text: the focus goes back where it came from.
        HWND dialog = Ui()->parent(pane), lost = (HWND)wParam;
        Ui()->focus(lost && Ui()->parent(lost) == dialog ? lost : control(dialog, ID_TEXT));
        return 0;
    }
    default:
        return Ui()->callFormer(tb->statusProc, pane, message, wParam, lParam);
    }
}

intptr_t FormsListEvent(HWND list, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    HWND dialog = Ui()->parent(list);
    if (message == UI_WM_RBUTTONDBLCLK) {
        // A right double click selects the row under the mouse and shows it.
        Ui()->callFormer(tb->formsProc, list, UI_WM_LBUTTONDOWN, MK_LEFT, lParam);
        Ui()->callFormer(tb->formsProc, list, UI_WM_LBUTTONUP, 0, lParam);
        followSelection(dialog, true);
        return 0;
    }
    intptr_t result = Ui()->callFormer(tb->formsProc, list, message, wParam, lParam);
    if (message == UI_WM_CHAR && wParam == ' ') {
        insertFromList(list);
    } else if (message == UI_LB_SETCURSEL) {
        if (offersValues(tb)) refreshEntryCaptions(dialog);
    } else if ((message == UI_WM_KEYUP && (wParam == UI_VK_UP || wParam == UI_VK_DOWN)) ||
               message == UI_WM_LBUTTONUP) {
        followSelection(dialog, false);
    }
    return result;
}

intptr_t ItemListEvent(HWND list, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    WNDPROC former = Ui()->id(list) == ID_ITEMS ? tb->varsProc : tb->funcsProc;
    intptr_t result = Ui()->callFormer(former, list, message, wParam, lParam);
    if (message == UI_WM_CHAR && wParam == ' ') insertFromList(list);
    return result;
}
