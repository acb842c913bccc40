/* A host of zemi40.dll that opens the real dialogs and drives them by window
 * messages from a thread of its own, as a person would. With --shots DIR it
 * prints "shot NAME" at each dialog and waits for DIR\NAME.done. */
#include <windows.h>
#include <stdio.h>
#include <string.h>

#include "zemi40.h"

enum { ID_TEXT = 100, ID_ITEMS = 106, ID_FUNCTIONS = 107, ID_TIMES = 110,
       ID_EXPRESSIONS = 114, ID_MODE_RANGE = 135, ID_ERROR_TEXT = 200,
       ID_ERROR_OK = 202, WAIT_MS = 5000 };

static LONG passed, failed;
static const char *shotDir;
static HEC ec;

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
static int isError(HWND w) { return GetDlgItem(w, ID_ERROR_TEXT) && !classIs(w, "#32770"); }
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

/* Whether the field's text, or with `selected` its selection, becomes `want`:
 * positions read in characters, the text compared in the code page's bytes. */
static int waitText(HWND field, const char *want, int selected) {
    WCHAR text[512];
    char seen[512] = "";
    for (int waited = 0; waited < WAIT_MS; waited += 20, Sleep(20)) {
        DWORD start = 0, end = (DWORD)GetWindowTextW(field, text, 512), length = end;
        if (selected) SendMessageW(field, EM_GETSEL, (WPARAM)&start, (LPARAM)&end);
        int n = start < end && end <= length ? (int)(end - start) : 0;
        seen[WideCharToMultiByte(CP_ACP, 0, text + start, n, seen, sizeof(seen) - 1, 0, 0)] = 0;
        if (strcmp(seen, want) == 0) return 1;
    }
    fprintf(stderr, "  %s \"%s\", not \"%s\"\n", selected ? "selected" : "text is", seen, want);
    return 0;
}

static void press(HWND dialog, int id) { PostMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }

static int pick(HWND dialog, int listId, const char *text) {  /* a double click on its row */
    HWND list = GetDlgItem(dialog, listId);
    LRESULT row = SendMessageA(list, LB_FINDSTRINGEXACT, (WPARAM)-1, (LPARAM)text);
    if (row < 0) return 0;
    SendMessageA(list, LB_SETCURSEL, row, 0);
    PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(listId, LBN_DBLCLK), (LPARAM)list);
    return 1;
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

enum Op { END, PICK, PRESS, TEXT, SELECTED, FIX, SHOT, REPORT };
struct Step { enum Op op; int id; const char *text; };
#define PICKED(list, name, after) {PICK, list, name}, {TEXT, 0, after}

static const struct Step priceQty[] = {
    PICKED(ID_ITEMS, "Price", "Price"), {PRESS, ID_TIMES, 0}, {TEXT, 0, "Price * "},
    PICKED(ID_ITEMS, "Qty", "Price * Qty"), {SHOT, 0, "builder-formula"}, {PRESS, IDOK, 0}, {END, 0, 0}};
/* From the Set's template to the Range's by its button: the first word is
 * selected, a pick replaces it and selects the next. */
static const struct Step range[] = {
    {TEXT, 0, "Expression, Expression [,Expression...]"}, {SHOT, 0, "builder-set"}, {PRESS, ID_MODE_RANGE, 0},
    {SELECTED, 0, "Expression"}, {SHOT, 0, "builder-range"}, PICKED(ID_ITEMS, "Price", "Price AND Expression"),
    {SELECTED, 0, "Expression"}, PICKED(ID_ITEMS, "Qty", "Price AND Qty"), {PRESS, IDOK, 0}, {END, 0, 0}};

/* The repair of a loaded text: the builder marks the faulty span and a moment
 * later the load error comes over it, marking the same: a string of two
 * double-byte characters, 6 bytes that the edit control may count as 4. */
#define SPAN "\"\x89\xbf\x8a\x69\""
#define REPAIR_OPENS {SELECTED, 0, SPAN}, {REPORT, 0, SPAN}
/* A pick takes the span's place; a fix that fails again shows its error, span
 * selected, over the builder, which stays; one that calls a later expression
 * waits for it. */
static const struct Step repairPicked[] = {
    REPAIR_OPENS, {SHOT, 0, "repair"}, PICKED(ID_ITEMS, "Price", "Price + Pric"), {FIX, 0, "Price + Qtx"},
    {REPORT, 0, "Qtx"}, {FIX, 0, "Double() + 1"}, {END, 0, 0}};
static const struct Step repairFixed[] = {REPAIR_OPENS, {FIX, 0, "Price + 1"}, {END, 0, 0}};
static const struct Step repairCancelled[] = {REPAIR_OPENS, {PRESS, IDCANCEL, 0}, {END, 0, 0}};

static const struct Step *steps;

static void runSteps(void) {
    HWND b = waitFor(isBuilder), field = GetDlgItem(b, ID_TEXT), error = 0;
    if (!CHECK(b)) return;
    for (const struct Step *s = steps;; s++) {
        int ok = 1;
        switch (s->op) {
        case PICK: ok = pick(b, s->id, s->text); break;
        case PRESS: press(b, s->id); break;
        case TEXT: case SELECTED: ok = waitText(field, s->text, s->op == SELECTED); break;
        case FIX:  /* typed over the whole text, then OK */
            SendMessageA(field, EM_SETSEL, 0, -1);
            SendMessageA(field, EM_REPLACESEL, TRUE, (LPARAM)s->text);
            press(b, IDOK);
            break;
        case SHOT: shot(s->text); break;
        case REPORT:  /* an error dialog: its span, then OK */
            error = waitFor(isError);
            ok = error && waitText(GetDlgItem(error, ID_ERROR_TEXT), s->text, 1);
            press(error, ID_ERROR_OK);
            ok = waitGone(error) && ok;
            break;
        case END: CHECK(waitGone(b)); return;
        }
        if (!ok) fprintf(stderr, "  step %d of a session\n", (int)(s - steps));
        CHECK(ok);
    }
}

