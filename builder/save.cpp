// What the builder does with a text the user commits: parse and store it,
// warn about a kind that differs from the editor's mode, keep the
// expressions list in step, show errors at their place, ask before changes
// are lost, delete an expression, and hand a text that waits for a later
// one back to the block reader.
#include <string.h>

#include <algorithm>
#include <initializer_list>

#include "builder/internal.h"
#include "errors/errors.h"

namespace {

enum { KIND_WARNING = 220, WARNING_SUFFIX = 226, ASK_SAVE = 202, DELETE_DENIED = 205,
       DELETE_QUESTION = 204, SPAN_ROOM = 256 };

const unsigned kSaveTitle[] = {203, 241, 242};
const unsigned kDeleteTitle[] = {206, 243, 244};
const unsigned kKindWord[] = {216, 214, 215};

// The warning of a parsed kind that is not the editor's mode: the table
// runs by mode, and within a mode by the other two kinds in order.
unsigned warningOf(int mode, int kind) {
    return KIND_WARNING + 2u * (unsigned)mode + (unsigned)(kind < mode ? kind : kind - 1);
}

// Yes keeps an expression of another kind than the mode.
bool keepOtherKind(HWND dialog, const ThreadBlock *tb, int kind) {
    char message[256], suffix[64];
    loadString(warningOf(tb->mode, kind), message, sizeof(message));
    loadString(WARNING_SUFFIX, suffix, sizeof(suffix));
    const char *titles[] = {tb->titleFormula, tb->titleRange, tb->titleSet};
    Text title;
    title.add(titles[tb->mode]).add(suffix);
    return Ui()->ask(dialog, message, title.ok() ? title.bytes : titles[tb->mode],
                     UI_MB_YESNO | UI_MB_ICONHAND) == UI_IDYES;
}

// Rows keep the ordinals of their expressions; a delete moves later ones.
void renumberRows(HWND list, HEC ec) {
    int count = Ui()->listCount(list);
    for (int row = 1; row < count; row++) {
        Text name;
        rowText(list, row, &name);
        HEXP exp = name.ok() ? ZEMHEXPFromName(ec, name.bytes) : 0;
        if (exp) Ui()->setListData(list, row, ZEMGetExpressionOrdinal(ec, exp));
    }
}

void deleteRowOf(HWND list, const char *name) {
    int row = rowOfName(list, name);
    if (row < 0) return;
    Ui()->listDelete(list, row);
    SvcListFit(list);
}

// Keeps the expressions list in step with a saved expression.
void updateList(HWND dialog, ThreadBlock *tb, HEXP saved, const char *oldName) {
    HWND list = control(dialog, ID_EXPRESSIONS);
    intptr_t ordinal = ZEMGetExpressionOrdinal(tb->context, saved);
    if (!tb->editedExpression) {
        int row = Ui()->listInsert(list, -1, saved->name);
        if (row >= 0) Ui()->setListData(list, row, ordinal);
        SvcListFit(list);
        return;
    }
    if (strcmp(oldName, saved->name) == 0) return;
    int selected = Ui()->listSelection(list);
    int row = rowOfName(list, oldName);
    if (row < 0) return;
    Ui()->listDelete(list, row);
    Ui()->listInsert(list, row, saved->name);
    Ui()->setListData(list, row, ordinal);
    SvcListFit(list);
    Ui()->selectRow(list, selected);
}

void showSaveError(HWND dialog, ThreadBlock *tb, const char *text, const char *name) {
    HWND field = control(dialog, ID_TEXT);
    unsigned code = tb->lastError.code;
    if (code == ERR_NAME || code == ERR_DUPNAME) {
        SetError(&tb->lastError, code, 0, (unsigned)strlen(name));
        ZEMErrorDisplay(dialog, name, &tb->lastError);
    } else if (deferRepair(tb, text, name) <= 0) {
        ZEMErrorDisplay(dialog, text, &tb->lastError);
    }
    int32_t start = (int32_t)tb->lastError.start;
    Ui()->setSelection(field, start, start + (int32_t)tb->lastError.length);
    Ui()->focus(field);
}

}  // namespace

HEXP builderSave(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND field = control(dialog, ID_TEXT);
    if (!tb || Ui()->textLength(field) <= 0) return 0;
    HEXP edited = tb->editedExpression;
    Text oldName, text, name;
    oldName.add(edited ? edited->name : "");
    windowText(field, &text);
    if (text.ok() && tb->mode == KindSet) {
        char *tail = strstr(text.bytes, tb->expressionTail);
        if (tail) *tail = 0, text.length = (size_t)(tail - text.bytes);
        Ui()->setText(field, text.bytes);
    }
    windowText(control(dialog, ID_NAME), &name);
    if (!oldName.ok() || !text.ok() || !name.ok()) {
        SetError(&tb->lastError, ERR_MEMORY, 0, 0);
        ZEMErrorDisplay(dialog, "", &tb->lastError);
        return 0;
    }
    uint16_t type = 0;
    HEXP saved = ZEMParseFormula(tb->context, edited, text.bytes, name.bytes, &tb->lastError, &type);
    if (!saved) {
        showSaveError(dialog, tb, text.bytes, name.bytes);
        return 0;
    }
    int kind = kindOf(saved);
    if (offersValues(tb) && kind != tb->mode && !keepOtherKind(dialog, tb, kind)) {
        // The parse has already replaced an edited record: it goes, and the
        // session lets go of it and of its row.
        if (edited) {
            tb->editedExpression = 0;
            deleteRowOf(control(dialog, ID_EXPRESSIONS), oldName.bytes);
        }
        ZEMDestroyEXP(tb->context, saved);
        return 0;
    }
    updateList(dialog, tb, saved, oldName.bytes);
    return saved;
}

