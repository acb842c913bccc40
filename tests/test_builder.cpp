// The formula builder's logic over in-memory windows that record questions, reports, drawing and posts.
#include <gtest/gtest.h>
#include <string.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "builder/internal.h"
#include "context/ec.h"
#include "context/expressions.h"
#include "context/threadblock.h"
#include "support.h"

bool operator==(const UiRect &a, const UiRect &b) { return memcmp(&a, &b, sizeof(UiRect)) == 0; }

namespace {

typedef std::vector<std::string> Strings;

struct Win {
    UiDialog kind = UiBuilder;
    bool dialog = false, modified = false, enabled = true, shown = true, checked = false;
    bool sorted = false, ended = false, destroyed = false;
    int id = 0, selected = -1, handler = -1;  // handler: the UiHandler, -1 none
    int32_t selStart = 0, selEnd = 0;
    intptr_t result = 0;
    Win *parent = nullptr;
    std::string text;
    UiRect rect = {0, 0, 0, 0};
    std::vector<std::pair<std::string, intptr_t>> rows;
    std::vector<std::unique_ptr<Win>> children;
};
Win *W(HWND h) { return (Win *)h; }
struct Question { std::string text, title; unsigned style; };
struct Report { UiDialog kind; std::string text; uint32_t code, length; };  // length: the selected span
struct Posted { HWND window; unsigned message; uintptr_t wParam; intptr_t lParam; };
intptr_t dispatch(Win *w, unsigned m, uintptr_t wp, intptr_t lp);
HWND item(HWND dialog, int id) {
    if (dialog)
        for (auto &c : W(dialog)->children)
            if (c->id == id) return (HWND)c.get();
    return 0;
}

void ZEMCALL noValues(HEC, const char *, HZEMWND, int32_t, int32_t *) {}
int ZEMCALL allow(HEC, HEXP, HZEMWND) { return 1; }
int ZEMCALL refuse(HEC, HEXP, HZEMWND) { return 0; }
extern const BuilderUi kFakeUi;
struct Session;
Session *gF;

// Without onBuilder a builder is cancelled at once; an error dialog is confirmed at once.
struct Session {
    HEC ec;
    std::function<void(HWND)> onBuilder;
    std::deque<int> answers;  // for the questions, in order
    std::vector<Question> questions;
    std::vector<Report> reports;
    Strings drawn;
    std::string clipboard;
    std::deque<Posted> posted;
    std::vector<std::pair<HWND, unsigned>> timers;  // window, milliseconds
    HWND focused = nullptr;
    int beeps = 0, wrongFormer = 0, bitmapsLoaded = 0, bitmapsFreed = 0;
    Win *builder = nullptr;
    std::vector<std::unique_ptr<Win>> top;
    explicit Session(bool values = true, uint16_t flags = ECFlagRangesAndSets) {
        gF = this, UiReplace(&kFakeUi);
        ec = ZEMCreateEC(nullptr, nullptr, nullptr, flags);
        for (const char *name : {"Price", "Qty", "Rate"}) AddItem(ec, ZEM_ITEM_INPUT, name, ZEM_TYPE_NUMBER);
        AddItem(ec, ZEM_ITEM_INPUT, "Name", ZEM_TYPE_STRING);
        AddItem(ec, ZEM_ITEM_FUNCTION, "Half", ZEM_TYPE_NUMBER, {.callback = Proc(allow), .params = Params({ZEM_TYPE_NUMBER})});
        if (values) ZEMSetListValuesCallback(ec, noValues);
        ZEMSetDelPermissionCallback(ec, allow);
    }
    ~Session() {
        ZEMDestroyEC(ec);
        EXPECT_EQ(0, wrongFormer) << "a message went to another control's former handler";
        UiReplace(0), gF = nullptr;
    }
    HWND item(int id) const { return ::item((HWND)builder, id); }
    Win *at(int id) const { return W(item(id)); }
    Win *side(UiDialog kind) const {
        for (auto &w : top)
            if (w->kind == kind && !w->destroyed) return w.get();
        return nullptr;
    }
    void command(int id, unsigned code, bool pumped = true) {
        dispatch(builder, UI_WM_COMMAND, (uintptr_t)id | code << 16, (intptr_t)item(id));
        if (pumped) pump();
    }
    void press(int id) { command(id, 0); }
    void select(int list, int row) {  // by the mouse
        dispatch(at(list), UI_WM_LBUTTONDOWN, 1, (intptr_t)row);
        dispatch(at(list), UI_WM_LBUTTONUP, 0, 0);
        command(list, UI_LBN_SELCHANGE);
    }
    void pick(int list, int row) { select(list, row), command(list, UI_LBN_DBLCLK); }
    void type(int id, const std::string &text) {  // replaces the field's text
        Win *f = at(id);
        f->text = text, f->modified = true, f->selStart = f->selEnd = (int32_t)text.size();
        command(id, UI_EN_CHANGE, false);
    }
    void selectText(int32_t start, int32_t end) { at(ID_TEXT)->selStart = start, at(ID_TEXT)->selEnd = end; }
    void pump() {
        while (!posted.empty()) {
            Posted p = posted.front();
            posted.pop_front();
            if (!W(p.window)->destroyed) dispatch(W(p.window), p.message, p.wParam, p.lParam);
        }
    }
    std::string text(int id) const { return at(id)->text; }
    std::string selection() const {
        Win *f = at(ID_TEXT);
        return f->text.substr((size_t)f->selStart, (size_t)(f->selEnd - f->selStart));
    }
    Strings rows(int id) const {
        Strings out;
        for (auto &r : at(id)->rows) out.push_back(r.first);
        return out;
    }
    HEXP run(std::function<void()> script, int32_t type = 0, HEXP open = nullptr, const char *start = "") {
        onBuilder = [script](HWND) { script(); };
        return ZEMBuildExpressionOfType(nullptr, ec, open, 0, type, start);
    }
    int rowOf(int list, const std::string &text) {
        Strings r = rows(list);
        auto found = std::find(r.begin(), r.end(), text);
        return found == r.end() ? -1 : (int)(found - r.begin());
    }
    void pick(int list, const char *text) { pick(list, rowOf(list, text)); }
    void select(int list, const char *text) { select(list, rowOf(list, text)); }
    intptr_t send(HWND w, unsigned m, uintptr_t wp = 0, intptr_t lp = 0) {
        intptr_t result = Ui()->send(w, m, wp, lp);
        return pump(), result;
    }
};

const struct { int id; UiRect rect; } kRects[] = {
    {1, {18, 450, 102, 478}}, {100, {0, 0, 602, 90}}, {106, {18, 114, 180, 284}},
    {107, {416, 114, 574, 284}}, {112, {470, 340, 500, 364}}, {113, {464, 272, 566, 358}},
    {114, {212, 114, 390, 280}}, {134, {210, 90, 272, 138}}, {135, {272, 90, 334, 138}},
    {136, {334, 90, 396, 138}}, {137, {212, 92, 300, 108}},
};

Win *makeWindow(UiDialog kind, Win *owner) {
    auto w = std::make_unique<Win>();
    w->kind = kind, w->dialog = true, w->parent = owner;
    w->rect = kind == UiValues ? UiRect{0, 0, 200, 140} : UiRect{0, 0, 600, 560};
    if (kind == UiValues) w->text = "title";
    std::vector<int> ids;
    if (kind == UiBuilder) {
        ids = {1, 2};
        for (int id = 100; id <= 139; id++) ids.push_back(id);
    } else if (kind == UiError || kind == UiLoadError) {
        ids = {200, 201, 202};
    } else {
        ids = {ID_SIDE_CONTROL};
    }
    for (int id : ids) {
        auto c = std::make_unique<Win>();
        c->id = id, c->parent = w.get(), c->sorted = id == 106 || id == 107 || kind == UiValues;
        for (auto &r : kRects)
            if (kind == UiBuilder && r.id == id) c->rect = r.rect;
        w->children.push_back(std::move(c));
    }
    gF->top.push_back(std::move(w));
    return gF->top.back().get();
}

intptr_t byItself(Win *w, unsigned m, uintptr_t wp, intptr_t lp) {
    if (m == UI_LB_SETCURSEL) w->selected = (int)(intptr_t)wp;
    else if (m == UI_WM_LBUTTONDOWN) w->selected = (int)lp;  // the row under the mouse
    else if (m == UI_WM_CHAR && w->rows.empty()) {
        w->text.replace((size_t)w->selStart, (size_t)(w->selEnd - w->selStart), 1, (char)wp);
        w->selStart = w->selEnd = w->selStart + 1;
    }
    return 0;
}

typedef intptr_t (*Event)(HWND, unsigned, uintptr_t, intptr_t);
// By UiDialog and by UiHandler.
const Event kDialogEvents[] = {BuilderEvent, ErrorDialogEvent, ErrorDialogEvent, TextViewEvent,
                               ValuesViewEvent};
const Event kHandlers[] = {EditFieldEvent, StatusPaneEvent, FormsListEvent, ItemListEvent,
                           ItemListEvent, ErrorEditEvent, ViewEditEvent};

intptr_t dispatch(Win *w, unsigned m, uintptr_t wp, intptr_t lp) {
    if (w->dialog) return kDialogEvents[w->kind]((HWND)w, m, wp, lp);
    return w->handler < 0 ? byItself(w, m, wp, lp) : kHandlers[w->handler]((HWND)w, m, wp, lp);
}

HWND parent(HWND w) { return w ? (HWND)W(w)->parent : 0; }
bool valid(HWND w, int row) { return row >= 0 && row < (int)W(w)->rows.size(); }
int rowLength(HWND w, int row) { return valid(w, row) ? (int)W(w)->rows[(size_t)row].first.size() : -1; }
void screenRect(HWND w, UiRect *r) { *r = W(w)->rect; }
void destroyTree(Win *w) {
    for (auto &t : gF->top)
        if (t->parent == w && !t->destroyed) destroyTree(t.get());
    w->destroyed = true;
    dispatch(w, UI_WM_DESTROY, 0, 0);
}

intptr_t runDialog(HWND owner, UiDialog which, void *param) {
    Win *w = makeWindow(which, W(owner));
    if (which == UiBuilder) gF->builder = w;
    dispatch(w, UI_WM_SETFONT, 1, 0);
    dispatch(w, UI_WM_INITDIALOG, 0, (intptr_t)param);
    dispatch(w, UI_WM_PAINT, 0, 0);
    gF->pump();
    if (which == UiBuilder) {
        if (!w->ended && gF->onBuilder) gF->onBuilder((HWND)w);
        if (!w->ended) w->result = UI_IDCANCEL;
    } else {
        Win *t = W(item((HWND)w, ID_ERROR_TEXT));
        gF->reports.push_back({which, t->text, threadBlock()->dialogError.code,
                               (uint32_t)(t->selEnd - t->selStart)});
        dispatch(w, UI_WM_COMMAND, ID_ERROR_OK, 0);
    }
    destroyTree(w);
    if (which == UiBuilder) gF->builder = nullptr;
    return w->result;
}

const char *const kBitmaps[] = {"formulal", "rangel", "setl"};  // a bitmap is its name's address
void draw(const std::string &what, const UiRect *r) { gF->drawn.push_back(what + std::to_string(r->left)); }
const BuilderUi kFakeUi = {
    item, parent, [](HWND w) { return w ? W(w)->id : 0; }, [](HWND w) { return w ? (int)W(w)->text.size() : 0; },
    [](HWND w, char *buffer, int size) {
        int n = (int)std::min(W(w)->text.size(), (size_t)size - 1);
        memcpy(buffer, W(w)->text.data(), (size_t)n);
        return buffer[n] = 0, n;
    },
    [](HWND w, const char *text) { if (w) W(w)->text = text, W(w)->selStart = W(w)->selEnd = 0; },
    [](HWND w, int32_t *s, int32_t *e) { *s = W(w)->selStart, *e = W(w)->selEnd; },
    [](HWND w, int32_t s, int32_t e) {
        int32_t n = (int32_t)W(w)->text.size();
        W(w)->selStart = std::min(s, n), W(w)->selEnd = std::min(e, n);
    },
    [](HWND w) { return (int)W(w)->modified; }, [](HWND w, int on) { W(w)->modified = on; },
    [](HWND, int) {},
    [](HWND w, unsigned op) {
        Win *f = W(w);
        size_t s = (size_t)f->selStart, n = (size_t)(f->selEnd - f->selStart);
        if (op == UI_WM_COPY || op == UI_WM_CUT) gF->clipboard = f->text.substr(s, n);
        if (op == UI_WM_CUT || op == UI_WM_CLEAR) f->text.erase(s, n), f->selEnd = f->selStart;
        if (op == UI_WM_PASTE) f->text.replace(s, n, gF->clipboard), f->selStart = f->selEnd = (int32_t)(s + gF->clipboard.size());
    },
    [] { return (int)!gF->clipboard.empty(); },
    [](HWND w, const char *text) {
        auto &rows = W(w)->rows;
        size_t at = W(w)->sorted ? 0 : rows.size();
        while (at < rows.size() && lstrcmpiA(rows[at].first.c_str(), text) <= 0) at++;
        rows.insert(rows.begin() + (long)at, {text, 0});
        return (int)at;
    },
    [](HWND w, int row, const char *text) {  // -1 the end, below that an error
        auto &rows = W(w)->rows;
        if (row < -1 || row > (int)rows.size()) return -1;
        rows.insert(rows.begin() + (row < 0 ? (long)rows.size() : row), {text, 0});
        return row < 0 ? (int)rows.size() - 1 : row;
    },
    [](HWND w, int row) {
        W(w)->rows.erase(W(w)->rows.begin() + row);
        if (W(w)->selected >= (int)W(w)->rows.size()) W(w)->selected = -1;
    },
    [](HWND w) { return (int)W(w)->rows.size(); }, rowLength,
    [](HWND w, int row, char *buffer) {
        if (valid(w, row)) strcpy(buffer, W(w)->rows[(size_t)row].first.c_str());
        return rowLength(w, row);
    },
    [](HWND w, int row) { return valid(w, row) ? W(w)->rows[(size_t)row].second : -1; },
    [](HWND w, int row, intptr_t data) { if (valid(w, row)) W(w)->rows[(size_t)row].second = data; },
    [](HWND w) { return w ? W(w)->selected : -1; },
    [](HWND w, int row) { dispatch(W(w), UI_LB_SETCURSEL, (uintptr_t)(intptr_t)row, 0); }, [](HWND, int) {},
    [](HWND w, int after, const char *prefix) {
        int n = (int)W(w)->rows.size();
        for (int i = 1, row = (after + 1) % n; i <= n; i++, row = (after + i) % n)
            if (strncasecmp(W(w)->rows[(size_t)row].first.c_str(), prefix, strlen(prefix)) == 0) return row;
        return -1;
    },
    [](HWND w, int on) { if (w) W(w)->enabled = on; }, [](HWND w, int on) { if (w) W(w)->shown = on; },
    [](HWND w) { gF->focused = w; },
    [](HWND d, int first, int last, int id) { for (int i = first; i <= last; i++) W(item(d, i))->checked = i == id; },
    [](HWND w) { return (int)W(w)->shown; }, [](HWND w) { return (int)W(w)->enabled; }, parent,
    screenRect, screenRect, [](HWND w, const UiRect *r) { W(w)->rect = *r; },
    [](HWND w, int32_t x, int32_t y) {
        UiRect &r = W(w)->rect;
        r = {x, y, x + r.right - r.left, y + r.bottom - r.top};
    },
    [] { return (int32_t)1024; }, [] { return (int32_t)768; }, runDialog,
    [](HWND w, intptr_t result) { W(w)->ended = true, W(w)->result = result; },
    [](HWND owner, UiDialog which) {
        Win *w = makeWindow(which, W(owner));
        return dispatch(w, UI_WM_INITDIALOG, 0, 0), (HWND)w;
    },
    [](HWND w) { if (!W(w)->destroyed) destroyTree(W(w)); },
    [](HWND, const char *text, const char *title, unsigned style) {
        gF->questions.push_back({text, title, style});
        EXPECT_FALSE(gF->answers.empty()) << "unexpected question: " << text;
        int answer = gF->answers.empty() ? UI_IDCANCEL : gF->answers.front();
        if (!gF->answers.empty()) gF->answers.pop_front();
        return answer;
    },
    [] { gF->beeps++; }, [](HWND w, unsigned, unsigned ms) { gF->timers.push_back({w, ms}); },
    [](HWND w, unsigned) { std::erase_if(gF->timers, [&](auto &t) { return t.first == w; }); },
    [](HWND w, unsigned m, uintptr_t wp, intptr_t lp) { gF->posted.push_back({w, m, wp, lp}); },
    [](HWND w, unsigned m, uintptr_t wp, intptr_t lp) { return dispatch(W(w), m, wp, lp); },
    [](HWND w, UiHandler handler) {  // the former handler is a token
        if (w) W(w)->handler = handler;
        return w ? (WNDPROC)(intptr_t)(handler + 1) : (WNDPROC)0;
    },
    [](WNDPROC former, HWND w, unsigned m, uintptr_t wp, intptr_t lp) {
        if (W(w)->handler >= 0 && former != (WNDPROC)(intptr_t)(W(w)->handler + 1)) gF->wrongFormer++;
        return byItself(W(w), m, wp, lp);
    },
    [](const char *name) {
        gF->bitmapsLoaded++;
        for (const char *const &b : kBitmaps)
            if (strcmp(b, name) == 0) return (HBITMAP)&b;
        return (HBITMAP)0;
    },
    [](HBITMAP b, int32_t *w, int32_t *h) { *w = b ? 16 : 0, *h = b ? 12 : 0; }, [](HBITMAP) { gF->bitmapsFreed++; },
    [](HWND, uintptr_t, TEXTMETRICA *m) { *m = {}, m->tmHeight = 12, m->tmExternalLeading = 1, m->tmAveCharWidth = 6; },
    [](void *, HBITMAP b, int32_t x, int32_t y, int32_t, int32_t) {
        gF->drawn.push_back(std::string("bitmap ") + *(const char *const *)b + " " + std::to_string(x) + "," + std::to_string(y));
    },
    [](void *, const char *text, const UiRect *r, unsigned flags) { draw(std::string("text ") + text + " " + std::to_string(flags) + " ", r); },
    [](void *, const UiRect *r) { draw("invert ", r); }, [](void *, const UiRect *r) { draw("focus ", r); },
};
std::string Str(unsigned id) {  // a string of the table, in the active code page
    char text[512];
    return loadString(id, text, sizeof(text)), text;
}
std::string kindAndText(HEXP exp) { return exp ? std::to_string(kindOf(exp)) + " " + exp->text : "(none)"; }

TEST(Builder, PicksButtonsClipboardAndModes) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    const ExpParam n = {0, ZEM_TYPE_NUMBER, 0}, d = {0, ZEM_TYPE_DATETIME, 0}, s = {0, ZEM_TYPE_STRING, 0};
    struct Case { const char *name; std::vector<ExpParam> params; int count, required, optional, flags; const char *text, *selected; } cases[] = {
        {"Now", {}, 0, 0, 0, 0, "Now()", ""},
        {"Pi", {}, -1, 0, 0, 0, "Pi", ""},
        {"DaysAfter", {d, n}, 2, 0, 0, 0, "DaysAfter( DateTime , Number )", "DateTime"},
        {"Opt", {n}, 1, 1, 2, 0, "Opt( Number [, Number [, Number ]])", "Number"},
        {"Open", {n, s}, 2, 1, 0, 0, "Open( Number , String [,Any...] )", "Number"},
        {"AllOpt", {s, n}, 2, 0, 2, 0, "AllOpt([ String , Number ] )", "String"},
        {"Uniq", {n}, 1, 0, 0, ZEM_FN_DISTINCT, "Uniq(DISTINCT  Number )", "Number"},
    };
    for (const Case &c : cases) {
        AddItem(b.ec, ZEM_ITEM_FUNCTION, c.name, ZEM_TYPE_NUMBER, {.required = c.required, .optional = c.optional,
                .flags = c.flags, .callback = Proc(allow), .params = c.params, .paramCount = c.count});
        b.run([&] {
            b.pick(ID_FUNCTIONS, c.name);
            EXPECT_EQ(std::string(c.text) + "|" + c.selected, b.text(ID_TEXT) + "|" + b.selection());
        });
    }
    EXPECT_EQ(std::to_string(KindFormula) + " Price * Qty + 1.5 - 2 / 4", kindAndText(b.run([&] {
        EXPECT_FALSE(b.at(ID_OK)->enabled) << "no text yet";
        b.pick(ID_ITEMS, "Price"), b.press(ID_TIMES), b.pick(ID_ITEMS, "Qty");
        for (int id : {(int)ID_PLUS, ID_DIGIT0 + 1, (int)ID_POINT, ID_DIGIT0 + 5, (int)ID_MINUS,
                       ID_DIGIT0 + 2, (int)ID_DIVIDE, ID_DIGIT0 + 4, (int)ID_OK})
            b.press(id);
    })));
    b.run([&] {
        for (int row : {0, 1}) b.select(ID_EXPRESSIONS, row), b.send(b.item(ID_EXPRESSIONS), UI_WM_CHAR, ' ');
        EXPECT_EQ("Double()", b.text(ID_TEXT)) << "row 0 inserts nothing";
        Win stranger;
        for (HWND from : {b.item(ID_NAME), (HWND)&stranger, (HWND)0}) {
            b.send(b.item(ID_STATUS), UI_WM_SETFOCUS, (uintptr_t)from);
            EXPECT_EQ(from == b.item(ID_NAME) ? from : b.item(ID_TEXT), b.focused) << "a sibling or the text";
        }
        b.type(ID_TEXT, "Price + Qty");
        EXPECT_FALSE(b.at(ID_PASTE)->enabled) << "an empty clipboard";
        b.selectText(0, 5);
        b.send(b.item(ID_TEXT), UI_WM_LBUTTONUP);  // the mouse let go in the field
        for (int id : {ID_COPY, ID_CUT, ID_CLEAR, ID_PARENS}) EXPECT_TRUE(b.at(id)->enabled) << id;
        b.press(ID_COPY);
        EXPECT_TRUE(b.at(ID_PASTE)->enabled);
        b.press(ID_PARENS);
        EXPECT_EQ("(Price) + Qty", b.text(ID_TEXT));
        for (int id : {ID_COPY, ID_CUT, ID_CLEAR, ID_PARENS}) EXPECT_FALSE(b.at(id)->enabled) << id;
        b.selectText(10, 13), b.press(ID_CUT), b.press(ID_PASTE), b.selectText(0, 1), b.press(ID_CLEAR);
        EXPECT_EQ("Price) + Qty", b.text(ID_TEXT));
    });
    HEXP range = b.run([&] {
        EXPECT_FALSE(b.at(ID_TEXT)->modified) << "an untouched template asks nothing";
        b.pick(ID_ITEMS, "Price");
        EXPECT_EQ("Expression", b.selection()) << "the second word";
        b.pick(ID_ITEMS, "Qty"), b.type(ID_NAME, "Span"), b.press(ID_OK);  // generated names are Japanese
    }, 2);
    EXPECT_EQ(std::to_string(KindRange) + " Price AND Qty", kindAndText(range));
    HEXP set = b.run([&] {
        for (const char *name : {"Price", "Qty", "Rate"}) b.pick(ID_ITEMS, name);
        EXPECT_EQ("Price, Qty ,Rate [,Expression...]|[,Expression...]", b.text(ID_TEXT) + "|" + b.selection())
            << "the tail stays open";
        b.type(ID_NAME, "Group"), b.press(ID_OK);
    }, 1);
    EXPECT_EQ(std::to_string(KindSet) + " Price, Qty ,Rate ", kindAndText(set)) << "the tail is cut at the save";
    b.run([&] {
        b.at(ID_TEXT)->modified = true;
        b.press(ID_OK);
        EXPECT_TRUE(b.text(ID_TEXT) == "Expression, Expression " && b.reports.size() == 1) << "cut, then refused";
        b.answers = {UI_IDYES}, b.press(ID_MODE_RANGE);
        EXPECT_TRUE(b.at(ID_MODE_SET)->checked) << "a save that fails stops the change";
    }, 1);
    HEXP used = ParseOk(b.ec, "Qty + 1", "Span2");
    ParseOk(b.ec, "Span2() + 1", "Uses");
    b.run([&] {
        EXPECT_FALSE(b.at(ID_NAME)->enabled) << "named by another";
        EXPECT_EQ(Str(207) + " - Span2", b.builder->text);
        struct Step { const char *row; unsigned open, show; } steps[] = {
            {"Span", 236, 239}, {"Group", 237, 240}, {"[ New Formula ]", 235, 238}};
        for (const Step &s : steps) {
            b.select(ID_EXPRESSIONS, s.row);
            EXPECT_EQ(Str(s.open) + "|" + Str(s.show), b.text(ID_OPEN) + "|" + b.text(ID_SHOW_TEXT)) << s.row;
        }
        b.select(ID_EXPRESSIONS, "Span"), b.press(ID_OPEN);
        EXPECT_TRUE(b.at(ID_MODE_RANGE)->checked && b.text(ID_TEXT) == "Price AND Qty");
        EXPECT_TRUE(b.rows(ID_EXPRESSIONS)[0] == "[ New Range ]" && b.at(ID_EXPRESSIONS)->rows[0].second == -1);
        b.press(ID_MODE_SET);
        EXPECT_EQ("Expression, Expression [,Expression...]|" + Str(213) + " - [ New Set ]", b.text(ID_TEXT) + "|" + b.builder->text);
        b.select(ID_EXPRESSIONS, 0), b.press(ID_OPEN);
        EXPECT_EQ(nullptr, threadBlock()->editedExpression) << "row 0 is the new entry";
        EXPECT_TRUE(b.text(ID_TEXT).starts_with("Expression,") && b.at(ID_NAME)->enabled) << "the mode's template";
    }, 0, used);
}

