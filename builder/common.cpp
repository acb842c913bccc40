// Working texts and the small control helpers every part of the builder uses.
#include <string.h>

#include "builder/internal.h"
#include "context/startup.h"

Text::Text(size_t reserve) {
    bytes = (char *)SvcAlloc(reserve + 1);
    failed = !bytes;
}

Text &Text::add(const char *text, size_t count) {
    if (failed) return *this;
    size_t room = bytes ? SvcSize(bytes) : 0;
    if (length + count + 1 > room) {
        size_t want = (length + count + 1) * 2;
        char *grown = bytes ? (char *)SvcRealloc(bytes, want) : (char *)SvcAlloc(want);
        if (!grown) {
            failed = true;
            return *this;
        }
        bytes = grown;
    }
    memcpy(bytes + length, text, count);
    length += count;
    bytes[length] = 0;
    return *this;
}

Text &Text::add(const char *text) { return add(text, strlen(text)); }

char *Text::release() {
    char *b = bytes;
    bytes = 0;
    length = 0;
    return b;
}

namespace {

// Puts a filled working text in place of out's.
void adopt(Text *out, Text *filled) {
    SvcFree(out->bytes);
    out->bytes = filled->release();
    out->length = strlen(out->bytes);
    out->failed = false;
}

}  // namespace

void windowText(HWND window, Text *out) {
    int length = Ui()->textLength(window);
    Text text((size_t)(length > 0 ? length : 0));
    if (!text.ok()) {
        out->failed = true;
        return;
    }
    Ui()->getText(window, text.bytes, length + 1);
    adopt(out, &text);
}

void rowText(HWND list, int row, Text *out) {
    int length = Ui()->listTextLength(list, row);
    Text text((size_t)(length > 0 ? length : 0));
    if (length < 0 || !text.ok() || Ui()->listText(list, row, text.bytes) < 0) {
        out->failed = true;
        return;
    }
    adopt(out, &text);
}

void loadString(unsigned id, char *buffer, int size) {
    if (LoadStringA(ModuleHandle(), id, buffer, size) <= 0 && size > 0) buffer[0] = 0;
}

HWND control(HWND dialog, int id) { return Ui()->item(dialog, id); }
void enableControl(HWND dialog, int id, int on) { Ui()->enable(control(dialog, id), on); }
void showControl(HWND dialog, int id, int on) { Ui()->show(control(dialog, id), on); }

bool offersValues(const ThreadBlock *tb) {
    return tb->context && tb->context->listValuesCallback && !tb->repairMode;
}

int kindOf(HEXP exp) { return exp ? expressionKind(exp->root) : KindFormula; }
