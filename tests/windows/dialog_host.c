/* A host of zemi40.dll that opens the real dialogs and drives them as a
 * person would, only by window messages from a thread of its own: button
 * presses, list picks with a double click, typed characters, answers to
 * message boxes. It checks what the library saved and what the windows
 * show. With --shots DIR it also stops at each dialog, prints "shot NAME"
 * and waits for DIR\NAME.done, so that a script can take a screenshot. */
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

static int check(int ok, const char *what, int line) {
    InterlockedIncrement(ok ? &passed : &failed);
    if (!ok) fprintf(stderr, "dialog_host.c:%d: check failed: %s\n", line, what);
    return ok;
}
#define CHECK(cond) check((cond) != 0, #cond, __LINE__)

/* ---- Finding the windows ------------------------------------------------ */

typedef int (*Match)(HWND);

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

struct Search {
    Match match;
    HWND found;
};

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

/* The window, once it is there; 0 after the wait. */
static HWND waitFor(Match match) {
    for (int waited = 0; waited < WAIT_MS; waited += 20) {
        HWND w = findWindow(match);
        if (w) return w;
        Sleep(20);
    }
    return 0;
}

static int waitGone(HWND window) {
    for (int waited = 0; waited < WAIT_MS && IsWindow(window); waited += 20) Sleep(20);
    return !IsWindow(window);
}

/* ---- Reading and acting ------------------------------------------------- */

static void textOf(HWND window, char *buffer, int size) {
    buffer[0] = 0;
    SendMessageA(window, WM_GETTEXT, size, (LPARAM)buffer);
}

/* Whether the control's text becomes `want` within the wait. */
static int waitText(HWND window, const char *want) {
    char text[512];
    for (int waited = 0; waited < WAIT_MS; waited += 20) {
        textOf(window, text, sizeof(text));
        if (strcmp(text, want) == 0) return 1;
        Sleep(20);
    }
    fprintf(stderr, "  text is \"%s\", not \"%s\"\n", text, want);
    return 0;
}

/* Whether the field's selection spells `want` within the wait. */
static int waitSelected(HWND field, const char *want) {
    char text[512], selected[512] = "";
    for (int waited = 0; waited < WAIT_MS; waited += 20) {
        DWORD start = 0, end = 0;
        SendMessageA(field, EM_GETSEL, (WPARAM)&start, (LPARAM)&end);
        textOf(field, text, sizeof(text));
        if (end <= strlen(text) && start <= end) {
            memcpy(selected, text + start, end - start);
            selected[end - start] = 0;
            if (strcmp(selected, want) == 0) return 1;
        }
        Sleep(20);
    }
    fprintf(stderr, "  selected \"%s\", not \"%s\"\n", selected, want);
    return 0;
}

static void press(HWND dialog, int id) { PostMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }

/* Selects the row of the text and double-clicks it. */
static int pick(HWND dialog, int listId, const char *text) {
    HWND list = GetDlgItem(dialog, listId);
    LRESULT row = SendMessageA(list, LB_FINDSTRINGEXACT, (WPARAM)-1, (LPARAM)text);
    if (row < 0) return 0;
    SendMessageA(list, LB_SETCURSEL, row, 0);
    PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(listId, LBN_DBLCLK), (LPARAM)list);
    return 1;
}

/* Selects a row of the expressions list as the arrow keys do. */
static void moveTo(HWND dialog, const char *name) {
    HWND list = GetDlgItem(dialog, ID_EXPRESSIONS);
    LRESULT row = SendMessageA(list, LB_FINDSTRINGEXACT, (WPARAM)-1, (LPARAM)name);
    SendMessageA(list, LB_SETCURSEL, row, 0);
    PostMessageA(list, WM_KEYUP, VK_DOWN, 0);
}

static void type(HWND field, const char *text) {
    for (; *text; text++) PostMessageA(field, WM_CHAR, (unsigned char)*text, 1);
}

/* Answers the message box that comes up with a button. */
static int answer(int button) {
    HWND box = waitFor(isMessageBox);
    if (!box) return 0;
    PostMessageA(GetDlgItem(box, button), BM_CLICK, 0, 0);
    return waitGone(box);
}

