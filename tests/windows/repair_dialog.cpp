// The builder in repair mode as the block reader opens it, with real windows:
// the load error dialog comes up over the builder a moment after it, with
// the faulty span selected; then the user closes both. A second thread
// finds the dialogs and drives them by window messages. With ZEM_SHOTS set
// to a folder it prints "shot NAME" and waits for FOLDER\NAME.done, so that
// a script can take screenshots: the builder in repair mode, and the load
// error on its own (under wine in a virtual X server without a window
// manager, any modal window over the builder shows black in a screenshot,
// the system's message boxes too, though it works and its content is there).
#include <windows.h>

#include <stdio.h>
#include <string>

#include "builder/builder.h"
#include "context/threadblock.h"
#include "support.h"

namespace {

struct Seen {
    DWORD thread;
    HWND builder = nullptr, error = nullptr;
    bool errorAtFirst = false, errorGone = false;
    int errorControls = 0;
    DWORD waited = 0;  // from the builder to the error dialog, in milliseconds
    std::string errorText, builderText;
    int32_t errorStart = 0, errorEnd = 0, builderStart = 0, builderEnd = 0;
};

BOOL CALLBACK countChild(HWND, LPARAM count) {
    ++*(int *)count;
    return TRUE;
}

BOOL CALLBACK findDialogs(HWND w, LPARAM p) {
    Seen *seen = (Seen *)p;
    if (GetDlgItem(w, ID_EXPRESSIONS)) seen->builder = w;
    else if (GetDlgItem(w, ID_ERROR_TEXT) && GetDlgItem(w, ID_ERROR_OK)) seen->error = w;
    return TRUE;
}

void look(Seen *seen) {
    seen->builder = seen->error = nullptr;
    EnumThreadWindows(seen->thread, findDialogs, (LPARAM)seen);
}

std::string textOf(HWND w) {
    char text[256] = "";
    GetWindowTextA(w, text, sizeof(text));
    return text;
}

// In bytes, as the library counts; the control may count characters.
void selectionOf(HWND field, int32_t *start, int32_t *end) { Ui()->getSelection(field, start, end); }

// Polls for up to ten seconds until the test holds.
template <typename F>
bool waitFor(Seen *seen, F test) {
    for (int i = 0; i < 500; i++) {
        look(seen);
        if (test()) return true;
        Sleep(20);
    }
    return false;
}

void screenshot(const char *name) {
    const char *dir = getenv("ZEM_SHOTS");
    if (!dir) return;
    Sleep(500);  // the last paint
    std::string done = std::string(dir) + "\\" + name + ".done";
    printf("shot %s\n", name);
    fflush(stdout);
    for (int i = 0; i < 1000 && GetFileAttributesA(done.c_str()) == INVALID_FILE_ATTRIBUTES; i++)
        Sleep(20);
}

DWORD WINAPI drive(void *p) {
    Seen *seen = (Seen *)p;
    if (!waitFor(seen, [&] { return seen->builder != nullptr; })) return 1;
    seen->errorAtFirst = seen->error != nullptr;
    DWORD from = GetTickCount();
    if (!waitFor(seen, [&] { return seen->error != nullptr; })) return 1;
    seen->waited = GetTickCount() - from;
    Sleep(300);  // the span is selected after the first paint
    HWND field = GetDlgItem(seen->error, ID_ERROR_TEXT);
    seen->errorText = textOf(field);
    selectionOf(field, &seen->errorStart, &seen->errorEnd);
    EnumChildWindows(seen->error, countChild, (LPARAM)&seen->errorControls);
    PostMessageA(GetDlgItem(seen->error, ID_ERROR_OK), BM_CLICK, 0, 0);
    seen->errorGone = waitFor(seen, [&] { return seen->error == nullptr; });
    HWND text = GetDlgItem(seen->builder, ID_TEXT);
    seen->builderText = textOf(text);
    selectionOf(text, &seen->builderStart, &seen->builderEnd);
    screenshot("repair");
    PostMessageA(GetDlgItem(seen->builder, ID_CANCEL), BM_CLICK, 0, 0);
    return 0;
}

// The load error on its own, for the screenshot.
DWORD WINAPI shootLoadError(void *p) {
    Seen *seen = (Seen *)p;
    if (!waitFor(seen, [&] { return seen->error != nullptr; })) return 1;
    screenshot("load-error");
    PostMessageA(GetDlgItem(seen->error, ID_ERROR_OK), BM_CLICK, 0, 0);
    return 0;
}

TEST(RepairDialog, LoadErrorComesOverTheBuilderAfterAMoment) {
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    AddItem(ec, ZEM_ITEM_INPUT, "Price", ZEM_TYPE_NUMBER);
    // Two double-byte characters before the span, under code page 932.
    char text[] = "\x89\xbf\x8a\x69 + Pric", name[] = "Total";
    ThreadBlock *tb = threadBlock();
    tb->repairMode = 1;
    tb->repairText = text;
    tb->repairName = name;
    tb->lastError = {ERR_VAR, 7, 4};
    Seen seen;
    seen.thread = GetCurrentThreadId();
    HANDLE driver = CreateThread(nullptr, 0, drive, &seen, 0, nullptr);
    HEXP saved = runBuilder(nullptr, ec, nullptr, 0, 0, "");
    WaitForSingleObject(driver, 20000);
    DWORD driven = 1;
    GetExitCodeThread(driver, &driven);
    CloseHandle(driver);
    tb->repairMode = 0;

    EXPECT_EQ(0u, driven) << "the driver found both dialogs";
    EXPECT_EQ(nullptr, saved);
    EXPECT_FALSE(seen.errorAtFirst) << "the error waits for the builder's timer";
    EXPECT_GE(seen.waited, 500u) << "a moment after the builder";
    EXPECT_EQ(text, seen.errorText);
    EXPECT_EQ(7, seen.errorStart);
    EXPECT_EQ(11, seen.errorEnd);
    EXPECT_EQ(4, seen.errorControls) << "the load form has the request to correct";
    EXPECT_TRUE(seen.errorGone);
    EXPECT_EQ(text, seen.builderText);
    EXPECT_EQ(7, seen.builderStart) << "the builder marks the same span";
    EXPECT_EQ(11, seen.builderEnd);
    ZEMDestroyEC(ec);
    if (getenv("ZEM_SHOTS")) {
        HANDLE shooter = CreateThread(nullptr, 0, shootLoadError, &seen, 0, nullptr);
        showLoadError(nullptr, text, &tb->lastError);
        WaitForSingleObject(shooter, 20000);
        CloseHandle(shooter);
    }
}

}  // namespace