TEST(Builder, QuestionsNameErrorsAndDelete) {
    for (int answer : {(int)UI_IDYES, (int)UI_IDNO, 0}) {
        Session b(answer != 0);
        if (answer) b.answers = {answer};
        HEXP saved = b.run([&] {
            b.type(ID_TEXT, "Price AND Qty"), b.press(ID_OK);
            if (answer == UI_IDNO) b.press(ID_CANCEL);  // asks nothing, saves nothing
        });
        EXPECT_EQ(answer ? 1u : 0u, b.questions.size()) << "no kind check without a values callback";
        for (const Question &q : b.questions)
            EXPECT_EQ("Text evaluates as a Range instead of a Formula, save anyway?" + std::to_string(UI_MB_YESNO | UI_MB_ICONHAND),
                      q.text + std::to_string(q.style));
        EXPECT_EQ(answer != UI_IDNO, saved != nullptr);
    }
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    ParseOk(b.ec, "Double() + 1", "Next");
    HEXP twice = ParseOk(b.ec, "Qty * 2", "Twice");
    b.run([&] {
        b.type(ID_TEXT, "Price + 1"), b.type(ID_NAME, "Half"), b.press(ID_OK);
        ASSERT_EQ(1u, b.reports.size());
        EXPECT_TRUE(b.reports[0].code == ERR_DUPNAME && b.reports[0].text == "Half" && b.reports[0].length == 4);
        EXPECT_EQ("Pric", b.selection()) << "the name's range, in the text field";
        b.type(ID_NAME, "Total"), b.type(ID_TEXT, "Price +"), b.press(ID_OK);
        EXPECT_EQ("Price +", b.reports.back().text);
    });
    b.answers = {UI_IDYES, UI_IDYES};
    b.run([&] {
        EXPECT_EQ(b.rowOf(ID_EXPRESSIONS, "Twice"), b.at(ID_EXPRESSIONS)->selected) << "the edited row";
        b.select(ID_EXPRESSIONS, "Double");
        EXPECT_FALSE(b.at(ID_DELETE)->enabled) << "in use";
        b.press(ID_DELETE);
        EXPECT_EQ(3, ZEMGetExpressionCount(b.ec)) << "a used expression stays";
        EXPECT_EQ(Str(204) + Str(216) + "|" + Str(206), b.questions[0].text + "|" + b.questions[0].title);
        EXPECT_EQ(UI_MB_YESNO | UI_MB_ICONQUESTION | UI_MB_DEFBUTTON2, b.questions[0].style);
        b.select(ID_EXPRESSIONS, "Next");
        EXPECT_TRUE(b.at(ID_DELETE)->enabled);
        b.press(ID_DELETE);
        EXPECT_EQ(-1, b.rowOf(ID_EXPRESSIONS, "Next"));
        EXPECT_FALSE(b.at(ID_DELETE)->enabled || b.at(ID_OPEN)->enabled);
        EXPECT_EQ(1, b.at(ID_EXPRESSIONS)->rows[(size_t)b.rowOf(ID_EXPRESSIONS, "Twice")].second) << "renumbered";
        EXPECT_EQ("Qty * 2", b.text(ID_TEXT)) << "another deleted, the edited stays";
    }, 0, twice);
    ZEMSetDelPermissionCallback(b.ec, refuse);
    b.answers = {UI_IDOK};
    b.run([&] { b.select(ID_EXPRESSIONS, "Twice"), b.press(ID_DELETE); });
    EXPECT_TRUE(b.questions.back().text == "Delete Permission Denied." && ZEMGetExpressionCount(b.ec) == 2);
    struct Case { int answer; const char *textAfter; int count; } cases[] = {
        {UI_IDCANCEL, "Qty + 1", 2}, {UI_IDNO, "Price * 2", 2}, {UI_IDYES, "Price * 2", 3}};
    for (const Case &c : cases) {  // when another entry is opened
        b.answers = {c.answer};
        b.run([&] {
            b.type(ID_TEXT, "Qty + 1"), b.select(ID_EXPRESSIONS, "Double"), b.press(ID_OPEN);
            EXPECT_EQ(c.textAfter, b.text(ID_TEXT)) << c.answer;
            EXPECT_EQ(c.count + 1u, b.rows(ID_EXPRESSIONS).size()) << "a saved row is appended";
            EXPECT_EQ(c.answer == UI_IDCANCEL ? nullptr : ZEMHEXPFromName(b.ec, "Double"), threadBlock()->editedExpression);
        });
        EXPECT_EQ(c.count, ZEMGetExpressionCount(b.ec)) << c.answer;
        EXPECT_EQ(Str(202) + "|" + Str(203), b.questions.back().text + "|" + b.questions.back().title);
    }
}

