// Renaming an item: its name field, then every stored text and tree that
// refers to it. Text and tree change together. A word of the text is
// rewritten only where the tree holds a reference to the item at that very
// offset, so a word inside a string literal, or a named formula that shares
// the item's name, stays as it is. Every offset of the tree behind a
// rewritten word moves with it, so the tree is the one a fresh parse of the
// new text gives.
#include "context/rename.h"

#include <string.h>

#include <algorithm>

#include "context/expressions.h"
#include "context/items.h"
#include "context/nameindex.h"
#include "language/tree.h"
#include "services/platform.h"

const char kWordDelimiters[] = " \t\r\n()*+-/|%,";

namespace {

// One step of the word scan from pos: the word goes to token.
struct Word {
    size_t taken;  // bytes taken, the delimiters before the word included
    size_t at;     // offset of the word in the text
};

Word nextWord(char *token, const char *text, size_t pos) {
    size_t taken = SvcNextToken(token, text + pos, kWordDelimiters, 0, 0, WordQuote, 0);
    return Word{taken, pos + taken - strlen(token)};
}

// A reference that the rename rewrites, by the offset of its name in the old
// text, with the copy of the new name that its node will own.
struct Reference {
    uint32_t at;
    char *copy;
};

struct Renaming {
    int nodeKind;  // NodeFunction or NodeInput
    const char *oldName;
    const char *newName;
    int64_t delta;  // new length less old
    Reference *refs;  // sorted by offset
    unsigned count;
};

bool isReference(const Renaming *r, const ExpNode *node) {
    return node->kind == r->nodeKind && lstrcmpA((const char *)node->left, r->oldName) == 0;
}

// Visits every node of a tree, a parent before its children. A visit
// touches only its own node, so the right operand may come first: the walk
// goes down the left operands in a loop, and a long chain such as 1+1+1+...
// costs no stack a link.
template <typename F>
void eachNode(ExpNode *node, F &visit) {
    for (; node; node = (ExpNode *)node->left) {
        visit(node);
        if (node->kind == NodeFunction || node->kind == NodeSet) {
            HARRAY list = nodeList(node);
            if (!list) return;
            ExpNode **nodes = (ExpNode **)SvcArrayLock(list, 0);
            unsigned count = SvcArrayCount(list);
            for (unsigned i = 0; nodes && i < count; i++) eachNode(nodes[i], visit);
            SvcArrayUnlock(list);
            return;
        }
        if (!isPairKind(node->kind)) return;
        eachNode((ExpNode *)node->right, visit);
    }
}

// The first reference at or behind an offset.
const Reference *firstFrom(const Renaming *r, uint32_t at) {
    return std::lower_bound(r->refs, r->refs + r->count, at,
                            [](const Reference &ref, uint32_t o) { return ref.at < o; });
}

// Where an offset of the old text lies in the new one: moved by delta for
// each rewritten word that starts before it.
uint32_t shifted(const Renaming *r, uint32_t offset) {
    int64_t before = firstFrom(r, offset) - r->refs;
    return (uint32_t)((int64_t)offset + r->delta * before);
}

// Gives the references their new names and moves every offset of the tree.
// Every name copy is made beforehand, so this cannot fail.
void renameInTree(Renaming *r, ExpNode *root) {
    auto visit = [r](ExpNode *node) {
        const Reference *ref = firstFrom(r, node->start);
        if (isReference(r, node) && ref < r->refs + r->count && ref->at == node->start) {
            Reference *mine = r->refs + (ref - r->refs);
            SvcFree(node->left);
            node->left = mine->copy;
            mine->copy = 0;
        }
        uint32_t end = shifted(r, node->start + node->length);
        node->start = shifted(r, node->start);
        node->length = end - node->start;
        if (node->closing) node->closing = shifted(r, node->closing);
    };
    eachNode(root, visit);
}

// Blocks of one expression's rename; whatever is still held at the end is
// freed, so a failure leaves the expression untouched.
struct Scratch {
    char *token = 0;
    char *text = 0;
    Reference *refs = 0;
    unsigned count = 0;
    ~Scratch() {
        for (unsigned i = 0; refs && i < count; i++) SvcFree(refs[i].copy);
        SvcFree(refs);
        SvcFree(token);
        SvcFree(text);
    }
};

// Keeps, in order, the references whose offset the scan finds as a whole
// word equal to the old name; gives their number.
unsigned keepScannedReferences(Renaming *r, const char *text, char *token) {
    unsigned kept = 0, next = 0;
    for (size_t pos = 0; text[pos];) {
        Word w = nextWord(token, text, pos);
        pos += w.taken;
        if (!SvcStrEqual(token, r->oldName)) continue;
        while (next < r->count && r->refs[next].at < w.at) next++;
        if (next < r->count && r->refs[next].at == w.at) r->refs[kept++] = r->refs[next++];
    }
    return kept;
}

// Writes the new text: delimiters as they stand, the new name for each
// kept reference, every other run as it is.
void rewriteTokens(const Renaming *r, const char *text, char *token, char *out) {
    size_t length = SvcStrLen(r->newName), written = 0;
    unsigned next = 0;
    out[0] = 0;
    for (size_t pos = 0; text[pos];) {
        Word w = nextWord(token, text, pos);
        if (next < r->count && r->refs[next].at == w.at) {
            memcpy(out + written, text + pos, w.at - pos);
            written += w.at - pos;
            memcpy(out + written, r->newName, length);
            written += length;
            next++;
        } else {
            memcpy(out + written, text + pos, w.taken);
            written += w.taken;
        }
        out[written] = 0;
        pos += w.taken;
    }
}

char *copyName(const char *name) {
    size_t n = SvcStrLen(name) + 1;
    char *copy = (char *)SvcAlloc(n);
    if (copy) memcpy(copy, name, n);
    return copy;
}

// Writes name into a field of `size` bytes, cut at a whole character.
void putName(char *field, size_t size, const char *name) {
    size_t n = 0;
    while (name[n]) {
        size_t step = SvcIsLeadAt(name + n) && name[n + 1] ? 2 : 1;
        if (n + step >= size) break;
        n += step;
    }
    memcpy(field, name, n);
    field[n] = 0;
}

}  // namespace

