// A builder session from launch to close: the launch, the start of the
// dialog and its filling, titles, opening an entry, switching the mode and
// closing, and the dispatch of the dialog's events.
#include <stdio.h>
#include <string.h>

#include <initializer_list>

#include "builder/internal.h"

LaunchRecord *gLaunch;

namespace {

enum { NEW_ENTRY_TEXT = 201, EXPRESSION_WORD = 209, STATUS_TEXT = 232, HELP_ITEMS = 400,
       HELP_ITEMS_VALUES = 401, HELP_FUNCTION = 257, HELP_NUMBER = 1 };

const unsigned kNewEntry[] = {NEW_ENTRY_TEXT, 210, 211};

const char *editorTitle(const ThreadBlock *tb) {
    const char *titles[] = {tb->titleFormula, tb->titleRange, tb->titleSet};
    return titles[tb->mode];
}

int modeOfType(int32_t type) { return type == 1 ? KindSet : type == 2 ? KindRange : KindFormula; }

bool fieldsModified(HWND dialog) {
    return Ui()->modified(control(dialog, ID_TEXT)) || Ui()->modified(control(dialog, ID_NAME));
}

void clearModified(HWND dialog) {
    Ui()->setModified(control(dialog, ID_TEXT), 0);
    Ui()->setModified(control(dialog, ID_NAME), 0);
}

void setStatusText(HWND dialog, const ThreadBlock *tb) {
    char status[512];
    loadString(STATUS_TEXT + (unsigned)tb->mode, status, sizeof(status));
    Ui()->setText(control(dialog, ID_STATUS), status);
}

void setNameFieldUsed(HWND dialog, int used) {
    enableControl(dialog, ID_NAME, !used);
    enableControl(dialog, ID_NAME_LABEL, !used);
}

// The spare operator: concatenation, or % alone, or nothing; the frame of
// the operators grows by its height when it stays.
void setSpareOperator(HWND dialog, const EC *ec) {
    if (!ec->concatAllowed && !(ec->flags & ECFlagModulo)) {
        showControl(dialog, ID_SPARE, 0);
        return;
    }
    UiRect button, frame;
    Ui()->clientRect(control(dialog, ID_SPARE), &button);
    Ui()->clientRect(control(dialog, ID_OPERATOR_FRAME), &frame);
    frame.bottom += button.bottom - button.top;
    Ui()->placeControl(control(dialog, ID_OPERATOR_FRAME), &frame);
    if (!ec->concatAllowed) Ui()->setText(control(dialog, ID_SPARE), "%");
}

// The mode buttons take the top of the middle column: the label and the
// top of the expressions list move down below them, by whole rows.
void makeRoomForModes(HWND dialog, const ThreadBlock *tb) {
    UiRect modes, label, list;
    Ui()->clientRect(control(dialog, ID_MODE_FORMULA), &modes);
    Ui()->clientRect(control(dialog, ID_EXPRESSIONS_LABEL), &label);
    Ui()->clientRect(control(dialog, ID_EXPRESSIONS), &list);
    int32_t shift = modes.bottom - label.top + 3;
    int32_t row = rowHeight(tb);
    if (row > 0) shift += (list.bottom - list.top - shift) % row;
    label.top += shift;
    label.bottom += shift;
    list.top += shift;
    Ui()->placeControl(control(dialog, ID_EXPRESSIONS_LABEL), &label);
    Ui()->placeControl(control(dialog, ID_EXPRESSIONS), &list);
}

void putContent(HWND dialog, ThreadBlock *tb) {
    HWND list = control(dialog, ID_EXPRESSIONS);
    HEXP exp = tb->editedExpression;
    if (exp) {
        Ui()->setText(control(dialog, ID_TEXT), exp->text);
        Ui()->setText(control(dialog, ID_NAME), exp->name);
        if (ZEMIsNamedFormulaUsed(tb->context, exp->name)) setNameFieldUsed(dialog, 1);
        int row = rowOfName(list, exp->name);
        Ui()->selectRow(list, row);
        Ui()->setTopRow(list, row);
        enableControl(dialog, ID_SHOW_TEXT, 1);
    } else if (tb->repairMode) {
        HWND field = control(dialog, ID_TEXT);
        Ui()->setText(control(dialog, ID_NAME), tb->repairName);
        Ui()->setText(field, tb->repairText);
        int32_t start = (int32_t)tb->lastError.start;
        Ui()->setSelection(field, start, start + (int32_t)tb->lastError.length);
        Ui()->setModified(field, 1);
        enableControl(dialog, ID_NAME, 0);
        enableControl(dialog, ID_OPEN, 0);
        Ui()->focus(field);
        enableControl(dialog, ID_SHOW_TEXT, 0);
    } else {
        const char *name = generateExpressionName(tb->context, tb->mode);
        Ui()->setText(control(dialog, ID_NAME), name ? name : "");
        Ui()->selectRow(list, 0);
        enableControl(dialog, ID_SHOW_TEXT, 0);
    }
}

void fillDialog(HWND dialog, ThreadBlock *tb) {
    fillLists(dialog, tb);
    tb->showTextButton = control(dialog, ID_SHOW_TEXT);
    setSpareOperator(dialog, tb->context);
    putContent(dialog, tb);
    refreshDeleteButton(dialog);
    setTitle(dialog, tb);
    bool values = tb->context->listValuesCallback != 0;
    if (values && !tb->repairMode) enableControl(dialog, ID_VALUES, 0);
    else showControl(dialog, ID_VALUES, 0);
    showControl(dialog, ID_APPLY, 0);
    if (!offersValues(tb)) {
        for (int id : {ID_MODE_LABEL, ID_MODE_FORMULA, ID_MODE_RANGE, ID_MODE_SET})
            showControl(dialog, id, 0);
        setStatusText(dialog, tb);
        return;
    }
    makeRoomForModes(dialog, tb);
    Ui()->checkRadio(dialog, ID_MODE_FORMULA, ID_MODE_SET, ID_MODE_FORMULA + tb->mode);
    if (!tb->editedExpression) {
        Ui()->selectRow(control(dialog, ID_EXPRESSIONS), 0);
        layStartTemplate(dialog);
    }
    setStatusText(dialog, tb);
}

void loadRowBitmaps(ThreadBlock *tb) {
    tb->formulaBitmap = tb->rangeBitmap = tb->setBitmap = 0;
    if (!offersValues(tb)) return;
    tb->formulaBitmap = Ui()->loadBitmap("formulal");
    tb->rangeBitmap = Ui()->loadBitmap("rangel");
    tb->setBitmap = Ui()->loadBitmap("setl");
    Ui()->bitmapSize(tb->formulaBitmap, &tb->bitmapWidth, &tb->bitmapHeight);
}

void installHandlers(HWND dialog, ThreadBlock *tb) {
    tb->editProc = Ui()->subclass(control(dialog, ID_TEXT), UiEditHandler);
    tb->statusProc = Ui()->subclass(control(dialog, ID_STATUS), UiStatusHandler);
    tb->formsProc = Ui()->subclass(control(dialog, ID_EXPRESSIONS), UiFormsHandler);
    tb->varsProc = Ui()->subclass(control(dialog, ID_ITEMS), UiVarsHandler);
    tb->funcsProc = Ui()->subclass(control(dialog, ID_FUNCTIONS), UiFuncsHandler);
}

void startDialog(HWND dialog, LaunchRecord *launch) {
    ThreadBlock *tb = threadBlock();
    if (!launch || !tb) {
        Ui()->endDialog(dialog, 0);
        return;
    }
    gLaunch = launch;
    tb->context = launch->context;
    tb->textView = tb->valuesView = 0;
    loadString(EXPRESSION_WORD, tb->expressionWord, sizeof(tb->expressionWord));
    snprintf(tb->expressionTail, sizeof(tb->expressionTail), "[,%.30s...]", tb->expressionWord);
    snprintf(tb->anyTail, sizeof(tb->anyTail), "[,%.30s...]", tb->anyLabel);
    loadRowBitmaps(tb);
    installHandlers(dialog, tb);
    fillDialog(dialog, tb);
    refreshEditButtons(dialog);
    setOkButton(dialog);
    if (launch->maximumText) Ui()->limitText(control(dialog, ID_TEXT), launch->maximumText);
    Ui()->limitText(control(dialog, ID_NAME), 64);
    Ui()->focus(control(dialog, ID_TEXT));
    if (tb->repairMode) Ui()->setTimer(dialog, REPAIR_TIMER, REPAIR_DELAY);
    tb->valuesEnabled = 1;
    if (tb->startItem[0] && !tb->repairMode &&
        selectExactRow(control(dialog, ID_ITEMS), tb->startItem) >= 0) {
        enableControl(dialog, ID_VALUES, 1);
        Ui()->post(dialog, UI_WM_COMMAND, ID_VALUES, (intptr_t)control(dialog, ID_VALUES));
    }
}

void switchMode(HWND dialog, int id, bool interactive) {
    ThreadBlock *tb = threadBlock();
    int mode = id - ID_MODE_FORMULA;
    if (!tb || mode == tb->mode) {
        Ui()->checkRadio(dialog, ID_MODE_FORMULA, ID_MODE_SET, id);
        return;
    }
    if (interactive && fieldsModified(dialog) && !builderAskSave(dialog)) {
        Ui()->checkRadio(dialog, ID_MODE_FORMULA, ID_MODE_SET, ID_MODE_FORMULA + tb->mode);
        return;
    }
    tb->mode = mode;
    char entry[128];
    loadString(kNewEntry[mode], entry, sizeof(entry));
    Ui()->checkRadio(dialog, ID_MODE_FORMULA, ID_MODE_SET, id);
    HWND list = control(dialog, ID_EXPRESSIONS);
    int selected = Ui()->listSelection(list);
    Ui()->listDelete(list, 0);
    Ui()->listInsert(list, 0, entry);
    Ui()->setListData(list, 0, -1);
    Ui()->selectRow(list, selected);
    setTitle(dialog, tb);
    setStatusText(dialog, tb);
    if (!interactive) return;
    tb->editedExpression = 0;
    showCurrentExpression(dialog, tb);
    layStartTemplate(dialog);
    clearModified(dialog);
    Ui()->focus(control(dialog, ID_TEXT));
}

void openEntry(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND list = control(dialog, ID_EXPRESSIONS);
    int row = Ui()->listSelection(list);
    if (!tb || row < 0) return;
    if (fieldsModified(dialog) && !builderAskSave(dialog)) return;
    HEXP exp = 0;
    if (row != 0) {
        Text name;
        rowText(list, row, &name);
        if (!name.ok()) return;
        exp = ZEMHEXPFromName(tb->context, name.bytes);
    }
    tb->editedExpression = exp;
    if (exp) switchMode(dialog, ID_MODE_FORMULA + kindOf(exp), false);
    showCurrentExpression(dialog, tb);
    if (!exp) layStartTemplate(dialog);
    clearModified(dialog);
    Ui()->focus(control(dialog, ID_TEXT));
}

void closeByOk(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HEXP saved = builderSave(dialog);
    if (!saved && !(tb && tb->repairResult)) return;
    if (gLaunch) gLaunch->result = saved;
    Ui()->endDialog(dialog, UI_IDOK);
}

void endOfDialog(ThreadBlock *tb) {
    for (HBITMAP *b : {&tb->formulaBitmap, &tb->rangeBitmap, &tb->setBitmap}) {
        if (*b) Ui()->freeBitmap(*b);
        *b = 0;
    }
    tb->showTextButton = 0;
}

void repairTimer(HWND dialog, ThreadBlock *tb) {
    Ui()->killTimer(dialog, REPAIR_TIMER);
    showLoadError(dialog, tb->repairText, &tb->lastError);
}

void answerHelp(HWND dialog, HWND asked, UiHelpCallback callback, const ThreadBlock *tb) {
    if (!callback) return;
    HWND functions = control(dialog, ID_FUNCTIONS);
    int row = Ui()->listSelection(functions);
    if (asked && asked == functions && row >= 0) {
        Text name;
        rowText(functions, row, &name);
        if (name.ok()) callback(HELP_FUNCTION, (intptr_t)name.bytes);
        return;
    }
    callback(HELP_NUMBER, offersValues(tb) ? HELP_ITEMS_VALUES : HELP_ITEMS);
}

void onCommand(HWND dialog, int id, unsigned code) {
    bool pressed = code == UI_BN_CLICKED;
    if (id == ID_TEXT || id == ID_NAME) {
        if (code == UI_EN_CHANGE) setOkButton(dialog);
    } else if (id == ID_ITEMS || id == ID_FUNCTIONS || id == ID_EXPRESSIONS) {
        if (code == UI_LBN_DBLCLK) insertFromList(control(dialog, id));
        if (code == UI_LBN_SELCHANGE && id == ID_ITEMS) syncValuesButton(dialog, 1);
    } else if (!pressed) {
        return;
    } else if (id == ID_OK) {
        closeByOk(dialog);
    } else if (id == ID_CANCEL) {
        Ui()->endDialog(dialog, UI_IDCANCEL);
    } else if (id == ID_COPY || id == ID_CUT || id == ID_PASTE || id == ID_CLEAR) {
        clipboardButton(dialog, id);
    } else if (id == ID_PARENS) {
        parenthesise(control(dialog, ID_TEXT));
    } else if ((id >= ID_PLUS && id <= ID_SPARE) || (id >= ID_DIGIT0 && id <= ID_POINT)) {
        insertButtonText(dialog, id);
    } else if (id == ID_DELETE) {
        builderDelete(dialog);
    } else if (id == ID_OPEN) {
        openEntry(dialog);
    } else if (id == ID_SHOW_TEXT) {
        openTextView(dialog);
    } else if (id == ID_VALUES) {
        openValuesView(dialog);
        setValuesCaption(dialog);
    } else if (id >= ID_MODE_FORMULA && id <= ID_MODE_SET) {
        switchMode(dialog, id, true);
    }
}

}  // namespace

