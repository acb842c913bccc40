// Extended text: an expression rewritten so that it stands alone outside
// the library. References to named formulas are replaced by the formula's
// text in brackets; with expand set, calls of escaped functions get the
// " {fn " ... " } " marks and date literals take the context's pictures.
//
// Every change is a span of the expression's own text, taken from the tree:
// a call's name and closing bracket, a literal, a reference from its name
// through its ")". The spans of one expression are collected once, sorted,
// and the output is written left to right in one pass, each inlined formula
// rendered the same way where its reference stands. Nothing inserted is
// ever searched again, and a name inside a longer word or a string literal
// is no node, so it is never touched.
#include <string.h>

#include "context/ec.h"
#include "context/expressions.h"
#include "context/items.h"
#include "eval/convert.h"
#include "language/tree.h"

namespace {

const char kOpenMark[] = " {fn ";
const char kCloseMark[] = " } ";
enum { MARKS_LENGTH = sizeof kOpenMark - 1 + sizeof kCloseMark - 1 };  // 8
enum { LITERAL_ROOM = 128 };            // a rewritten literal with its terminator
enum { WRAP_DATES = 0x0002 };           // bit of dateConvertFlags
const int64_t kLengthCap = 0x7FFFFFFF;  // the estimate saturates here

enum EditKind { EditOpen, EditClose, EditDate, EditReference };

// One change to a span [from, to) of an expression's text; an insertion
// has from == to.
struct Edit {
    uint32_t from, to;
    int kind;
    const ExpNode *node;
};

// The output: the host's buffer, of which room bytes take text.
struct Sink {
    char *buffer;
    size_t used, room;
};

struct Render {
    EC *ec;
    int32_t expand;
    unsigned depthLeft;  // inlining levels still allowed
    int failed;          // memory ran out
    Sink sink;
};

int sinkFull(const Sink *s) { return s->used >= s->room; }

void put(Sink *s, const char *bytes, size_t count) {
    if (count > s->room - s->used) count = s->room - s->used;
    memcpy(s->buffer + s->used, bytes, count);
    s->used += count;
}

void putText(Sink *s, const char *text) { put(s, text, strlen(text)); }

// The stored expression of that exact name, the first one.
HEXP findFormula(const EC *ec, const char *name) { return ZEMHEXPFromName((HEC)ec, name); }

int isEscapedCall(const EC *ec, const ExpNode *node) {
    ExpItem *item = itemLookup(ec, ZEM_ITEM_FUNCTION, (const char *)node->left);
    if (!item) return 0;
    uint16_t flags = item->flags;  // the record is packed
    return (flags & ZEM_FN_ESCAPED) != 0;
}

// Where " } " goes: behind the call's ")", or behind the token of a call
// written without brackets.
uint32_t closeMarkOffset(const ExpNode *call) {
    return call->closing ? call->closing + 1 : call->start + call->length;
}

// The end of a reference's span: through its ")".
uint32_t referenceEnd(const ExpNode *ref) {
    return ref->closing ? ref->closing + 1 : ref->start + ref->length;
}

template <typename F>
void forEachInList(HARRAY list, F visit) {
    unsigned count = list ? SvcArrayCount(list) : 0;
    for (unsigned i = 0; i < count; i++) {
        ExpNode *member = *(ExpNode **)SvcArrayLock(list, i);
        SvcArrayUnlock(list);
        visit(member);
    }
}

// Walks the tree in source order and adds its edits to list (which may be
// 0 to count them only); marks is 0 when only references count. Gives the
// new count.
unsigned collectEdits(const EC *ec, const ExpNode *node, int marks, Edit *list, unsigned n) {
    if (!node) return n;
    auto add = [&](uint32_t from, uint32_t to, int kind) {
        if (list) list[n] = Edit{from, to, kind, node};
        n++;
    };
    switch (node->kind) {
    case NodeFunction: {
        int escaped = marks && isEscapedCall(ec, node);
        if (escaped) add(node->start, node->start, EditOpen);
        forEachInList(nodeList(node), [&](ExpNode *arg) { n = collectEdits(ec, arg, marks, list, n); });
        if (escaped) add(closeMarkOffset(node), closeMarkOffset(node), EditClose);
        return n;
    }
    case NodeSet:
        forEachInList(nodeList(node), [&](ExpNode *m) { n = collectEdits(ec, m, marks, list, n); });
        return n;
    case NodeExpression:
        add(node->start, referenceEnd(node), EditReference);
        return n;
    case NodeDate:
        if (marks) add(node->start, node->start + (uint32_t)strlen((const char *)node->left), EditDate);
        return n;
    default:
        if (!isPairKind(node->kind)) return n;
        auto collect = [&](const ExpNode *part) {
            n = collectEdits(ec, part, marks, list, n);
            return false;
        };
        walkLeftEdge(node, collect, [&](const ExpNode *pair) { return collect((const ExpNode *)pair->right); });
        return n;
    }
}

// By offset, an insertion before a span that starts at the same place; a
// stable insertion sort, since the walk gives them almost in order.
void sortEdits(Edit *list, unsigned count) {
    for (unsigned i = 1; i < count; i++) {
        Edit e = list[i];
        unsigned j = i;
        while (j > 0 && (list[j - 1].from > e.from || (list[j - 1].from == e.from && list[j - 1].to > e.to))) {
            list[j] = list[j - 1];
            j--;
        }
        list[j] = e;
    }
}

// The wrapping format of a literal kind, or 0.
const char *wrapFormat(const EC *ec, int kind) {
    if (!(ec->dateConvertFlags & WRAP_DATES)) return 0;
    switch (kind) {
    case LITERAL_DATE: return ec->dateConvert[0];
    case LITERAL_DATE_TIME: return ec->dateConvert[1];
    case LITERAL_TIME: return ec->dateConvert[2];
    default: return 0;
    }
}

// The literal in the context's picture, wrapped by its format: 1, or 0 when
// the rewrite is empty and the literal stays as typed. The first "%s" of a
// format takes the text; all else of the format is written as it stands.
int putDate(Render *r, const char *literal) {
    char output[LITERAL_ROOM];
    EC *ec = r->ec;
    int kind = DateLiteralRewrite(literal, output, ec->datePicture[0], ec->datePicture[1],
                                  ec->datePicture[2]);
    if (!output[0]) return 0;
    const char *format = wrapFormat(ec, kind);
    if (!format) {
        putText(&r->sink, output);
        return 1;
    }
    const char *hole = strstr(format, "%s");
    if (!hole) {
        putText(&r->sink, format);
        return 1;
    }
    put(&r->sink, format, (size_t)(hole - format));
    putText(&r->sink, output);
    putText(&r->sink, hole + 2);
    return 1;
}

void renderExpression(Render *r, const ExpRecord *exp, int marks);

// The named formula in brackets: 1, or 0 when it is gone (or the chain is
// too deep) and the reference stays as typed.
int putReference(Render *r, const ExpNode *ref) {
    HEXP target = findFormula(r->ec, (const char *)ref->left);
    if (!target || r->depthLeft == 0) return 0;
    put(&r->sink, "(", 1);
    r->depthLeft--;
    renderExpression(r, target, r->expand && r->ec->dateTextWidth);
    r->depthLeft++;
    put(&r->sink, ")", 1);
    return 1;
}

// Whether an edit's span still holds what its node says; a node whose
// offsets do not fit its text is left alone.
int editFits(const Edit *e, const char *text, size_t length) {
    if (e->to > length || e->to < e->from) return 0;
    const char *word = (const char *)e->node->left;
    switch (e->kind) {
    case EditDate: return memcmp(text + e->from, word, e->to - e->from) == 0;
    case EditReference:
        return strncmp(text + e->from, word, strlen(word)) == 0 &&
               (!e->node->closing || text[e->node->closing] == ')');
    default: return 1;
    }
}

// Writes the edit: 1 when it replaced its span, 0 when the span stays.
int applyEdit(Render *r, const Edit *e) {
    switch (e->kind) {
    case EditOpen: putText(&r->sink, kOpenMark); return 1;
    case EditClose: putText(&r->sink, kCloseMark); return 1;
    case EditDate: return putDate(r, (const char *)e->node->left);
    default: return putReference(r, e->node);
    }
}

void renderExpression(Render *r, const ExpRecord *exp, int marks) {
    const char *text = exp->text ? exp->text : "";
    size_t length = strlen(text);
    unsigned count = collectEdits(r->ec, exp->root, marks, 0, 0);
    Edit *edits = 0;
    if (count) {
        edits = (Edit *)SvcAlloc(count * sizeof(Edit));
        if (!edits) {
            r->failed = 1;
            return;
        }
        collectEdits(r->ec, exp->root, marks, edits, 0);
        sortEdits(edits, count);
    }
    size_t at = 0;  // the first byte of text not yet written
    for (unsigned i = 0; i < count && !r->failed && !sinkFull(&r->sink); i++) {
        const Edit *e = &edits[i];
        if (e->from < at || !editFits(e, text, length)) continue;
        put(&r->sink, text + at, e->from - at);
        at = applyEdit(r, e) ? e->to : e->from;
    }
    put(&r->sink, text + at, length - at);
    SvcFree(edits);
}

// ---- The length estimate.

int64_t capped(int64_t n) { return n > kLengthCap ? kLengthCap : n; }

int64_t extraLength(const EC *ec, const ExpNode *node, int32_t expand, unsigned depthLeft);

int64_t extraOfList(const EC *ec, HARRAY list, int32_t expand, unsigned depthLeft) {
    int64_t sum = 0;
    forEachInList(list, [&](ExpNode *m) {
        if (sum < kLengthCap) sum = capped(sum + extraLength(ec, m, expand, depthLeft));
    });
    return sum;
}

int64_t extraLength(const EC *ec, const ExpNode *node, int32_t expand, unsigned depthLeft) {
    if (!node) return 0;
    switch (node->kind) {
    case NodeFunction:
        // The marks count whatever expand says: a bound may be too high.
        return capped((isEscapedCall(ec, node) ? MARKS_LENGTH : 0) +
                      extraOfList(ec, nodeList(node), expand, depthLeft));
    case NodeSet: return extraOfList(ec, nodeList(node), expand, depthLeft);
    case NodeExpression: {
        // The brackets cancel: "name(...)" becomes "(text)".
        HEXP target = findFormula(ec, (const char *)node->left);
        if (!target || depthLeft == 0) return 0;
        int64_t own = (int64_t)SvcStrLen(target->text) - (int64_t)strlen((const char *)node->left);
        return capped(own + extraLength(ec, target->root, expand, depthLeft - 1));
    }
    case NodeDate: {
        if (!expand) return 0;
        int64_t grow = (int64_t)ec->dateTextWidth - (int64_t)strlen((const char *)node->left);
        return grow >= 1 ? grow : 0;
    }
    default: {
        if (!isPairKind(node->kind)) return 0;
        // Left to right, each sum capped, and no further once at the cap.
        int64_t sum = 0;
        auto first = [&](const ExpNode *below) {
            sum = extraLength(ec, below, expand, depthLeft);
            return false;
        };
        auto add = [&](const ExpNode *pair) {
            if (sum >= kLengthCap) return true;
            sum = capped(sum + extraLength(ec, (const ExpNode *)pair->right, expand, depthLeft));
            return false;
        };
        walkLeftEdge(node, first, add);
        return sum;
    }
    }
}

// Inlining goes no deeper than the number of stored expressions: a longer
// chain would have to pass one of them twice.
unsigned inliningDepth(HEC ec) { return (unsigned)ZEMGetExpressionCount(ec); }

}  // namespace