int builderAskSave(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    if (!tb) return 0;
    char message[256], title[128];
    loadString(ASK_SAVE, message, sizeof(message));
    loadString(kSaveTitle[tb->mode], title, sizeof(title));
    switch (Ui()->ask(dialog, message, title, UI_MB_YESNOCANCEL)) {
    case UI_IDYES: return builderSave(dialog) != 0;
    case UI_IDNO: return 1;
    default: return 0;
    }
}

void builderDelete(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND list = control(dialog, ID_EXPRESSIONS);
    int row = Ui()->listSelection(list);
    if (!tb || row < 1) return;
    Text name;
    rowText(list, row, &name);
    HEXP exp = name.ok() ? ZEMHEXPFromName(tb->context, name.bytes) : 0;
    if (!exp) return;
    int kind = kindOf(exp);
    char title[128], message[256], word[64];
    loadString(kDeleteTitle[kind], title, sizeof(title));
    ZEMDelPermissionCallback allow = tb->context->delPermissionCallback;
    if (!allow || !allow(tb->context, exp, dialog)) {
        loadString(DELETE_DENIED, message, sizeof(message));
        Ui()->ask(dialog, message, title, UI_MB_OK);
        return;
    }
    loadString(DELETE_QUESTION, message, sizeof(message));
    loadString(kKindWord[kind], word, sizeof(word));
    Text question;
    question.add(message).add(word);
    if (!question.ok()) return;
    if (Ui()->ask(dialog, question.bytes, title,
                  UI_MB_YESNO | UI_MB_ICONQUESTION | UI_MB_DEFBUTTON2) != UI_IDYES)
        return;
    if (!ZEMDestroyEXP(tb->context, exp)) return;
    Ui()->listDelete(list, row);
    SvcListFit(list);
    renumberRows(list, tb->context);
    Ui()->selectRow(list, -1);
    for (int id : {ID_DELETE, ID_OPEN, ID_SHOW_TEXT}) enableControl(dialog, id, 0);
    if (exp == tb->editedExpression) {
        tb->editedExpression = 0;
        showCurrentExpression(dialog, tb);
    }
    if (tb->textView) Ui()->send(tb->textView, MSG_SHOW_EXPRESSION, 0, 0);
}

int deferRepair(ThreadBlock *tb, const char *text, const char *name) {
    if (!tb->repairMode || tb->lastError.code != ERR_FUNC ||
        !nameIsPending(text, tb->pendingList, &tb->lastError, tb->pendingCount))
        return 0;
    Text pair;
    pair.add(text, strlen(text) + 1).add(name, strlen(name) + 1);
    if (!pair.ok()) return -1;
    SvcFree(tb->repairResult);
    tb->repairResult = pair.release();
    return 1;
}

namespace {
bool nameBefore(const char *a, const char *b) { return strcmp(a, b) < 0; }
}  // namespace

void sortPendingNames(ThreadBlock *tb) {
    tb->pendingNames = (const char **)SvcAlloc(sizeof(char *) * (size_t)tb->pendingCount);
    if (!tb->pendingNames) return;
    const char *record = (const char *)tb->pendingList;
    for (int32_t i = 0; i < tb->pendingCount; i++) {
        tb->pendingNames[i] = record + strlen(record) + 1;
        record = tb->pendingNames[i] + strlen(tb->pendingNames[i]) + 1;
    }
    std::sort(tb->pendingNames, tb->pendingNames + tb->pendingCount, nameBefore);
}

int nameIsPending(const char *text, const void *pendingList, const ExpError *error,
                  int32_t pendingCount) {
    if (!text || !pendingList || !error) return 0;
    size_t length = strlen(text);
    // A span of the buffer's size or more is no forward reference.
    if (error->length >= SPAN_ROOM || error->start > length) return 0;
    char span[SPAN_ROOM];
    size_t n = error->length < length - error->start ? error->length : length - error->start;
    memcpy(span, text + error->start, n);
    // The span of an unknown call ends in its "(": the name stands before
    // it and the blanks.
    if (n > 0 && span[n - 1] == '(') n--;
    while (n > 0 && (span[n - 1] == ' ' || span[n - 1] == '\t')) n--;
    span[n] = 0;
    ThreadBlock *tb = threadBlock();
    if (tb && tb->pendingNames && tb->pendingList == pendingList && tb->pendingCount == pendingCount) {
        const char **end = tb->pendingNames + pendingCount;
        const char **at = std::lower_bound(tb->pendingNames, end, (const char *)span, nameBefore);
        return at != end && strcmp(*at, span) == 0;
    }
    // Each record of the block: its text, then its name, both terminated.
    const char *record = (const char *)pendingList;
    for (int32_t i = 0; i < pendingCount; i++) {
        const char *name = record + strlen(record) + 1;
        if (strcmp(name, span) == 0) return 1;
        record = name + strlen(name) + 1;
    }
    return 0;
}