TEST(Builder, ListsModesTitlesAndTheSpareOperator) {
    struct Case { int32_t type; uint16_t flags; unsigned title; const char *entry; int checked;
                  const char *spare, *inserted; } cases[] = {
        {1, 0, 213, "[ New Set ]", ID_MODE_SET, "", " || , Expression [,Expression...]"},
        {2, ECFlagShowGenerated | ECFlagNoConcat, 212, "[ New Range ]", ID_MODE_RANGE, nullptr, ""},
        {7, ECFlagNoConcat | ECFlagModulo, 207, "[ New Formula ]", ID_MODE_FORMULA, "%", " % "}};
    for (const Case &c : cases) {
        Session b(true, ECFlagRangesAndSets | c.flags);
        AddItem(b.ec, ZEM_ITEM_KEYWORD, "Hidden", 255);
        AddItem(b.ec, ZEM_ITEM_KEYWORD, "Today", 0);
        ParseOk(b.ec, "12", "Formula12");
        ParseOk(b.ec, "12", "Twelve");
        b.run([&] {
            EXPECT_EQ((Strings{"Name", "Price", "Qty", "Rate", "Today"}), b.rows(ID_ITEMS));
            Strings expected = {c.entry, "Formula12", "Twelve"};
            if (!(c.flags & ECFlagShowGenerated)) expected.erase(expected.begin() + 1);  // a generated name
            EXPECT_EQ(expected, b.rows(ID_EXPRESSIONS));
            EXPECT_EQ(Str(c.title) + " - " + c.entry + "|" + Str(232 + (unsigned)(c.checked - ID_MODE_FORMULA)),
                      b.builder->text + "|" + b.text(ID_STATUS));
            EXPECT_EQ((UiRect{212, 163, 390, 280}), b.at(ID_EXPRESSIONS)->rect) << "whole rows below the modes";
            EXPECT_EQ(c.spare != nullptr, b.at(ID_SPARE)->shown) << c.flags;
            if (!c.spare) return;
            EXPECT_EQ(382, b.at(ID_OPERATOR_FRAME)->rect.bottom);
            b.press(ID_SPARE);
            EXPECT_EQ(std::string(c.spare) + "|" + c.inserted, b.text(ID_SPARE) + "|" + b.text(ID_TEXT));
        }, c.type);
    }
}

