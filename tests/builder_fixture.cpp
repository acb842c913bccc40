// The in-memory windows behind the builder tests.
#include "builder_fixture.h"

#include <gtest/gtest.h>
#include <string.h>

#include "context/threadblock.h"
#include "errors/errors.h"

Fixture *gFixture;

namespace {

Fixture &F() { return *gFixture; }
FakeWindow *W(HWND h) { return (FakeWindow *)h; }

// Control ids of each window, with the rectangles that matter to the logic.
struct ControlSpec {
    int id;
    UiRect rect;
    bool sorted;
};
const ControlSpec kBuilderControls[] = {
    {1, {18, 450, 102, 478}, 0}, {2, {}, 0}, {100, {0, 0, 602, 90}, 0}, {101, {}, 0},
    {102, {}, 0}, {103, {}, 0}, {104, {}, 0}, {105, {}, 0}, {106, {18, 114, 180, 284}, 1},
    {107, {416, 114, 574, 284}, 1}, {108, {}, 0}, {109, {}, 0}, {110, {}, 0}, {111, {}, 0},
    {112, {470, 340, 500, 364}, 0}, {113, {464, 272, 566, 358}, 0},
    {114, {212, 114, 390, 280}, 0}, {115, {}, 0}, {116, {}, 0}, {117, {}, 0}, {118, {}, 0},
    {119, {}, 0}, {120, {}, 0}, {121, {}, 0}, {122, {}, 0}, {123, {}, 0}, {124, {}, 0},
    {125, {}, 0}, {126, {}, 0}, {127, {}, 0}, {128, {}, 0}, {129, {}, 0}, {130, {}, 0},
    {131, {}, 0}, {132, {}, 0}, {133, {}, 0}, {134, {210, 90, 272, 138}, 0},
    {135, {272, 90, 334, 138}, 0}, {136, {334, 90, 396, 138}, 0}, {137, {212, 92, 300, 108}, 0},
    {138, {}, 0}, {139, {}, 0},
};

FakeWindow *makeWindow(UiDialog kind, FakeWindow *owner) {
    auto w = std::make_unique<FakeWindow>();
    w->kind = kind;
    w->isDialog = true;
    w->parent = owner;
    w->rect = kind == UiValues ? UiRect{0, 0, 200, 140} : UiRect{0, 0, 600, 560};
    if (kind == UiValues) w->text = "title";
    auto add = [&](int id, UiRect r, bool sorted) {
        auto c = std::make_unique<FakeWindow>();
        c->id = id, c->parent = w.get(), c->rect = r, c->sorted = sorted;
        w->children.push_back(std::move(c));
    };
    if (kind == UiBuilder) {
        for (const ControlSpec &c : kBuilderControls) add(c.id, c.rect, c.sorted);
    } else if (kind == UiError || kind == UiLoadError) {
        for (int id : {200, 201, 202}) add(id, {}, false);
    } else {
        add(100, {}, kind == UiValues);
    }
    FakeWindow *raw = w.get();
    F().topWindows.push_back(std::move(w));
    return raw;
}

intptr_t dispatch(FakeWindow *w, unsigned m, uintptr_t wp, intptr_t lp);

// What a control does by itself with a message, as its class would.
intptr_t defaultHandling(FakeWindow *w, unsigned m, uintptr_t wp, intptr_t lp) {
    if (m == UI_LB_SETCURSEL) w->selected = (int)(intptr_t)wp;
    else if (m == UI_WM_LBUTTONDOWN) w->selected = (int)lp;  // the row under the mouse
    else if (m == UI_WM_CHAR && w->rows.empty()) {
        w->text.replace((size_t)w->selStart, (size_t)(w->selEnd - w->selStart), 1, (char)wp);
        w->selStart = w->selEnd = w->selStart + 1;
    }
    return 0;
}

intptr_t dispatch(FakeWindow *w, unsigned m, uintptr_t wp, intptr_t lp) {
    HWND h = (HWND)w;
    if (w->isDialog) {
        switch (w->kind) {
        case UiBuilder: return BuilderEvent(h, m, wp, lp);
        case UiTextView: return TextViewEvent(h, m, wp, lp);
        case UiValues: return ValuesViewEvent(h, m, wp, lp);
        default: return ErrorDialogEvent(h, m, wp, lp);
        }
    }
    switch (w->handler) {
    case UiEditHandler: return EditFieldEvent(h, m, wp, lp);
    case UiStatusHandler: return StatusPaneEvent(h, m, wp, lp);
    case UiFormsHandler: return FormsListEvent(h, m, wp, lp);
    case UiVarsHandler: case UiFuncsHandler: return ItemListEvent(h, m, wp, lp);
    case UiErrorEditHandler: return ErrorEditEvent(h, m, wp, lp);
    case UiViewEditHandler: return ViewEditEvent(h, m, wp, lp);
    default: return defaultHandling(w, m, wp, lp);
    }
}

// ---- The table of operations.
HWND item(HWND dialog, int id) {
    if (!dialog) return 0;
    for (auto &c : W(dialog)->children)
        if (c->id == id) return (HWND)c.get();
    return 0;
}
HWND parent(HWND w) { return w ? (HWND)W(w)->parent : 0; }
int id(HWND w) { return w ? W(w)->id : 0; }
int textLength(HWND w) { return w ? (int)W(w)->text.size() : 0; }
int getText(HWND w, char *buffer, int size) {
    std::string t = w ? W(w)->text : "";
    int n = (int)std::min(t.size(), (size_t)size - 1);
    memcpy(buffer, t.data(), (size_t)n);
    buffer[n] = 0;
    return n;
}
void setText(HWND w, const char *text) {
    if (w) W(w)->text = text, W(w)->selStart = W(w)->selEnd = 0;
}
void getSelection(HWND w, int32_t *s, int32_t *e) { *s = W(w)->selStart, *e = W(w)->selEnd; }
void setSelection(HWND w, int32_t s, int32_t e) {
    int32_t n = (int32_t)W(w)->text.size();
    W(w)->selStart = std::min(s, n), W(w)->selEnd = std::min(e, n);
}
int modified(HWND w) { return W(w)->modified; }
void setModified(HWND w, int on) { W(w)->modified = on; }
void limitText(HWND w, int limit) { W(w)->limit = limit; }
void clipboard(HWND w, unsigned op) {
    FakeWindow *f = W(w);
    size_t s = (size_t)f->selStart, n = (size_t)(f->selEnd - f->selStart);
    if (op == UI_WM_COPY || op == UI_WM_CUT) F().clipboard = f->text.substr(s, n);
    if (op == UI_WM_CUT || op == UI_WM_CLEAR) f->text.erase(s, n), f->selEnd = f->selStart;
    if (op == UI_WM_PASTE) {
        f->text.replace(s, n, F().clipboard);
        f->selStart = f->selEnd = (int32_t)(s + F().clipboard.size());
    }
}
int clipboardHasText() { return !F().clipboard.empty(); }

int listAdd(HWND w, const char *text) {
    auto &rows = W(w)->rows;
    size_t at = 0;
    while (W(w)->sorted && at < rows.size() && lstrcmpiA(rows[at].first.c_str(), text) <= 0) at++;
    if (!W(w)->sorted) at = rows.size();
    rows.insert(rows.begin() + (long)at, {text, 0});
    return (int)at;
}
int listInsert(HWND w, int row, const char *text) {
    auto &rows = W(w)->rows;
    size_t at = row < 0 ? rows.size() : (size_t)row;
    rows.insert(rows.begin() + (long)at, {text, 0});
    return (int)at;
}
void listDelete(HWND w, int row) {
    auto &rows = W(w)->rows;
    rows.erase(rows.begin() + row);
    if (W(w)->selected >= (int)rows.size()) W(w)->selected = -1;
}
int listCount(HWND w) { return (int)W(w)->rows.size(); }
bool validRow(HWND w, int row) { return row >= 0 && row < (int)W(w)->rows.size(); }
int listTextLength(HWND w, int row) {
    return validRow(w, row) ? (int)W(w)->rows[(size_t)row].first.size() : -1;
}
int listText(HWND w, int row, char *buffer) {
    if (!validRow(w, row)) return -1;
    strcpy(buffer, W(w)->rows[(size_t)row].first.c_str());
    return listTextLength(w, row);
}
intptr_t listData(HWND w, int row) { return validRow(w, row) ? W(w)->rows[(size_t)row].second : -1; }
void setListData(HWND w, int row, intptr_t data) {
    if (validRow(w, row)) W(w)->rows[(size_t)row].second = data;
}
int listSelection(HWND w) { return w ? W(w)->selected : -1; }
void selectRow(HWND w, int row) { dispatch(W(w), UI_LB_SETCURSEL, (uintptr_t)(intptr_t)row, 0); }
void setTopRow(HWND w, int row) { W(w)->top = row; }
int findRow(HWND w, int after, const char *prefix) {
    int n = listCount(w);
    for (int i = 1; i <= n; i++) {
        int row = (after + i) % n;
        if (strncasecmp(W(w)->rows[(size_t)row].first.c_str(), prefix, strlen(prefix)) == 0) return row;
    }
    return -1;
}

void enable(HWND w, int on) {
    if (w) W(w)->enabled = on;
}
void show(HWND w, int on) {
    if (w) W(w)->shown = on;
}
void focus(HWND w) { F().focused = w; }
void checkRadio(HWND dialog, int first, int last, int id) {
    for (int i = first; i <= last; i++) W(item(dialog, i))->checked = i == id;
}
int isVisible(HWND w) { return W(w)->shown; }
int isEnabled(HWND w) { return W(w)->enabled; }
void screenRect(HWND w, UiRect *r) { *r = W(w)->rect; }
void placeControl(HWND w, const UiRect *r) { W(w)->rect = *r; }
void moveWindow(HWND w, int32_t x, int32_t y) {
    UiRect &r = W(w)->rect;
    r = {x, y, x + r.right - r.left, y + r.bottom - r.top};
}
int32_t screenWidth() { return 1024; }
int32_t screenHeight() { return 768; }

void destroyTree(FakeWindow *w) {
    for (auto &top : F().topWindows)
        if (top->parent == w && !top->destroyed) destroyTree(top.get());
    w->destroyed = true;
    dispatch(w, UI_WM_DESTROY, 0, 0);
}

intptr_t runDialog(HWND parent, UiDialog which, void *param) {
    if (F().dialogsFail) return -1;
    FakeWindow *w = makeWindow(which, W(parent));
    if (which == UiBuilder) {
        F().builder = w;
        dispatch(w, UI_WM_SETFONT, 1, 0);
        dispatch(w, UI_WM_INITDIALOG, 0, (intptr_t)param);
        F().pump();
        if (!w->ended && F().onBuilder) F().onBuilder((HWND)w);
        if (!w->ended) w->result = UI_IDCANCEL;
    } else {
        dispatch(w, UI_WM_INITDIALOG, 0, 0);
        dispatch(w, UI_WM_PAINT, 0, 0);
        F().pump();
        FakeWindow *text = W(item((HWND)w, ID_ERROR_TEXT));
        ThreadBlock *tb = threadBlock();
        F().reports.push_back({which, text->text, W(item((HWND)w, ID_ERROR_MESSAGE))->text,
                               tb->dialogError.code, (uint32_t)text->selStart,
                               (uint32_t)(text->selEnd - text->selStart)});
        dispatch(w, UI_WM_COMMAND, ID_ERROR_OK, 0);
    }
    destroyTree(w);
    if (which == UiBuilder) F().builder = nullptr;
    return w->result;
}
void endDialog(HWND w, intptr_t result) { W(w)->ended = true, W(w)->result = result; }
HWND openDialog(HWND owner, UiDialog which) {
    FakeWindow *w = makeWindow(which, W(owner));
    dispatch(w, UI_WM_INITDIALOG, 0, 0);
    return (HWND)w;
}
void destroy(HWND w) {
    if (!W(w)->destroyed) destroyTree(W(w));
}
int ask(HWND, const char *text, const char *title, unsigned style) {
    F().questions.push_back({text, title, style});
    if (F().answers.empty()) {
        ADD_FAILURE() << "unexpected question: " << text;
        return UI_IDCANCEL;
    }
    int answer = F().answers.front();
    F().answers.pop_front();
    return answer;
}
void beep() { F().beeps++; }
void setTimer(HWND w, unsigned id, unsigned ms) { F().timers.push_back({w, id, ms}); }
void killTimer(HWND w, unsigned id) {
    auto &t = F().timers;
    for (size_t i = 0; i < t.size(); i++)
        if (t[i].window == w && t[i].id == id) t.erase(t.begin() + (long)i--);
}
void post(HWND w, unsigned m, uintptr_t wp, intptr_t lp) { F().posted.push_back({w, m, wp, lp}); }
intptr_t send(HWND w, unsigned m, uintptr_t wp, intptr_t lp) { return dispatch(W(w), m, wp, lp); }
WNDPROC subclass(HWND w, UiHandler handler) {
    if (!w) return 0;
    W(w)->handler = handler;
    return (WNDPROC)(intptr_t)(handler + 1);  // a token for the former handler
}
intptr_t callFormer(WNDPROC former, HWND w, unsigned m, uintptr_t wp, intptr_t lp) {
    F().formerCalls++;
    if (W(w)->handler >= 0 && former != (WNDPROC)(intptr_t)(W(w)->handler + 1)) F().wrongFormer++;
    return defaultHandling(W(w), m, wp, lp);
}

// Bitmaps are the addresses of their names; drawing is written down.
const char *const kBitmaps[] = {"formulal", "rangel", "setl"};
HBITMAP loadBitmap(const char *name) {
    F().bitmapsLoaded++;
    for (const char *const &b : kBitmaps)
        if (strcmp(b, name) == 0) return (HBITMAP)&b;
    return 0;
}
void bitmapSize(HBITMAP b, int32_t *w, int32_t *h) { *w = b ? 16 : 0, *h = b ? 12 : 0; }
void freeBitmap(HBITMAP) { F().bitmapsFreed++; }
void fontMetrics(HWND, uintptr_t, TEXTMETRICA *m) {
    *m = TEXTMETRICA{};
    m->tmHeight = 12, m->tmExternalLeading = 1, m->tmAveCharWidth = 6;
}
void drawBitmap(void *, HBITMAP b, int32_t x, int32_t y, int32_t, int32_t) {
    F().drawn.push_back(std::string("bitmap ") + *(const char *const *)b + " " +
                        std::to_string(x) + "," + std::to_string(y));
}
void drawText(void *, const char *text, const UiRect *r, unsigned flags) {
    F().drawn.push_back(std::string("text ") + text + " " + std::to_string(r->left) + " " +
                        std::to_string(flags));
}
void invert(void *, const UiRect *r) { F().drawn.push_back("invert " + std::to_string(r->left)); }
void focusRect(void *, const UiRect *r) { F().drawn.push_back("focus " + std::to_string(r->left)); }

const BuilderUi kFakeUi = {
    item, parent, id, textLength, getText, setText, getSelection, setSelection, modified,
    setModified, limitText, clipboard, clipboardHasText, listAdd, listInsert, listDelete,
    listCount, listTextLength, listText, listData, setListData, listSelection, selectRow,
    setTopRow, findRow, enable, show, focus, checkRadio, isVisible, isEnabled, parent, screenRect, screenRect, placeControl,
    moveWindow, screenWidth, screenHeight, runDialog, endDialog, openDialog, destroy, ask, beep,
    setTimer, killTimer, post, send, subclass, callFormer, loadBitmap, bitmapSize, freeBitmap,
    fontMetrics, drawBitmap, drawText, invert, focusRect,
};

}  // namespace

