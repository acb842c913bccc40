// The two modeless windows beside the builder: the text view, which shows
// the source text of the expression selected in the list, and the values
// dialog, which offers the host's values of a data item as literals.
#include <stdio.h>
#include <string.h>

#include "builder/internal.h"
#include "context/items.h"
#include "eval/convert.h"

namespace {

enum { VIEW_TITLE = 217, VALUES_CAPTION = 245, OPEN_VALUES_CAPTION = 246, TITLE_ROOM = 129,
       LITERAL_ROOM = 256, NO_REWRITE = 0x0002, SET_QUOTES = 0x0001 };

// The values dialog's title from its template, and the data type of the
// item on show (-1 for none): they belong to the one open pair of windows.
char *gValuesTitle;
int16_t gValuesItemType = -1;

void valuesRefresh(HWND dialog, ThreadBlock *tb, int refresh) {
    HWND items = control(dialog, ID_ITEMS);
    int row = Ui()->listSelection(items);
    if (row < 0 || !tb->valuesView) return;
    Text name;
    rowText(items, row, &name);
    if (!name.ok()) return;
    Ui()->send(tb->valuesView, MSG_LOAD_VALUES, 0, (intptr_t)name.bytes);
    tb->context->listValuesCallback(tb->context, name.bytes,
                                    Ui()->item(tb->valuesView, ID_SIDE_CONTROL), refresh,
                                    &tb->valuesEnabled);
}

void showInView(HWND view, uintptr_t mode, HEXP exp) {
    char title[TITLE_ROOM] = "";
    int kind = exp ? kindOf(exp) : (int)mode;
    if (kind >= KindFormula && kind <= KindSet) loadString(VIEW_TITLE + (unsigned)kind, title, sizeof(title));
    if (exp) {
        size_t used = strlen(title);
        snprintf(title + used, sizeof(title) - used, " - %s", exp->name);
    }
    Ui()->setText(view, title);
    Ui()->setText(Ui()->item(view, ID_SIDE_CONTROL), exp ? exp->text : "");
}

// Beside the builder's functions list, a quarter of the way down, kept on
// the screen.
void placeValues(HWND view) {
    UiRect list, own;
    Ui()->screenRect(Ui()->item(Ui()->parent(view), ID_FUNCTIONS), &list);
    Ui()->screenRect(view, &own);
    int32_t width = own.right - own.left, height = own.bottom - own.top;
    int32_t x = list.right, y = list.top + (list.bottom - list.top) / 4;
    if (y + height > Ui()->screenHeight()) y = Ui()->screenHeight() - height;
    if (x + width > Ui()->screenWidth()) x = Ui()->screenWidth() - width;
    Ui()->moveWindow(view, x, y);
}

void setValuesTitle(HWND view, const char *itemName) {
    if (!gValuesTitle) return;  // the template's title stays
    Text title;
    if (itemName) title.add(itemName).add(" - ");
    title.add(gValuesTitle);
    Ui()->setText(view, title.ok() ? title.bytes : gValuesTitle);
}

void pickValue(HWND view) {
    HWND list = Ui()->item(view, ID_SIDE_CONTROL);
    int row = Ui()->listSelection(list);
    if (row < 0) return;
    Text line, literal;
    rowText(list, row, &line);
    if (!line.ok()) return;
    literalText(line.bytes, gValuesItemType, &literal);
    const Text &chosen = literal.ok() ? literal : line;
    insertAtCaret(Ui()->item(Ui()->parent(view), ID_TEXT), chosen.bytes, chosen.length);
}

void forgetValues(ThreadBlock *tb, HWND view) {
    SvcFree(gValuesTitle);
    gValuesTitle = 0;
    if (tb && tb->valuesView == view) tb->valuesView = 0;
}

// A date value as the literal the context's pictures and formats make.
void dateLiteral(const char *line, const ThreadBlock *tb, Text *out) {
    const EC *ec = tb->context;
    const char *const *convert = ec->dateConvert;
    if ((ec->dateConvertFlags & NO_REWRITE) || !(convert[0] || convert[1] || convert[2])) {
        out->add(line);
        return;
    }
    char output[LITERAL_ROOM];
    int kind = DateLiteralRewrite(line, output, ec->datePicture[0], ec->datePicture[1],
                                  ec->datePicture[2]);
    const char *format = 0;
    if (kind == LITERAL_DATE) format = convert[0];
    else if (kind == LITERAL_DATE_TIME) format = convert[1];
    else if (kind == LITERAL_TIME) format = convert[2];
    if (kind && (ec->dateConvertFlags & SET_QUOTES) && tb->mode == KindSet) format = "'%s'";
    const char *hole = format ? strstr(format, "%s") : 0;
    if (!format) {
        out->add(line);
    } else if (!hole) {
        out->add(format);
    } else {
        out->add(format, (size_t)(hole - format)).add(output).add(hole + 2);
    }
}

}  // namespace