TEST(Builder, RowsDrawnWithTheirKindsBitmaps) {
    struct Case { bool values; uint32_t action, state; int row; Strings drawn; } cases[] = {
        {true, 1, 1 | 16, 1, {"bitmap rangel 0,1", "text Span 36 22", "invert 22", "focus 0"}},
        {true, 1, 0, 0, {"bitmap setl 0,1", "text [ New Set ] 36 22"}},
        {false, 1, 1, 1, {"text Span 36 0", "invert 0"}},
        {true, 2, 1, 1, {"invert 22"}},
        {true, 1 | 2, 1, 1, {"bitmap rangel 0,1", "text Span 36 22", "invert 22"}},
        {true, 4, 0, 1, {"focus 0"}},
    };
    for (const Case &c : cases) {
        Session b(c.values);
        ParseOk(b.ec, "Price AND Qty", "Span");
        b.run([&] {
            UiDrawItem draw = {c.action, c.state, c.row, {0, 0, 100, 13}, nullptr};
            EXPECT_EQ(13, b.send((HWND)b.builder, UI_WM_MEASUREITEM, ID_EXPRESSIONS));
            b.send((HWND)b.builder, UI_WM_DRAWITEM, ID_EXPRESSIONS, (intptr_t)&draw);
            EXPECT_EQ(c.drawn, b.drawn) << c.values << " " << c.action << " " << c.state;
            for (int id : {ID_MODE_FORMULA, ID_MODE_LABEL, ID_VALUES}) EXPECT_EQ(c.values, b.at(id)->shown) << id;
        }, 1);
        EXPECT_TRUE(b.bitmapsLoaded == (c.values ? 3 : 0) && b.bitmapsFreed == b.bitmapsLoaded) << b.bitmapsLoaded;
    }
}