int rewriteKeywordNames(char *destination, const char *text) {
    size_t written = 0;
    int prefixed = 0;
    destination[0] = 0;
    // The word is read into the destination where its bytes go anyway; the
    // room the caller gives covers it.
    for (size_t pos = 0; text && text[pos];) {
        char *word = destination + written;
        Word w = nextWord(word, text, pos);
        size_t length = strlen(word);
        char renamed[66];
        if (length < 16 && ZEMInputNameIsKeyword(renamed, word) == 1) {
            memcpy(destination + written, text + pos, w.at - pos);
            written += w.at - pos;
            size_t n = strlen(renamed);
            memcpy(destination + written, renamed, n);
            written += n;
            prefixed++;
        } else {
            memcpy(destination + written, text + pos, w.taken);
            written += w.taken;
        }
        destination[written] = 0;
        pos += w.taken;
    }
    return prefixed;
}

int renameInExpression(HEC, HEXP exp, int kind, const char *oldName, const char *newName) {
    // A record made by another route than the parse may lack a text.
    if (!exp || !exp->text || !exp->root || !oldName || !newName) return 1;
    Renaming r = {kind == ZEM_ITEM_FUNCTION ? NodeFunction : NodeInput, oldName, newName,
                  (int64_t)SvcStrLen(newName) - (int64_t)SvcStrLen(oldName), 0, 0};
    unsigned found = 0;
    auto count = [&](ExpNode *node) { found += isReference(&r, node); };
    eachNode(exp->root, count);
    if (!found) return 1;

    Scratch s;
    s.token = (char *)SvcAlloc(SvcStrLen(exp->text) + 1);
    s.refs = (Reference *)SvcAlloc(found * sizeof(Reference));
    if (!s.token || !s.refs) return 0;
    auto collect = [&](ExpNode *node) {
        if (isReference(&r, node)) s.refs[r.count++].at = node->start;
    };
    eachNode(exp->root, collect);
    r.refs = s.refs;
    std::sort(r.refs, r.refs + r.count, [](const Reference &a, const Reference &b) { return a.at < b.at; });
    r.count = keepScannedReferences(&r, exp->text, s.token);
    if (!r.count) return 1;

    s.count = r.count;
    size_t size = SvcSize(exp->text);
    if (r.delta > 0) size += (size_t)r.delta * r.count;
    s.text = (char *)SvcAlloc(size);
    if (!s.text) return 0;
    for (unsigned i = 0; i < r.count; i++)
        if (!(r.refs[i].copy = copyName(newName))) return 0;

    rewriteTokens(&r, exp->text, s.token, s.text);
    renameInTree(&r, exp->root);
    SvcFree(exp->text);
    exp->text = s.text;
    s.text = 0;
    return 1;
}

extern "C" {

ZEMAPI int ZEMCALL ZEMRenameExpressionItem(HEC ec, int kind, const char *oldName,
                                           const char *newName) {
    // An empty new name would take the word out of every text.
    if (!ec || !oldName || !newName || !*newName) return 0;
    int storeKind = kind == ZEM_ITEM_FUNCTION ? ZEM_ITEM_FUNCTION : ZEM_ITEM_INPUT;
    ExpItem *item = itemLookup(ec, storeKind, oldName);
    if (!item) return 0;
    char before[sizeof item->name], after[sizeof item->name];
    putName(before, sizeof before, item->name);
    putName(item->name, sizeof item->name, newName);
    nameIndexRenamed(ec, storeKind, item, before);
    // The texts get the name as the field holds it.
    putName(after, sizeof after, item->name);
    int32_t count = ZEMGetExpressionCount(ec);
    for (int32_t i = 0; i < count; i++)
        renameInExpression(ec, ZEMHEXPFromOrdinal(ec, i), kind, before, after);
    return 0;
}

}  // extern "C"