void setOkButton(HWND dialog) {
    enableControl(dialog, ID_OK, Ui()->textLength(control(dialog, ID_TEXT)) > 0 &&
                                     Ui()->textLength(control(dialog, ID_NAME)) > 0);
}

void setTitle(HWND dialog, ThreadBlock *tb) {
    const char *name;
    char entry[128];
    if (tb->editedExpression) {
        name = tb->editedExpression->name;
    } else if (tb->repairMode) {
        name = tb->repairName;
    } else {
        loadString(kNewEntry[tb->mode], entry, sizeof(entry));
        name = entry;
    }
    Text title;
    title.add(editorTitle(tb)).add(" - ").add(name ? name : "");
    Ui()->setText(dialog, title.ok() ? title.bytes : editorTitle(tb));
}

void showCurrentExpression(HWND dialog, ThreadBlock *tb) {
    HEXP exp = tb->editedExpression;
    if (exp) {
        Ui()->setText(control(dialog, ID_TEXT), exp->text);
        if (exp->name) Ui()->setText(control(dialog, ID_NAME), exp->name);
        setNameFieldUsed(dialog, ZEMIsNamedFormulaUsed(tb->context, exp->name));
        if (tb->textView) Ui()->send(tb->textView, MSG_SHOW_EXPRESSION, 0, (intptr_t)exp);
    } else {
        const char *name = generateExpressionName(tb->context, tb->mode);
        Ui()->setText(control(dialog, ID_TEXT), "");
        Ui()->setText(control(dialog, ID_NAME), name ? name : "");
        setNameFieldUsed(dialog, 0);
    }
    syncValuesButton(dialog, 0);
    clearModified(dialog);
    setTitle(dialog, tb);
    refreshEditButtons(dialog);
    setOkButton(dialog);
}

