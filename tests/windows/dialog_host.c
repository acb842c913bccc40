/* A host of zemi40.dll that opens the real dialogs and drives them by window
 * messages from a thread of its own, as a person would. With --shots DIR it
 * prints "shot NAME" at each dialog and waits for DIR\NAME.done. */
#include <windows.h>
#include <stdio.h>
#include <string.h>

#include "zemi40.h"

enum { ID_TEXT = 100, ID_NAME = 101, ID_ITEMS = 106, ID_FUNCTIONS = 107, ID_TIMES = 110,
       ID_EXPRESSIONS = 114, ID_SHOW_TEXT = 118, ID_ERROR_TEXT = 200, ID_ERROR_MESSAGE = 201,
       WAIT_MS = 5000 };

static LONG passed, failed;
static const char *shotDir;
static HEC ec;
static char savedName[65], rangeName[65], valuesAsked[65];
static int valuesRefresh = -1;

static int check(int ok, const char *what, int line) {
    InterlockedIncrement(ok ? &passed : &failed);
    if (!ok) fprintf(stderr, "dialog_host.c:%d: check failed: %s\n", line, what);
    return ok;
}
#define CHECK(cond) check((cond) != 0, #cond, __LINE__)

static int classIs(HWND window, const char *name) {
    char found[64] = "";
    GetClassNameA(window, found, sizeof(found));
    return lstrcmpiA(found, name) == 0;
}
static int isBuilder(HWND w) { return GetDlgItem(w, ID_EXPRESSIONS) != 0; }
static int isMessageBox(HWND w) { return classIs(w, "#32770"); }
static int isError(HWND w) { return GetDlgItem(w, ID_ERROR_TEXT) && !classIs(w, "#32770"); }
static int isTextView(HWND w) { return classIs(GetDlgItem(w, ID_TEXT), "CBCtrlEdit") && !isBuilder(w); }
static int isValues(HWND w) { return classIs(GetDlgItem(w, ID_TEXT), "CBCtrlListBox"); }

typedef int (*Match)(HWND);
struct Search { Match match; HWND found; };
static BOOL CALLBACK visit(HWND window, LPARAM param) {
    struct Search *s = (struct Search *)param;
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    if (pid != GetCurrentProcessId() || !IsWindowVisible(window) || !s->match(window)) return TRUE;
    s->found = window;
    return FALSE;
}
static HWND findWindow(Match match) {
    struct Search s = {match, 0};
    EnumWindows(visit, (LPARAM)&s);
    return s.found;
}
static HWND waitFor(Match match) {  /* 0 after the wait */
    HWND w = 0;
    for (int waited = 0; waited < WAIT_MS && !(w = findWindow(match)); waited += 20) Sleep(20);
    return w;
}
static int waitGone(HWND window) {
    for (int waited = 0; waited < WAIT_MS && IsWindow(window); waited += 20) Sleep(20);
    return !IsWindow(window);
}
static void textOf(HWND window, char *buffer, int size) {
    buffer[0] = 0;
    SendMessageA(window, WM_GETTEXT, size, (LPARAM)buffer);
}

/* Whether the field's text, or with `selected` its selection, becomes `want`. */
static int waitText(HWND field, const char *want, int selected) {
    char text[512], seen[512] = "";
    for (int waited = 0; waited < WAIT_MS; waited += 20, Sleep(20)) {
        DWORD start = 0, end = 0;
        SendMessageA(field, EM_GETSEL, (WPARAM)&start, (LPARAM)&end);
        textOf(field, text, sizeof(text));
        if (!selected) strcpy(seen, text);
        else if (end <= strlen(text) && start <= end) memcpy(seen, text + start, end - start), seen[end - start] = 0;
        if (strcmp(seen, want) == 0) return 1;
    }
    fprintf(stderr, "  %s \"%s\", not \"%s\"\n", selected ? "selected" : "text is", seen, want);
    return 0;
}

static void press(HWND dialog, int id) { PostMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }

/* Selects the row of the text; double-clicks it, or lets the arrow keys go. */
static int pick(HWND dialog, int listId, const char *text, int click) {
    HWND list = GetDlgItem(dialog, listId);
    LRESULT row = SendMessageA(list, LB_FINDSTRINGEXACT, (WPARAM)-1, (LPARAM)text);
    if (row < 0) return 0;
    SendMessageA(list, LB_SETCURSEL, row, 0);
    if (click) PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(listId, LBN_DBLCLK), (LPARAM)list);
    else PostMessageA(list, WM_KEYUP, VK_DOWN, 0);
    return 1;
}

