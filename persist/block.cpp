// The context block writer: the operator names, the input items and the
// stored expressions of a context flattened into bytes (layout in
// persist/blockformat.h), and the size such a block takes. Neither
// allocates, so neither can run out of memory.
#include <string.h>

#include "context/expressions.h"
#include "persist/blockformat.h"

namespace {

struct Writer {
    unsigned char *out;
    uint32_t size;  // bytes the buffer holds
    uint32_t used;
    int overflow;
};

uint32_t textCost(const char *text) { return (uint32_t)SvcStrLen(text) + 1; }

const char *operatorName(const EC *ec, int index) {
    int group = index / BLOCK_OPERATOR_SLOTS, slot = index % BLOCK_OPERATOR_SLOTS;
    return ec->operators[kBlockGroupCode[group]].names[slot];
}

// Calls visit on every element of a store of pointers, null ones included.
template <typename T, typename F>
void walkElements(HARRAY store, F visit) {
    T **elements = (T **)SvcArrayLock(store, 0);
    if (!elements) return;
    unsigned count = SvcArrayCount(store);
    for (unsigned i = 0; i < count; i++) visit(elements[i]);
    SvcArrayUnlock(store);
}

bool fits(const Writer *w, uint32_t cost) { return cost <= w->size - w->used; }

void putText(Writer *w, const char *text, uint32_t cost) {
    if (cost > 1) memcpy(w->out + w->used, text, cost - 1);
    w->out[w->used + cost - 1] = 0;
    w->used += cost;
}

// A section's header wants more than its own four bytes left: a header
// that would end the buffer is left out, and the section with it.
int putHeader(Writer *w, unsigned tag, unsigned count) {
    if (w->size - w->used <= BLOCK_HEADER_SIZE) {
        if (count) w->overflow = 1;
        return 0;
    }
    blockPut16(w->out + w->used, tag);
    blockPut16(w->out + w->used + 2, count);
    w->used += BLOCK_HEADER_SIZE;
    return 1;
}

// The item's fixed head as a 32-bit host lays it out, read field by field
// so that the width of pointers here does not matter.
void putItemHead(unsigned char *at, const ExpItem *item) {
    memset(at, 0, BLOCK_ITEM_HEAD);  // the two pointer words stay zero
    blockPut16(at + BLOCK_ITEM_KIND, (uint16_t)item->kind);
    blockPut16(at + BLOCK_ITEM_TYPE, (uint16_t)item->dataType);
    memcpy(at + BLOCK_ITEM_NAME, item->name, BLOCK_ITEM_NAME_SIZE);
    blockPut16(at + BLOCK_ITEM_PARAMS, (uint16_t)item->paramCount);
    blockPut16(at + BLOCK_ITEM_SUBCLASS, item->required);
    blockPut16(at + BLOCK_ITEM_OPTIONAL, item->optional);
    blockPut16(at + BLOCK_ITEM_FLAGS, item->flags);
}

// Later names are still tried after one did not fit, so a short block's
// names no longer stand in their places.
void writeNames(Writer *w, const EC *ec) {
    for (int i = 0; i < BLOCK_OPERATOR_NAMES; i++) {
        const char *name = operatorName(ec, i);
        uint32_t cost = textCost(name);
        if (fits(w, cost))
            putText(w, name, cost);
        else
            w->overflow = 1;
    }
}

// An item that does not fit is skipped and the next one tried; a null
// element is passed over.
void writeItems(Writer *w, const EC *ec) {
    if (!ec->inputItems || w->overflow) return;
    if (!putHeader(w, BLOCK_TAG_ITEMS, SvcArrayCount(ec->inputItems))) return;
    walkElements<ExpItem>(ec->inputItems, [&](const ExpItem *item) {
        if (!item) return;
        uint32_t nameCost = textCost(item->functionName);
        if (!fits(w, BLOCK_ITEM_HEAD + nameCost)) {
            w->overflow = 1;
            return;
        }
        putItemHead(w->out + w->used, item);
        w->used += BLOCK_ITEM_HEAD;
        putText(w, item->functionName, nameCost);
    });
}

// Text then name; the first record that does not fit ends the section.
void writeExpressions(Writer *w, const EC *ec) {
    if (!ec->expressions || w->overflow) return;
    if (!putHeader(w, BLOCK_TAG_EXPRESSIONS, SvcArrayCount(ec->expressions))) return;
    walkElements<ExpRecord>(ec->expressions, [&](const ExpRecord *record) {
        if (!record || w->overflow) return;
        uint32_t textPart = textCost(record->text), namePart = textCost(record->name);
        if (!fits(w, textPart + namePart)) {
            w->overflow = 1;
            return;
        }
        putText(w, record->text, textPart);
        putText(w, record->name, namePart);
    });
}

uint32_t blockSize(const EC *ec, int withExpressions) {
    uint32_t size = 1;
    if (!ec) return size;
    for (int i = 0; i < BLOCK_OPERATOR_NAMES; i++) size += textCost(operatorName(ec, i));
    if (ec->inputItems) {
        size += BLOCK_HEADER_SIZE;
        walkElements<ExpItem>(ec->inputItems, [&](const ExpItem *item) {
            size += BLOCK_ITEM_HEAD + textCost(item ? item->functionName : 0);
        });
    }
    if (ec->expressions && withExpressions) {
        size += BLOCK_HEADER_SIZE;
        walkElements<ExpRecord>(ec->expressions, [&](const ExpRecord *record) {
            size += textCost(record ? record->text : 0) + textCost(record ? record->name : 0);
        });
    }
    return size;
}

}  // namespace

extern "C" {

ZEMAPI uint32_t ZEMCALL ZEMGetECBlockSize(HEC ec, int32_t withExpressions) {
    return blockSize(ec, withExpressions);
}

ZEMAPI uint32_t ZEMCALL ZEMGetECBlock(HEC ec, int32_t bufferSize, void *buffer) {
    if (!buffer || bufferSize < 1) return 0;
    Writer w = {(unsigned char *)buffer, (uint32_t)bufferSize, 0, 0};
    w.out[w.used++] = BLOCK_VERSION;
    if (!ec) return w.used;
    writeNames(&w, ec);
    writeItems(&w, ec);
    writeExpressions(&w, ec);
    return w.used;
}

}  // extern "C"
