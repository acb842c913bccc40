// Editing in the builder's text field: every button and list inserts at the
// caret, functions arrive as templates that name their parameters by type,
// and after each insertion the next placeholder is selected.
#include <stdio.h>
#include <string.h>

#include <initializer_list>

#include "builder/internal.h"
#include "context/items.h"
#include "context/rename.h"

namespace {

// A selection this long or longer is never taken for a tail.
enum { TailLimit = 40 };

struct Selection {
    int32_t start, end;
};

// The field's selection, inside a text of `length` bytes.
Selection selectionIn(HWND field, size_t length) {
    Selection s;
    Ui()->getSelection(field, &s.start, &s.end);
    if (s.start > s.end) {
        int32_t t = s.start;
        s.start = s.end;
        s.end = t;
    }
    if (s.start < 0) s.start = 0;
    if ((size_t)s.end > length) s.end = (int32_t)length;
    if (s.start > s.end) s.start = s.end;
    return s;
}

const char *labelOfType(const ThreadBlock *tb, int type) {
    switch (type) {
    case ZEM_TYPE_NUMBER: return tb->numberLabel;
    case ZEM_TYPE_DATETIME: return tb->dateTimeLabel;
    case ZEM_TYPE_STRING: return tb->stringLabel;
    case ZEM_TYPE_ANY:
    case ZEM_TYPE_ANY_STAR: return tb->anyLabel;
    default: return tb->keywordLabel;
    }
}

// The type of a descriptor; one the function lacks reads as its last one,
// and as Any when it has none.
int descriptorType(const ExpItem *item, int index) {
    if (index < item->paramCount) return item->params[index].type;
    return item->paramCount > 0 ? (int)item->params[item->paramCount - 1].type : (int)ZEM_TYPE_ANY;
}

// Whether the selected bytes spell a tail exactly.
bool selectionIs(const Text &text, Selection s, const char *tail) {
    char copy[TailLimit];
    size_t n = (size_t)(s.end - s.start);
    memcpy(copy, text.bytes + s.start, n);
    copy[n] = 0;
    return SvcStrEqual(copy, tail);
}

// After a function with parameters its first label is selected: it stands
// behind the name, "(", "DISTINCT ", the bracket of an all-optional list
// and the blank of the label's frame.
void selectFirstLabel(HWND field, size_t at, const ExpItem *item, const ThreadBlock *tb) {
    size_t offset = strlen(item->name) + 1;
    if (item->flags & ZEM_FN_DISTINCT) offset += 9;
    if (item->required == 0 && item->optional != 0) offset += 1;
    offset += 1;
    size_t length = strlen(labelOfType(tb, item->params[0].type));
    Ui()->setSelection(field, (int32_t)(at + offset), (int32_t)(at + offset + length));
}

}  // namespace

void refreshEditButtons(HWND dialog) {
    int32_t start, end;
    Ui()->getSelection(control(dialog, ID_TEXT), &start, &end);
    int selected = start != end;
    for (int id : {ID_COPY, ID_CUT, ID_CLEAR, ID_PARENS}) enableControl(dialog, id, selected);
    enableControl(dialog, ID_PASTE, Ui()->clipboardHasText());
}

void clipboardButton(HWND dialog, int id) {
    unsigned op = id == ID_COPY ? UI_WM_COPY : id == ID_CUT ? UI_WM_CUT
                : id == ID_PASTE ? UI_WM_PASTE : UI_WM_CLEAR;
    HWND field = control(dialog, ID_TEXT);
    Ui()->clipboard(field, op);
    refreshEditButtons(dialog);
    Ui()->focus(field);
}

size_t insertAtCaret(HWND field, const char *text, size_t length) {
    ThreadBlock *tb = threadBlock();
    Text old;
    windowText(field, &old);
    if (!tb || !old.ok()) return 0;
    Selection s = selectionIn(field, old.length);
    bool comma = false, keepTail = false;
    int32_t selected = s.end - s.start;
    if (selected >= 1 && selected < TailLimit) {
        if (selectionIs(old, s, tb->anyTail)) {
            comma = true;
        } else if (tb->mode == KindSet && selectionIs(old, s, tb->expressionTail)) {
            comma = keepTail = true;
        }
    }
    Text made;
    made.add(old.bytes, (size_t)s.start).add(comma ? "," : "").add(text, length);
    made.add(old.bytes + s.end, old.length - (size_t)s.end);
    if (keepTail) made.add(" ").add(tb->expressionTail);
    if (!made.ok()) return 0;

    size_t at = (size_t)s.start + (comma ? 1 : 0);
    Ui()->setText(field, made.bytes);
    Ui()->setSelection(field, (int32_t)(at + length), (int32_t)(at + length));
    Ui()->focus(field);
    Ui()->setModified(field, 1);
    HWND dialog = Ui()->parent(field);
    Ui()->send(dialog, UI_WM_COMMAND, (uintptr_t)ID_TEXT | (uintptr_t)UI_EN_CHANGE << 16,
               (intptr_t)field);
    Ui()->post(dialog, MSG_NEXT_PLACEHOLDER, 0, 0);
    return at;
}

void parenthesise(HWND field) {
    Text old;
    windowText(field, &old);
    if (!old.ok()) return;
    Selection s = selectionIn(field, old.length);
    Text made;
    made.add(old.bytes, (size_t)s.start).add("(").add(old.bytes + s.start, (size_t)(s.end - s.start));
    made.add(")").add(old.bytes + s.end);
    if (!made.ok()) return;
    Ui()->setText(field, made.bytes);
    Ui()->setSelection(field, (int32_t)made.length, (int32_t)made.length);
    Ui()->focus(field);
    Ui()->setModified(field, 1);
    refreshEditButtons(Ui()->parent(field));  // the caret is alone now: 105 goes off
}