intptr_t BuilderEvent(HWND dialog, unsigned message, uintptr_t wParam, intptr_t lParam) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    switch (message) {
    case UI_WM_INITDIALOG: startDialog(dialog, (LaunchRecord *)lParam); return 0;
    case UI_WM_COMMAND: onCommand(dialog, (int)(wParam & 0xFFFF), (unsigned)(wParam >> 16) & 0xFFFF); return 1;
    case UI_WM_TIMER:
        if (wParam != REPAIR_TIMER) return 0;
        repairTimer(dialog, tb);
        return 1;
    case UI_WM_DRAWITEM:
        if (wParam != ID_EXPRESSIONS) return 0;
        drawRow(dialog, (const UiDrawItem *)lParam);
        return 1;
    case UI_WM_MEASUREITEM: return rowHeight(tb);
    case UI_WM_SETFONT: Ui()->fontMetrics(dialog, wParam, &tb->textMetrics); return 0;
    case MSG_NEXT_PLACEHOLDER: selectNextPlaceholder(dialog); return 1;
    case MSG_HELP_QUERY: answerHelp(dialog, (HWND)wParam, (UiHelpCallback)lParam, tb); return 1;
    case UI_WM_DESTROY: endOfDialog(tb); return 0;
    default: return 0;
    }
}