extern "C" {

ZEMAPI int32_t ZEMCALL ZEMGetExtendedTextLength(HEC ec, HEXP exp, int32_t expand) {
    if (!exp) return 0;
    if (!ec) ec = exp->context;
    if (!ec) return 0;
    // A lone literal comes to the width of the pictures by the same rule; it
    // comes to more only with blanks around it or when it is longer than
    // the width, and then the text can be that long.
    return (int32_t)capped((int64_t)SvcStrLen(exp->text) +
                           extraLength(ec, exp->root, expand, inliningDepth(ec)));
}

ZEMAPI int32_t ZEMCALL ZEMGetExtendedText(HEC ec, HEXP exp, int32_t bufferSize, char *buffer,
                                          int32_t expand) {
    if (!buffer || bufferSize < 1) return -1;
    buffer[0] = 0;
    if (!exp) return -1;
    if (!ec) ec = exp->context;
    if (!ec) return -1;
    Render r = {};
    r.ec = ec;
    r.expand = expand;
    r.depthLeft = inliningDepth(ec);
    r.sink = Sink{buffer, 0, (size_t)bufferSize - 1};
    renderExpression(&r, exp, expand != 0);
    if (r.failed) {
        buffer[0] = 0;
        return 0;
    }
    buffer[r.sink.used] = 0;
    return (int32_t)r.sink.used - 1;
}

}  // extern "C"