/* In --shots mode: waits while a script takes a screenshot. */
static void shot(const char *name) {
    char done[MAX_PATH];
    if (!shotDir) return;
    Sleep(300);  /* the last paint */
    printf("shot %s\n", name);
    fflush(stdout);
    snprintf(done, sizeof(done), "%s\\%s.done", shotDir, name);
    for (int waited = 0; waited < 20000 && GetFileAttributesA(done) == INVALID_FILE_ATTRIBUTES;
         waited += 50)
        Sleep(50);
}

/* ---- The host's context ------------------------------------------------- */

static char valuesAsked[65];
static int valuesRefresh = -1;

static void ZEMCALL listValues(HEC context, const char *itemName, HZEMWND list, int32_t refresh,
                               int32_t *keepEnabled) {
    (void)context, (void)keepEnabled;
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
    item->kind = ZEM_ITEM_INPUT;
    item->dataType = (int16_t)type;
    strcpy(item->name, name);
    CHECK(ZEMAddExpressionItem(ec, item) == 1);
}

static void expressionText(HEXP exp, char *buffer, int size) {
    buffer[0] = 0;
    ZEMGetExpressionText(ec, exp, size, buffer);
}

/* ---- Running a dialog with its driver ----------------------------------- */

typedef void (*Driver)(void);

/* After the driver: a dialog it left open (a failed step) is closed, so the
 * host's call returns. */
static void closeLeftovers(void) {
    HWND w;
    Sleep(100);
    while ((w = findWindow(isMessageBox)) || (w = findWindow(isError)) ||
           (w = findWindow(isBuilder))) {
        CHECK(!"a dialog was left open");
        PostMessageA(w, WM_COMMAND, IDCANCEL, 0);
        waitGone(w);
    }
}

static DWORD WINAPI driverThread(LPVOID driver) {
    ((Driver)driver)();
    closeLeftovers();
    return 0;
}

static HANDLE startDriver(Driver driver) { return CreateThread(0, 0, driverThread, (LPVOID)driver, 0, 0); }

static void endDriver(HANDLE thread) {
    CHECK(WaitForSingleObject(thread, 30000) == WAIT_OBJECT_0);
    CloseHandle(thread);
}

static HEXP build(Driver driver, int type, const char *startItem) {
    HANDLE thread = startDriver(driver);
    HEXP saved = ZEMBuildExpressionOfType(0, ec, 0, 0, type, startItem);
    endDriver(thread);
    return saved;
}

/* ---- The cases ---------------------------------------------------------- */

static char savedName[65], rangeName[65];

/* Price * Qty by two picks and the times button. */
static void drivePriceQty(void) {
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    HWND field = GetDlgItem(b, ID_TEXT);
    CHECK(pick(b, ID_ITEMS, "Price") && waitText(field, "Price"));
    press(b, ID_TIMES);
    CHECK(waitText(field, "Price * "));
    CHECK(pick(b, ID_ITEMS, "Qty") && waitText(field, "Price * Qty"));
    shot("builder-formula");
    textOf(GetDlgItem(b, ID_NAME), savedName, sizeof(savedName));
    press(b, IDOK);
    CHECK(waitGone(b));
}

/* A function arrives as a template with its first label selected; a pick
 * replaces it and the next label is selected. Cancel saves nothing. */
static void driveFunction(void) {
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    HWND field = GetDlgItem(b, ID_TEXT);
    CHECK(pick(b, ID_FUNCTIONS, "StrLeft"));
    CHECK(waitText(field, "StrLeft( String , Number )"));
    CHECK(waitSelected(field, "String"));
    CHECK(pick(b, ID_ITEMS, "Name") && waitText(field, "StrLeft( Name , Number )"));
    CHECK(waitSelected(field, "Number"));
    press(b, IDCANCEL);
    CHECK(waitGone(b));
}

static void driveRange(void) {
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    HWND field = GetDlgItem(b, ID_TEXT);
    CHECK(waitText(field, "Expression AND Expression"));
    CHECK(waitSelected(field, "Expression"));
    shot("builder-range");
    CHECK(pick(b, ID_ITEMS, "Price") && waitText(field, "Price AND Expression"));
    CHECK(waitSelected(field, "Expression"));
    CHECK(pick(b, ID_ITEMS, "Qty") && waitText(field, "Price AND Qty"));
    press(b, IDOK);
    CHECK(waitGone(b));
}