static void type(HWND field, const char *text) {
    for (; *text; text++) PostMessageA(field, WM_CHAR, (unsigned char)*text, 1);
}

static int answer(int button) {  /* the message box that comes up */
    HWND box = waitFor(isMessageBox);
    if (box) PostMessageA(GetDlgItem(box, button), BM_CLICK, 0, 0);
    return box && waitGone(box);
}

static void shot(const char *name) {
    char done[MAX_PATH];
    if (!shotDir) return;
    Sleep(300);  /* the last paint */
    printf("shot %s\n", name);
    fflush(stdout);
    snprintf(done, sizeof(done), "%s\\%s.done", shotDir, name);
    for (int i = 0; i < 400 && GetFileAttributesA(done) == INVALID_FILE_ATTRIBUTES; i++) Sleep(50);
}

/* ---- Builder sessions as tables of steps ------------------------------- */

enum Op { END, PICK, PRESS, TEXT, SELECTED, TYPE, ANSWER, SHOT, KEPT };
struct Step { enum Op op; int id; const char *text; };
#define PICKED(list, name, after) {PICK, list, name}, {TEXT, 0, after}

static const struct Step priceQty[] = {
    PICKED(ID_ITEMS, "Price", "Price"), {PRESS, ID_TIMES, 0}, {TEXT, 0, "Price * "},
    PICKED(ID_ITEMS, "Qty", "Price * Qty"), {SHOT, 0, "builder-formula"}, {PRESS, IDOK, 0}, {END, 0, 0}};
/* A template's first label is selected; a pick replaces it and selects the next. */
static const struct Step range[] = {
    {TEXT, 0, "Expression AND Expression"}, {SELECTED, 0, "Expression"}, {SHOT, 0, "builder-range"},
    PICKED(ID_ITEMS, "Price", "Price AND Expression"), {SELECTED, 0, "Expression"},
    PICKED(ID_ITEMS, "Qty", "Price AND Qty"), {PRESS, IDOK, 0}, {END, 0, 0}};
static const struct Step set[] = {
    {TEXT, 0, "Expression, Expression [,Expression...]"}, {SHOT, 0, "builder-set"},
    PICKED(ID_ITEMS, "Price", "Price, Expression [,Expression...]"),
    PICKED(ID_ITEMS, "Qty", "Price, Qty [,Expression...]"), {SELECTED, 0, "[,Expression...]"}, {PRESS, IDOK, 0}, {END, 0, 0}};
/* A Set typed in Formula mode: No keeps the builder open, Yes saves the Set. */
static const struct Step kindQuestion[] = {
    {TYPE, 0, "1, 2"}, {TEXT, 0, "1, 2"}, {PRESS, IDOK, 0}, {ANSWER, IDNO, 0}, {KEPT, 0, 0},
    {PRESS, IDOK, 0}, {ANSWER, IDYES, 0}, {END, 0, 0}};

static const struct Step *steps;

static void runSteps(void) {
    HWND b = waitFor(isBuilder), field = GetDlgItem(b, ID_TEXT);
    int32_t count = ZEMGetExpressionCount(ec);
    if (!CHECK(b)) return;
    if (steps == priceQty) textOf(GetDlgItem(b, ID_NAME), savedName, sizeof(savedName));
    for (const struct Step *s = steps;; s++) {
        int ok = 1;
        switch (s->op) {
        case PICK: ok = pick(b, s->id, s->text, 1); break;
        case PRESS: press(b, s->id); break;
        case TEXT: case SELECTED: ok = waitText(field, s->text, s->op == SELECTED); break;
        case TYPE: type(field, s->text); break;
        case ANSWER: ok = answer(s->id); break;
        case SHOT: shot(s->text); break;
        case KEPT: Sleep(200), ok = IsWindow(b) && ZEMGetExpressionCount(ec) == count; break;
        case END: CHECK(waitGone(b)); return;
        }
        if (!ok) fprintf(stderr, "  step %d of a session\n", (int)(s - steps));
        CHECK(ok);
    }
}