/* The values window opens beside the functions list for the start item and a
 * double click inserts a quoted literal. */
static void driveValues(void) {
    RECT list, own;
    HWND b = waitFor(isBuilder), values = waitFor(isValues);
    if (!CHECK(b && values)) return;
    GetWindowRect(GetDlgItem(b, ID_FUNCTIONS), &list);
    GetWindowRect(values, &own);
    CHECK(own.left == list.right && own.top == list.top + (list.bottom - list.top) / 4);
    SetForegroundWindow(values);  /* as a click on it would */
    shot("values");
    CHECK(pick(values, ID_TEXT, "O'Brien"));
    CHECK(waitText(GetDlgItem(b, ID_TEXT), "'O''Brien'", 0));
    press(b, IDCANCEL);
    CHECK(waitGone(b));
}

/* A report on its own: the span is selected after the first paint; Return
 * reaches OK. */
static void driveError(void) {
    HWND e = waitFor(isError), field = GetDlgItem(e, ID_ERROR_TEXT);
    CHECK(e && waitText(field, "Qtx", 1));
    shot("error");
    PostMessageA(field, WM_KEYDOWN, VK_RETURN, 1);
    CHECK(waitGone(e));
}

/* A dialog the driver left open (a failed step) is closed, so that the host's call returns. */
static DWORD WINAPI driverThread(LPVOID driver) {
    HWND w;
    ((void (*)(void))driver)();
    while ((w = findWindow(isError)) || (w = findWindow(isBuilder))) {
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
    HANDLE driver = startDriver(script ? runSteps : driveValues);
    HEXP exp = ZEMBuildExpressionOfType(0, ec, 0, 0, type, startItem);
    endDriver(driver);
    if (exp) ZEMGetExpressionText(ec, exp, sizeof(text), text);
    if (!CHECK(strcmp(text, saved) == 0)) fprintf(stderr, "  saved \"%s\", not \"%s\"\n", text, saved);
    return exp;
}

/* A block of version 3: twenty empty operator names, the input item Price (an
 * 85-byte record: kind 1, type Number, the name at 12), then the text and
 * name of each expression: Total, which no longer parses, and Double. */
#define Z10 "\0\0\0\0\0\0\0\0\0\0"
static const char block[] = "\3" Z10 Z10 "\xfa\0\1\0\1" Z10 "\0Price" Z10 Z10 Z10 Z10 Z10 Z10
                            "\0\0\0\0\0\0\0\0\0\xfc\0\2\0" SPAN " + Pric\0Total\0Price * 2\0Double";

/* Total, first in the store, has the text given; without one the repair is
 * cancelled and the load fails. */
static void repair(const struct Step *script, const char *total) {
    char text[64] = "";
    HEC loaded = ZEMCreateEC(0, 0, 0, 0);
    steps = script;
    HANDLE driver = startDriver(runSteps);
    int result = ZEMSetECContents(loaded, sizeof(block), block, 1, 0);
    endDriver(driver);
    if (!total) {
        CHECK(result == 0);
        ZEMDestroyEC(loaded);
        return;
    }
    HEXP first = ZEMHEXPFromOrdinal(loaded, 0);
    if (first) ZEMGetExpressionText(loaded, first, sizeof(text), text);
    CHECK(result == 1 && first == ZEMHEXPFromName(loaded, "Total") && ZEMGetExpressionCount(loaded) == 2);
    if (!CHECK(strcmp(text, total) == 0)) fprintf(stderr, "  repaired \"%s\", not \"%s\"\n", text, total);
    ZEMDestroyEC(loaded);
}

static void ZEMCALL listValues(HEC context, const char *itemName, HZEMWND list, int32_t refresh, int32_t *keep) {
    (void)context, (void)itemName, (void)refresh, (void)keep;
    SendMessageA((HWND)list, LB_ADDSTRING, 0, (LPARAM) "O'Brien");
}

static void addItem(const char *name, int type) {
    unsigned char record[ZEM_EXPITEM_SIZE(1)];
    ExpItem *item = (ExpItem *)record;
    memset(record, 0, sizeof(record));
    item->kind = ZEM_ITEM_INPUT, item->dataType = (int16_t)type;
    strcpy(item->name, name);
    CHECK(ZEMAddExpressionItem(ec, item) == 1);
}

int main(int argc, char **argv) {
    if (argc == 3 && strcmp(argv[1], "--shots") == 0) shotDir = argv[2];
    ec = ZEMCreateEC(0, 0, 0, ECFlagModulo | ECFlagRangesAndSets);
    CHECK(ec && FUNDefineFunctions(ec));
    addItem("Price", ZEM_TYPE_NUMBER);
    addItem("Qty", ZEM_TYPE_NUMBER);
    addItem("Name", ZEM_TYPE_STRING);
    ZEMSetListValuesCallback(ec, listValues);
    build(priceQty, 0, "", "Price * Qty");
    CHECK(ZEMIsExpRange(ec, build(range, 1, "", "Price AND Qty"), 2));
    build(0, 0, "Name", "");
    repair(repairPicked, "Double() + 1");
    repair(repairFixed, "Price + 1");
    repair(repairCancelled, 0);
    ExpError error = {110, 8, 3};
    HANDLE driver = startDriver(driveError);
    CHECK(ZEMErrorDisplay(0, "Price * Qtx", &error) == 1);
    endDriver(driver);
    printf("%ld passed, %ld failed\n", passed, failed);
    ZEMDestroyEC(ec);
    return failed != 0;
}