Fixture::Fixture() {
    gFixture = this;
    UiReplace(&kFakeUi);
}

Fixture::~Fixture() {
    EXPECT_EQ(0, wrongFormer) << "a message went to another control's former handler";
    UiReplace(0);
    gFixture = nullptr;
}

HWND Fixture::item(int id) const { return ::item((HWND)builder, id); }

FakeWindow *Fixture::side(UiDialog kind) const {
    for (auto &w : topWindows)
        if (w->kind == kind && !w->destroyed) return w.get();
    return nullptr;
}

void Fixture::press(int id) {
    dispatch(builder, UI_WM_COMMAND, (uintptr_t)id, (intptr_t)item(id));
    pump();
}

void Fixture::select(int listId, int row) {
    HWND list = item(listId);
    dispatch(W(list), UI_WM_LBUTTONDOWN, 1, (intptr_t)row);
    dispatch(W(list), UI_WM_LBUTTONUP, 0, 0);
    dispatch(builder, UI_WM_COMMAND, (uintptr_t)listId | (uintptr_t)UI_LBN_SELCHANGE << 16,
             (intptr_t)list);
    pump();
}

void Fixture::pick(int listId, int row) {
    select(listId, row);
    dispatch(builder, UI_WM_COMMAND, (uintptr_t)listId | (uintptr_t)UI_LBN_DBLCLK << 16,
             (intptr_t)item(listId));
    pump();
}

void Fixture::type(int id, const std::string &text) {
    FakeWindow *f = W(item(id));
    f->text = text;
    f->selStart = f->selEnd = (int32_t)text.size();
    f->modified = true;
    dispatch(builder, UI_WM_COMMAND, (uintptr_t)id | (uintptr_t)UI_EN_CHANGE << 16, (intptr_t)f);
}

void Fixture::selectText(int32_t start, int32_t end) { setSelection(item(ID_TEXT), start, end); }

void Fixture::pump() {
    while (!posted.empty()) {
        Posted p = posted.front();
        posted.pop_front();
        if (!W(p.window)->destroyed) dispatch(W(p.window), p.message, p.wParam, p.lParam);
    }
}

std::string Fixture::selection() const {
    FakeWindow *f = W(item(ID_TEXT));
    return f->text.substr((size_t)f->selStart, (size_t)(f->selEnd - f->selStart));
}

std::vector<std::string> Fixture::rows(int id) const {
    std::vector<std::string> out;
    for (auto &r : W(item(id))->rows) out.push_back(r.first);
    return out;
}