/* The text view shows the selected expression and follows the list by keys;
 * the values window opens beside the functions list for the start item and a
 * double click inserts a quoted literal. */
static void driveSideViews(void) {
    char formula[512], range[512], title[128];
    RECT list, own;
    HWND b = waitFor(isBuilder), values = waitFor(isValues), view;
    if (!CHECK(b && values)) return;
    CHECK(strcmp(valuesAsked, "Name") == 0 && valuesRefresh == 1);
    GetWindowRect(GetDlgItem(b, ID_FUNCTIONS), &list);
    GetWindowRect(values, &own);
    CHECK(own.left == list.right && own.top == list.top + (list.bottom - list.top) / 4);
    SetForegroundWindow(values);  /* as a click on it would */
    shot("values");
    CHECK(pick(values, ID_TEXT, "O'Brien", 1));
    CHECK(waitText(GetDlgItem(b, ID_TEXT), "'O''Brien'", 0));
    ZEMGetExpressionText(ec, ZEMHEXPFromName(ec, savedName), sizeof(formula), formula);
    ZEMGetExpressionText(ec, ZEMHEXPFromName(ec, rangeName), sizeof(range), range);
    pick(b, ID_EXPRESSIONS, savedName, 0);
    Sleep(200);
    press(b, ID_SHOW_TEXT);
    if (CHECK(view = waitFor(isTextView))) {
        CHECK(waitText(GetDlgItem(view, ID_TEXT), formula, 0));
        textOf(view, title, sizeof(title));
        CHECK(strstr(title, savedName) != 0);
        pick(b, ID_EXPRESSIONS, rangeName, 0);
        CHECK(waitText(GetDlgItem(view, ID_TEXT), range, 0));
    }
    press(b, IDCANCEL);
    CHECK(waitGone(b));
}

/* The span is selected after the first paint; typing and clicks change
 * nothing; Return closes it. */
static void driveError(void) {
    char message[256];
    HWND e = waitFor(isError), field = GetDlgItem(e, ID_ERROR_TEXT);
    if (!CHECK(e)) return;
    CHECK(waitText(field, "Qtx", 1));
    textOf(GetDlgItem(e, ID_ERROR_MESSAGE), message, sizeof(message));
    CHECK(message[0] != 0);
    shot("error");
    type(field, "zz");
    PostMessageA(field, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 2));
    PostMessageA(field, WM_LBUTTONUP, 0, MAKELPARAM(2, 2));
    Sleep(300);
    CHECK(waitText(field, "Price * Qtx", 0) && waitText(field, "Qtx", 1));
    PostMessageA(field, WM_KEYDOWN, VK_RETURN, 1);
    CHECK(waitGone(e));
}

/* A dialog the driver left open (a failed step) is closed, so that the host's call returns. */
static DWORD WINAPI driverThread(LPVOID driver) {
    HWND w;
    ((void (*)(void))driver)();
    Sleep(100);
    while ((w = findWindow(isMessageBox)) || (w = findWindow(isError)) || (w = findWindow(isBuilder))) {
        CHECK(!"a dialog was left open");
        PostMessageA(w, WM_COMMAND, IDCANCEL, 0);
        waitGone(w);
    }
    return 0;
}

/* Runs a call of the library while a driver works the dialogs. */
static HANDLE startDriver(void (*drive)(void)) { return CreateThread(0, 0, driverThread, (LPVOID)drive, 0, 0); }
static void endDriver(HANDLE driver) {
    CHECK(WaitForSingleObject(driver, 30000) == WAIT_OBJECT_0);
    CloseHandle(driver);
}

/* Saved: the text the builder saved, or "" for nothing. */
static HEXP build(const struct Step *script, int type, const char *startItem, const char *saved) {
    char text[512] = "";
    steps = script;
    HANDLE driver = startDriver(script ? runSteps : driveSideViews);
    HEXP exp = ZEMBuildExpressionOfType(0, ec, 0, 0, type, startItem);
    endDriver(driver);
    if (exp) ZEMGetExpressionText(ec, exp, sizeof(text), text);
    if (strcmp(text, saved) != 0) fprintf(stderr, "  saved \"%s\", not \"%s\"\n", text, saved);
    CHECK(strcmp(text, saved) == 0);
    return exp;
}