Strings gValueRows = {"Ann", "O'Neil"}, gValueCalls;
void ZEMCALL hostValues(HEC, const char *name, HZEMWND list, int32_t refresh, int32_t *) {
    gValueCalls.push_back(std::string(name) + ":" + std::to_string(refresh));
    for (const std::string &row : gValueRows) Ui()->listAdd((HWND)list, row.c_str());
}

TEST(BuilderSide, RepairValuesTextViewAndLiterals) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    ParseOk(b.ec, "Price AND Qty", "Span");
    ParseOk(b.ec, "Price, Qty", "Group");
    ZEMSetListValuesCallback(b.ec, hostValues);
    const char pending[] = "Later() + 1\0First\0Qty\0Later\0";  // text and name of each record
    ThreadBlock *tb = threadBlock();
    char text[] = "Later() + 1", name[] = "First";
    tb->repairMode = 1, tb->repairText = text, tb->repairName = name;
    tb->pendingList = (void *)pending, tb->pendingCount = 2, tb->lastError = {ERR_FUNC, 0, 5};
    b.onBuilder = [&](HWND dialog) {
        ASSERT_EQ(1000u, b.timers.size() == 1 ? b.timers[0].second : 0);
        EXPECT_TRUE(b.selection() == "Later" && b.at(ID_TEXT)->modified);
        EXPECT_FALSE(b.at(ID_NAME)->enabled || b.at(ID_OPEN)->enabled || b.at(ID_VALUES)->shown || b.at(ID_SHOW_TEXT)->enabled);
        b.send(dialog, UI_WM_TIMER, 1);
        ASSERT_EQ(1u, b.reports.size());
        EXPECT_TRUE(b.timers.empty() && b.reports[0].kind == UiLoadError && b.beeps == 1);
        b.press(ID_OK);
    };
    EXPECT_EQ(nullptr, runBuilder(nullptr, b.ec, nullptr, 0, 0, "")) << "the text waits for a later one";
    ASSERT_NE(nullptr, tb->repairResult);
    EXPECT_EQ(0, memcmp(tb->repairResult, "Later() + 1\0First\0", 18));
    EXPECT_EQ(1u, b.reports.size()) << "no message for a waiting text";
    SvcFree(tb->repairResult);
    tb->repairResult = nullptr, tb->repairMode = 0;
    const char block[] = "a\0One\0b\0Two words\0";
    std::string wide = "One" + std::string(252, ' ') + "(";
    struct Name { std::string text; uint32_t start, length; int pending; } names[] = {
        {"x + Two words  (", 4, 12, 1}, {"one()", 0, 4, 0}, {"One", 9, 1, 0},
        {wide.substr(0, 255), 0, 255, 1}, {wide, 0, 256, 0}};  // 256 bytes do not fit
    for (const Name &c : names) {
        ExpError error = {ERR_FUNC, c.start, c.length};
        EXPECT_EQ(c.pending, nameIsPending(c.text.c_str(), block, &error, 2)) << c.text;
    }
    b.run([&] {
        Win *values = b.side(UiValues), *list = b.at(ID_EXPRESSIONS), *view;
        ASSERT_NE(nullptr, values) << "the start item opened it";
        EXPECT_EQ((Strings{"Name:1"}), gValueCalls);
        EXPECT_EQ("Name - title|" + Str(246), values->text + "|" + b.text(ID_VALUES));
        EXPECT_EQ((UiRect{574, 156, 774, 296}), values->rect) << "beside the functions list";
        values->children[0]->selected = 1;
        b.send((HWND)values, UI_WM_COMMAND, ID_SIDE_CONTROL | UI_LBN_DBLCLK << 16);
        EXPECT_EQ("'O''Neil'", b.text(ID_TEXT));
        b.press(ID_VALUES);
        EXPECT_TRUE(gValueCalls.back() == "Name:0" && !b.at(ID_VALUES)->enabled) << "pressed again while open";
        b.send((HWND)values, UI_WM_CLOSE);
        EXPECT_TRUE(b.text(ID_VALUES) == Str(245) && b.at(ID_VALUES)->enabled);
        b.send((HWND)list, UI_WM_RBUTTONDBLCLK, 0, 2);  // on row 2
        ASSERT_NE(nullptr, view = b.side(UiTextView));
        Win *text = W(Ui()->item((HWND)view, ID_SIDE_CONTROL));
        EXPECT_EQ(2, list->selected) << "the row under the mouse";
        EXPECT_EQ(Str(218) + " - Span|Price AND Qty", view->text + "|" + text->text);
        EXPECT_FALSE(b.at(ID_SHOW_TEXT)->enabled);
        list->selected = 0;
        b.send((HWND)list, UI_WM_KEYUP, UI_VK_UP);
        EXPECT_EQ(Str(217) + "|", view->text + "|" + text->text) << "row 0 shows the mode";
        list->selected = 3;
        b.send((HWND)list, UI_WM_KEYUP, UI_VK_DOWN);
        EXPECT_EQ(Str(219) + " - Group", view->text);
        b.send((HWND)view, MSG_SHOW_EXPRESSION, 7);
        EXPECT_EQ("", view->text) << "no title for a mode that is none";
        b.send((HWND)view, UI_WM_CLOSE);
        EXPECT_TRUE(b.at(ID_SHOW_TEXT)->enabled && !b.side(UiTextView));
    }, 0, nullptr, "Name");
    tb->context = b.ec;
    ZEMSetDatePicture(b.ec, "yyyy-mm-dd", "yyyy-mm-dd HH:nn:ss", "HH:nn:ss");
    struct Case { uint32_t page; uint16_t flags; int mode, type; const char *line, *literal; } cases[] = {
        {932, 0, 0, ZEM_TYPE_STRING, "\x83\x27'x", "'\x83\x27''x'"},  // 83 27 is one character
        {0, 0, 2, ZEM_TYPE_DATETIME, "1/31/2001", "{d 2001-01-31}"},
        {0, 1, 2, ZEM_TYPE_DATETIME, "1/31/2001", "'2001-01-31'"},
        {0, 2, 0, ZEM_TYPE_DATETIME, "1/31/2001", "1/31/2001"},
    };
    uint32_t before = ZEMGetSystemCodePage();
    for (const Case &c : cases) {
        if (c.page && !ZEMSetSystemCodePage(c.page)) continue;  // Windows has the system's only
        ZEMSetDateConvert(b.ec, "{d %s}", "{ts %s}", "{t %s}", c.flags);
        tb->mode = c.mode;
        Text out;
        literalText(c.line, c.type, &out);
        EXPECT_EQ(c.literal, std::string(out.c_str())) << c.page << " " << c.flags << " " << c.line;
    }
    tb->mode = 0;
    ZEMSetSystemCodePage(before);
}

