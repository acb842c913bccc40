// What the builder's files share: the session state, owned working texts
// and the operations that one file offers the others.
#ifndef ZEM_BUILDER_INTERNAL_H
#define ZEM_BUILDER_INTERNAL_H

#include <stddef.h>

#include "builder/builder.h"
#include "context/expressions.h"
#include "context/threadblock.h"
#include "services/services.h"

// A working text from SvcAlloc, freed with its scope. Every step that
// cannot get memory sets `failed`, and the text is then not to be used.
struct Text {
    char *bytes = 0;
    size_t length = 0;
    bool failed = false;

    Text() = default;
    explicit Text(size_t reserve);
    ~Text() { SvcFree(bytes); }
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;

    Text &add(const char *text, size_t count);
    Text &add(const char *text);
    bool ok() const { return !failed && bytes; }
    const char *c_str() const { return bytes ? bytes : ""; }
    char *release();
};

// A window's whole text; failed when memory ran out.
void windowText(HWND window, Text *out);
// A list row's text; failed when memory ran out or there is no such row.
void rowText(HWND list, int row, Text *out);
// A string of the table into buffer.
void loadString(unsigned id, char *buffer, int size);

HWND control(HWND dialog, int id);
void enableControl(HWND dialog, int id, int on);
void showControl(HWND dialog, int id, int on);

// The open builder's launch record, 0 while none is open.
extern LaunchRecord *gLaunch;

// Whether the builder offers modes and values: the context has a values
// callback and this is no repair.
bool offersValues(const ThreadBlock *tb);
// The kind of a stored expression, Formula when it is not there.
int kindOf(HEXP exp);

// Session (session.cpp).
void setTitle(HWND dialog, ThreadBlock *tb);
void showCurrentExpression(HWND dialog, ThreadBlock *tb);
void setOkButton(HWND dialog);

// Editing (editing.cpp).
void refreshEditButtons(HWND dialog);
void clipboardButton(HWND dialog, int id);
size_t insertAtCaret(HWND field, const char *text, size_t length);
void parenthesise(HWND field);
void insertFromList(HWND list);
void appendFunctionTemplate(Text *text, const ExpItem *item, const ThreadBlock *tb);
void selectNextPlaceholder(HWND dialog);
void layStartTemplate(HWND dialog);
void insertButtonText(HWND dialog, int id);

// Save and delete (save.cpp).
// A text that calls for a formula later in the block being repaired waits
// for it: the text and the name go back to the reader in one block. 1 when
// it waits, 0 when it is no such text, -1 when memory ran out.
int deferRepair(ThreadBlock *tb, const char *text, const char *name);
// Keeps the names of the block's records in byte order in the thread block
// while a load reads them, so that nameIsPending searches instead of
// walking the block for every waiting text. Without memory for them it walks.
void sortPendingNames(ThreadBlock *tb);
HEXP builderSave(HWND dialog);
int builderAskSave(HWND dialog);
void builderDelete(HWND dialog);

// Lists (lists.cpp).
void fillLists(HWND dialog, ThreadBlock *tb);
int selectExactRow(HWND list, const char *text);
void refreshDeleteButton(HWND dialog);
void refreshEntryCaptions(HWND dialog);
// The row of an expression's name (row 0, the new entry, aside), or -1.
int rowOfName(HWND list, const char *name);
void drawRow(HWND dialog, const UiDrawItem *item);
int rowHeight(const ThreadBlock *tb);

// Side windows (sideviews.cpp).
void openTextView(HWND dialog);
void syncTextButton(HWND dialog);
void openValuesView(HWND dialog);
void syncValuesButton(HWND dialog, int refresh);
void setValuesCaption(HWND dialog);
// The literal text of a value line for an item of this data type; failed
// when memory ran out.
void literalText(const char *line, int itemType, Text *out);

#endif