static int32_t showError(void) {
    ExpError error = {110, 8, 3};
    HANDLE driver = startDriver(driveError);
    int32_t result = ZEMErrorDisplay(0, "Price * Qtx", &error);
    endDriver(driver);
    return result;
}

/* ---- The host's context and its own CBCtrlEdit ------------------------- */

static void ZEMCALL listValues(HEC context, const char *itemName, HZEMWND list, int32_t refresh, int32_t *keep) {
    (void)context, (void)keep;
    snprintf(valuesAsked, sizeof(valuesAsked), "%s", itemName);
    valuesRefresh = refresh;
    SendMessageA((HWND)list, LB_RESETCONTENT, 0, 0);
    if (strcmp(itemName, "Name") != 0) return;
    SendMessageA((HWND)list, LB_ADDSTRING, 0, (LPARAM) "O'Brien");
    SendMessageA((HWND)list, LB_ADDSTRING, 0, (LPARAM) "Smith");
}

static void addItem(const char *name, int type) {
    unsigned char record[ZEM_EXPITEM_SIZE(1)];
    ExpItem *item = (ExpItem *)record;
    memset(record, 0, sizeof(record));
    item->kind = ZEM_ITEM_INPUT, item->dataType = (int16_t)type;
    strcpy(item->name, name);
    CHECK(ZEMAddExpressionItem(ec, item) == 1);
}

static WNDPROC systemEdit;
static LONG hostEdits;
static LRESULT CALLBACK hostEditProc(HWND w, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CREATE) InterlockedIncrement(&hostEdits);
    return CallWindowProcA(systemEdit, w, message, wParam, lParam);
}

/* Registered after a dialog of the library has come and gone, the host's
 * class is the one the next dialog gets. */
static void hostClasses(void) {
    WNDCLASSEXA wc;
    wc.cbSize = sizeof(wc);
    CHECK(showError() == 1);
    CHECK(GetClassInfoExA(0, "EDIT", &wc));
    systemEdit = wc.lpfnWndProc;
    wc.lpfnWndProc = hostEditProc, wc.hInstance = GetModuleHandleA(0);
    wc.lpszClassName = "CBCtrlEdit", wc.style |= CS_GLOBALCLASS;
    CHECK(RegisterClassExA(&wc) != 0);
    CHECK(showError() == 1 && hostEdits == 1);
    CHECK(UnregisterClassA("CBCtrlEdit", GetModuleHandleA(0)));
    CHECK(showError() == 1 && hostEdits == 1);
}

int main(int argc, char **argv) {
    char text[80] = "";
    if (argc == 3 && strcmp(argv[1], "--shots") == 0) shotDir = argv[2];
    ec = ZEMCreateEC(0, 0, 0, ECFlagModulo | ECFlagRangesAndSets);
    CHECK(ec && FUNDefineFunctions(ec));
    addItem("Price", ZEM_TYPE_NUMBER);
    addItem("Qty", ZEM_TYPE_NUMBER);
    addItem("Name", ZEM_TYPE_STRING);
    ZEMSetListValuesCallback(ec, listValues);
    HEXP saved = build(priceQty, 0, "", "Price * Qty");
    CHECK(saved && ZEMHEXPFromName(ec, savedName) == saved);
    saved = build(range, 2, "", "Price AND Qty");
    CHECK(saved && ZEMIsExpRange(ec, saved, 2));
    ZEMGetExpressionName(ec, saved, sizeof(rangeName), rangeName);
    CHECK(ZEMIsExpRange(ec, build(set, 1, "", "Price, Qty "), 1));
    CHECK(ZEMIsExpRange(ec, build(kindQuestion, 0, "", "1, 2"), 1));
    build(0, 0, "Name", "");
    hostClasses();
    HWND combo = CreateWindowA("COMBOBOX", "", CBS_DROPDOWNLIST | CBS_SORT, 0, 0, 100, 100, 0, 0, 0, 0);
    CHECK(ZEMLoadComboBox(ec, ZEM_ITEM_INPUT, combo) == 3 && SendMessageA(combo, CB_GETCOUNT, 0, 0) == 3);
    SendMessageA(combo, CB_GETLBTEXT, 0, (LPARAM)text);
    CHECK(strcmp(text, "Name") == 0);
    DestroyWindow(combo);
    printf("%ld passed, %ld failed\n", passed, failed);
    ZEMDestroyEC(ec);
    return failed != 0;
}