void appendFunctionTemplate(Text *text, const ExpItem *item, const ThreadBlock *tb) {
    int count = item->paramCount;
    int required = item->required, optional = item->optional;
    char piece[64];
    if (count >= 0) text->add("(");
    if (item->flags & ZEM_FN_DISTINCT) text->add("DISTINCT ");
    if (required == 0 && optional != 0) text->add("[");
    int total = count > required + optional ? count : required + optional;
    for (int i = 0; i < total; i++) {
        int type = descriptorType(item, i < count ? i : required);
        snprintf(piece, sizeof(piece), " %s ", labelOfType(tb, type));
        text->add(piece);
        if (i < total - 1) {
            if (optional && required && i >= required - 1) text->add("[");
            text->add(",");
        }
    }
    if (required && !optional) {
        text->add("[");
        snprintf(piece, sizeof(piece), ",%s", tb->anyLabel);
        for (int i = required; i < count; i++) text->add(piece);
        text->add("...] ");
    } else if (required && optional) {
        for (int i = 0; i < optional; i++) text->add("]");
    } else if (optional) {
        text->add("] ");
    }
    if (count >= 0) text->add(")");
}

void insertFromList(HWND list) {
    ThreadBlock *tb = threadBlock();
    int row = Ui()->listSelection(list);
    int id = Ui()->id(list);
    if (!tb || row < 0 || (id == ID_EXPRESSIONS && row == 0)) return;
    Text name;
    rowText(list, row, &name);
    if (!name.ok()) return;
    Text insert;
    insert.add(name.bytes);
    const ExpItem *function = 0;
    if (id == ID_FUNCTIONS) {
        function = tb->context ? itemLookup(tb->context, ZEM_ITEM_FUNCTION, name.bytes) : 0;
        if (function) appendFunctionTemplate(&insert, function, tb);
    } else if (id == ID_EXPRESSIONS) {
        HEXP exp = ZEMHEXPFromName(tb->context, name.bytes);
        // An expression cannot name itself, and a Range or Set stands alone.
        if (exp && (exp == tb->editedExpression || kindOf(exp) != KindFormula)) return;
        insert.add("()");
    }
    if (!insert.ok()) return;
    HWND field = control(Ui()->parent(list), ID_TEXT);
    size_t at = insertAtCaret(field, insert.bytes, insert.length);
    if (function && function->paramCount > 0) selectFirstLabel(field, at, function, tb);
}

void selectNextPlaceholder(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    HWND field = control(dialog, ID_TEXT);
    int32_t start, end;
    Ui()->getSelection(field, &start, &end);
    Text text;
    if (tb && start == end) windowText(field, &text);
    if (text.ok()) {
        Text token(text.length);
        const char *labels[] = {tb->mode != KindFormula ? tb->expressionWord : "",
                                tb->numberLabel, tb->dateTimeLabel, tb->stringLabel,
                                tb->anyLabel, tb->keywordLabel};
        long found = -1, length = 0;
        for (size_t pos = 0; token.ok() && found < 0 && text.bytes[pos];) {
            size_t taken = SvcNextToken(token.bytes, text.bytes + pos, kWordDelimiters,
                                        kWordDelimiters, 0, WordQuote, 0);
            size_t tokenLength = strlen(token.bytes);
            for (const char *label : labels) {
                if (*label && tokenLength && SvcStrEqual(token.bytes, label)) {
                    found = (long)(pos + taken - tokenLength);
                    length = (long)tokenLength;
                    break;
                }
            }
            pos += taken ? taken : 1;
        }
        const char *tails[] = {tb->mode == KindSet ? tb->expressionTail : "", tb->anyTail};
        for (const char *tail : tails) {
            const char *at = found < 0 && *tail ? strstr(text.bytes, tail) : 0;
            if (at) found = (long)(at - text.bytes), length = (long)strlen(tail);
        }
        if (found >= 0) Ui()->setSelection(field, (int32_t)found, (int32_t)(found + length));
    }
    refreshEditButtons(dialog);
}

void layStartTemplate(HWND dialog) {
    ThreadBlock *tb = threadBlock();
    if (!tb || tb->mode == KindFormula) return;
    char text[3 * sizeof(tb->expressionWord) + sizeof(tb->expressionTail) + 8];
    if (tb->mode == KindRange)
        snprintf(text, sizeof(text), "%s AND %s", tb->expressionWord, tb->expressionWord);
    else
        snprintf(text, sizeof(text), "%s, %s %s", tb->expressionWord, tb->expressionWord,
                 tb->expressionTail);
    HWND field = control(dialog, ID_TEXT);
    Ui()->setText(field, text);
    Ui()->setSelection(field, 0, (int32_t)strlen(tb->expressionWord));
    refreshEditButtons(dialog);
}

void insertButtonText(HWND dialog, int id) {
    ThreadBlock *tb = threadBlock();
    static const char *const operators[] = {" + ", " - ", " * ", " / "};
    char digit[2] = {0, 0};
    const char *text;
    if (id >= ID_PLUS && id <= ID_DIVIDE) text = operators[id - ID_PLUS];
    else if (id == ID_SPARE) text = tb && tb->context && tb->context->concatAllowed ? " || " : " % ";
    else if (id == ID_POINT) text = ".";
    else digit[0] = (char)('0' + id - ID_DIGIT0), text = digit;
    insertAtCaret(control(dialog, ID_TEXT), text, strlen(text));
}