static void driveSet(void) {
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    HWND field = GetDlgItem(b, ID_TEXT);
    CHECK(waitText(field, "Expression, Expression [,Expression...]"));
    shot("builder-set");
    CHECK(pick(b, ID_ITEMS, "Price") && waitText(field, "Price, Expression [,Expression...]"));
    CHECK(pick(b, ID_ITEMS, "Qty") && waitText(field, "Price, Qty [,Expression...]"));
    CHECK(waitSelected(field, "[,Expression...]"));
    press(b, IDOK);
    CHECK(waitGone(b));
}

/* A Set typed in Formula mode: No keeps the builder open and saves nothing,
 * Yes saves the Set. */
static void driveKindQuestion(void) {
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    HWND field = GetDlgItem(b, ID_TEXT);
    type(field, "1, 2");
    CHECK(waitText(field, "1, 2"));
    int32_t before = ZEMGetExpressionCount(ec);
    press(b, IDOK);
    CHECK(answer(IDNO));
    Sleep(200);
    CHECK(IsWindow(b) && ZEMGetExpressionCount(ec) == before);
    press(b, IDOK);
    CHECK(answer(IDYES));
    CHECK(waitGone(b));
}

/* The text view shows the selected expression and follows the list. */
static void driveTextView(void) {
    char formula[512], range[512];
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    expressionText(ZEMHEXPFromName(ec, savedName), formula, sizeof(formula));
    expressionText(ZEMHEXPFromName(ec, rangeName), range, sizeof(range));
    moveTo(b, savedName);
    Sleep(200);
    CHECK(IsWindowEnabled(GetDlgItem(b, ID_SHOW_TEXT)));
    press(b, ID_SHOW_TEXT);
    HWND view = waitFor(isTextView);
    if (CHECK(view)) {
        char title[128];
        CHECK(waitText(GetDlgItem(view, ID_TEXT), formula));
        textOf(view, title, sizeof(title));
        CHECK(strstr(title, savedName) != 0);
        moveTo(b, rangeName);
        CHECK(range[0] && waitText(GetDlgItem(view, ID_TEXT), range));
    }
    press(b, IDCANCEL);
    CHECK(waitGone(b));
}

/* The values window opens at once for the start item, beside the functions
 * list, and a double click inserts the value as a quoted literal. */
static void driveValues(void) {
    RECT list, own;
    HWND b = waitFor(isBuilder);
    if (!CHECK(b)) return;
    HWND values = waitFor(isValues);
    if (CHECK(values)) {
        CHECK(strcmp(valuesAsked, "Name") == 0 && valuesRefresh == 1);
        GetWindowRect(GetDlgItem(b, ID_FUNCTIONS), &list);
        GetWindowRect(values, &own);
        CHECK(own.left == list.right && own.top == list.top + (list.bottom - list.top) / 4);
        SetForegroundWindow(values);  /* as a click on it would */
        shot("values");
        CHECK(pick(values, ID_TEXT, "O'Brien"));
        CHECK(waitText(GetDlgItem(b, ID_TEXT), "'O''Brien'"));
    }
    press(b, IDCANCEL);
    CHECK(waitGone(b));
}

/* The report's span is selected after the first paint; typing and clicks
 * change nothing; Return closes it. */
static void driveError(void) {
    HWND e = waitFor(isError);
    if (!CHECK(e)) return;
    HWND field = GetDlgItem(e, ID_ERROR_TEXT);
    char message[256];
    CHECK(waitSelected(field, "Qtx"));
    textOf(GetDlgItem(e, ID_ERROR_MESSAGE), message, sizeof(message));
    CHECK(message[0] != 0);
    shot("error");
    type(field, "zz");
    PostMessageA(field, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(2, 2));
    PostMessageA(field, WM_LBUTTONUP, 0, MAKELPARAM(2, 2));
    Sleep(300);
    CHECK(waitText(field, "Price * Qtx") && waitSelected(field, "Qtx"));
    PostMessageA(field, WM_KEYDOWN, VK_RETURN, 1);
    CHECK(waitGone(e));
}