void literalText(const char *line, int itemType, Text *out) {
    ThreadBlock *tb = threadBlock();
    if (itemType == ZEM_TYPE_STRING) {
        // Character by character: a second byte that equals an apostrophe
        // is part of its character and is not doubled.
        out->add("'");
        for (const char *p = line; *p;) {
            size_t n = SvcIsLeadAt(p) && p[1] ? 2 : 1;
            out->add(p, n);
            if (n == 1 && *p == '\'') out->add("'");
            p += n;
        }
        out->add("'");
    } else if (itemType == ZEM_TYPE_DATETIME && tb && tb->context) {
        dateLiteral(line, tb, out);
    } else {
        out->add(line);
    }
}

void openTextView(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND list = control(dialog, ID_EXPRESSIONS);
    int row = Ui()->listSelection(list);
    if (!tb || (row == 0 && !tb->textView)) return;
    if (!tb->textView) {
        tb->textView = Ui()->openDialog(dialog, UiTextView);
        if (!tb->textView) return;
        enableControl(dialog, ID_SHOW_TEXT, 0);
    }
    if (row > 0) {
        Text name;
        rowText(list, row, &name);
        HEXP exp = name.ok() ? ZEMHEXPFromName(tb->context, name.bytes) : 0;
        Ui()->send(tb->textView, MSG_SHOW_EXPRESSION, 0, (intptr_t)exp);
    } else {
        Ui()->send(tb->textView, MSG_SHOW_EXPRESSION, (uintptr_t)tb->mode, 0);
    }
}

void syncTextButton(HWND dialog) {
    enableControl(dialog, ID_SHOW_TEXT, Ui()->listSelection(control(dialog, ID_EXPRESSIONS)) >= 1);
}

void openValuesView(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    if (!tb || !tb->context->listValuesCallback) return;
    if (!tb->valuesView) {
        tb->valuesView = Ui()->openDialog(dialog, UiValues);
        if (!tb->valuesView) return;
        valuesRefresh(dialog, tb, 1);
        if (tb->valuesEnabled) return;
    } else {
        valuesRefresh(dialog, tb, 0);
    }
    enableControl(dialog, ID_VALUES, 0);
}

void setValuesCaption(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    char caption[128];
    loadString(tb && tb->valuesView ? OPEN_VALUES_CAPTION : VALUES_CAPTION, caption, sizeof(caption));
    Ui()->setText(control(dialog, ID_VALUES), caption);
}

void syncValuesButton(HWND dialog, int refresh) {
    ThreadBlock *tb = threadBlock();
    if (!tb || !tb->context || !tb->context->listValuesCallback) return;
    bool selected = Ui()->listSelection(control(dialog, ID_ITEMS)) >= 0;
    enableControl(dialog, ID_VALUES, selected);
    setValuesCaption(dialog);
    if (!selected || !tb->valuesView) return;
    valuesRefresh(dialog, tb, refresh);
    if (!tb->valuesEnabled) enableControl(dialog, ID_VALUES, 0);
}

intptr_t TextViewEvent(HWND view, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    switch (message) {
    case UI_WM_INITDIALOG:
        tb->viewEditProc = Ui()->subclass(Ui()->item(view, ID_SIDE_CONTROL), UiViewEditHandler);
        Ui()->show(view, 1);
        return 1;
    case MSG_SHOW_EXPRESSION:
        showInView(view, wParam, (HEXP)lParam);
        return 1;
    case UI_WM_CLOSE:
        Ui()->destroy(view);
        if (tb->showTextButton) syncTextButton(Ui()->parent(tb->showTextButton));
        tb->textView = 0;
        return 1;
    case UI_WM_DESTROY:
        if (tb->textView == view) tb->textView = 0;
        return 0;
    default:
        return 0;
    }
}

intptr_t ValuesViewEvent(HWND view, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    switch (message) {
    case UI_WM_INITDIALOG: {
        Text title;
        windowText(view, &title);
        SvcFree(gValuesTitle);
        gValuesTitle = title.ok() ? title.release() : 0;
        placeValues(view);
        Ui()->show(view, 1);
        return 1;
    }
    case MSG_LOAD_VALUES: {
        const char *name = (const char *)lParam;
        gValuesItemType = (int16_t)(name && tb->context ? inputItemType(tb->context, name) : -1);
        setValuesTitle(view, name);
        return 1;
    }
    case UI_WM_CLOSE: {
        HWND dialog = Ui()->parent(view);
        forgetValues(tb, view);
        syncValuesButton(dialog, 0);
        Ui()->destroy(view);
        return 1;
    }
    case UI_WM_DESTROY:
        forgetValues(tb, view);
        return 0;
    case UI_WM_COMMAND:
        if ((wParam & 0xFFFF) == ID_SIDE_CONTROL && (wParam >> 16) == UI_LBN_DBLCLK) pickValue(view);
        return 1;
    default:
        return 0;
    }
}