HEXP runBuilder(HWND parent, HEC ec, HEXP exp, uint16_t maximumText, int mode,
                const char *startItem, bool *opened) {
    ThreadBlock *tb = threadBlock();
    if (opened) *opened = false;
    if (!tb || !ec || gLaunch) return 0;  // one builder in a process at a time
    tb->editedExpression = exp;
    tb->mode = mode;
    snprintf(tb->startItem, sizeof(tb->startItem), "%s", startItem ? startItem : "");
    LaunchRecord launch = {ec, exp, 0, maximumText};
    gLaunch = &launch;
    intptr_t ended = Ui()->runDialog(parent, UiBuilder, &launch);
    gLaunch = 0;
    if (opened) *opened = ended != -1;
    if (ended == -1 && !opened) {
        launch.result = 0;
        ExpError error = {ERR_MEMLOW, 0, 0};
        ZEMErrorDisplay(parent, "", &error);
    }
    return launch.result;
}

ZEMAPI HEXP ZEMCALL ZEMBuildExpression(HZEMWND parent, HEC ec, HEXP exp, uint16_t maximumText) {
    return ZEMBuildExpressionOfType(parent, ec, exp, maximumText, 0, "");
}

ZEMAPI HEXP ZEMCALL ZEMBuildExpressionOfType(HZEMWND parent, HEC ec, HEXP exp,
                                            uint16_t maximumText, int32_t type,
                                            const char *startItem) {
    ThreadBlock *tb = threadBlock();
    if (tb) tb->repairMode = 0;  // a host's launch is never a repair
    return runBuilder((HWND)parent, ec, exp, maximumText, modeOfType(type), startItem);
}