static int32_t showError(void) {
    ExpError error = {110, 8, 3};
    HANDLE thread = startDriver(driveError);
    int32_t result = ZEMErrorDisplay(0, "Price * Qtx", &error);
    endDriver(thread);
    return result;
}

/* ---- A host's own CBCtrlEdit -------------------------------------------- */

static WNDPROC systemEdit;
static LONG hostEdits;

static LRESULT CALLBACK hostEditProc(HWND w, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CREATE) InterlockedIncrement(&hostEdits);
    return CallWindowProcA(systemEdit, w, message, wParam, lParam);
}

static int registerHostEdit(void) {
    WNDCLASSEXA wc;
    wc.cbSize = sizeof(wc);
    if (!GetClassInfoExA(0, "EDIT", &wc)) return 0;
    systemEdit = wc.lpfnWndProc;
    wc.lpfnWndProc = hostEditProc;
    wc.hInstance = GetModuleHandleA(0);
    wc.lpszClassName = "CBCtrlEdit";
    wc.style |= CS_GLOBALCLASS;
    return RegisterClassExA(&wc) != 0;
}

/* Registered after a dialog of the library has come and gone, the host's
 * class is the one the next dialog gets. */
static void hostClasses(void) {
    CHECK(showError() == 1);
    CHECK(registerHostEdit());
    CHECK(showError() == 1);
    CHECK(hostEdits == 1);
    CHECK(UnregisterClassA("CBCtrlEdit", GetModuleHandleA(0)));
    CHECK(showError() == 1);
    CHECK(hostEdits == 1);
}

static void comboBox(void) {
    char text[80] = "";
    HWND combo = CreateWindowA("COMBOBOX", "", CBS_DROPDOWNLIST | CBS_SORT, 0, 0, 100, 100, 0, 0, 0, 0);
    CHECK(ZEMLoadComboBox(ec, ZEM_ITEM_INPUT, combo) == 3);
    CHECK(SendMessageA(combo, CB_GETCOUNT, 0, 0) == 3);
    SendMessageA(combo, CB_GETLBTEXT, 0, (LPARAM)text);
    CHECK(strcmp(text, "Name") == 0);
    DestroyWindow(combo);
}

int main(int argc, char **argv) {
    char text[512];
    if (argc == 3 && strcmp(argv[1], "--shots") == 0) shotDir = argv[2];
    ec = ZEMCreateEC(0, 0, 0, ECFlagModulo | ECFlagRangesAndSets);
    CHECK(ec && FUNDefineFunctions(ec));
    addItem("Price", ZEM_TYPE_NUMBER);
    addItem("Qty", ZEM_TYPE_NUMBER);
    addItem("Name", ZEM_TYPE_STRING);
    ZEMSetListValuesCallback(ec, listValues);

    HEXP saved = build(drivePriceQty, 0, "");
    expressionText(saved, text, sizeof(text));
    CHECK(saved && strcmp(text, "Price * Qty") == 0 && ZEMHEXPFromName(ec, savedName) == saved);
    CHECK(build(driveFunction, 0, "") == 0);
    saved = build(driveRange, 2, "");
    expressionText(saved, text, sizeof(text));
    CHECK(saved && ZEMIsExpRange(ec, saved, 2) && strcmp(text, "Price AND Qty") == 0);
    ZEMGetExpressionName(ec, saved, sizeof(rangeName), rangeName);
    saved = build(driveSet, 1, "");
    expressionText(saved, text, sizeof(text));
    CHECK(saved && ZEMIsExpRange(ec, saved, 1) && strncmp(text, "Price, Qty", 10) == 0 &&
          !strstr(text, "Expression"));
    saved = build(driveKindQuestion, 0, "");
    CHECK(saved && ZEMIsExpRange(ec, saved, 1));
    CHECK(build(driveTextView, 0, "") == 0);
    CHECK(build(driveValues, 0, "Name") == 0);
    hostClasses();
    comboBox();

    printf("%ld passed, %ld failed\n", passed, failed);
    ZEMDestroyEC(ec);
    return failed != 0;
}