#ifndef _WIN32
std::string gHook;
int32_t ZEMCALL hook(HZEMWND, const char *text, const ExpError *error, const char *, int32_t loading) {
    gHook += std::string(text) + "|" + std::to_string(error->start) + "|" + std::to_string(error->length) + "|" + std::to_string(loading) + ";";
    return 7;
}

TEST(ErrorDialog, WithoutWindowsAHookOrMinusOne) {
    ExpError error = {ERR_SYNTAX, 2, 1};
    EXPECT_EQ(-1, ZEMErrorDisplay(nullptr, "1 + + 2", &error));
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    ZEMSetErrorDisplayHook(hook);
    EXPECT_EQ(nullptr, ZEMBuildExpression(nullptr, ec, nullptr, 0)) << "no dialog can be made";
    EXPECT_EQ(7, ZEMErrorDisplay(nullptr, "1 + + 2", &error));
    EXPECT_EQ("|0|0|0;1 + + 2|2|1|0;", gHook) << "error 131 with the empty text, then the report";
    EXPECT_EQ(hook, ZEMSetErrorDisplayHook(nullptr));
    ZEMDestroyEC(ec);
}
#endif

TEST(Builder, EveryAllocationFailingOnce) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    EachAllocationFails([&](int n) {
        std::string field;
        HEXP saved = b.run([&] {
            b.type(ID_TEXT, "Double() + "), b.pick(ID_ITEMS, "Qty");
            field = b.text(ID_TEXT);
            b.press(ID_OK);
        });
        EXPECT_TRUE(field == "Double() + " || field == "Double() + Qty") << n << ": " << field;
        EXPECT_EQ(saved ? std::to_string(KindFormula) + " Double() + Qty" : "(none)", kindAndText(saved)) << n;
        EXPECT_EQ(saved ? 2 : 1, ZEMGetExpressionCount(b.ec)) << n;
        if (saved) ZEMDestroyEXP(b.ec, saved);
    });
}

}  // namespace
