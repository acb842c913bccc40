// The block reader's repair over real windows: a text of the block that no
// longer parses opens the builder in repair mode, the load error comes up
// over it a moment later with the faulty span selected in both, and what
// the user does then decides the load. A second thread finds the dialogs
// and drives them by window messages; a driver that loses its way closes
// what is open, so that the load ends and the test fails. With ZEM_SHOTS
// set to a folder it prints "shot NAME" and waits for FOLDER\NAME.done, so
// that a script can take screenshots: the builder in repair mode, and the
// load error on its own (under wine in a virtual X server without a window
// manager, any modal window over the builder shows black in a screenshot,
// the system's message boxes too, though it works and its content is there).
#include <windows.h>

#include <stdio.h>
#include <string>
#include <vector>

#include "builder/builder.h"
#include "context/expressions.h"
#include "support.h"

namespace {

enum { WAIT_MS = 5000, POLL_MS = 20 };

struct Seen {
    DWORD thread;
    std::vector<std::string> fixes;  // typed and saved with OK in turn; none: Cancel
    HWND builder = nullptr, error = nullptr;
    bool errorAtFirst = false, nameEnabled = true;
    int errorControls = 0;
    DWORD waited = 0;  // from the builder to the error dialog, in milliseconds
    std::string name, errorText, builderText;
    std::vector<std::string> refused;  // the texts of the errors shown over fixes
    int32_t errorStart = 0, errorEnd = 0, builderStart = 0, builderEnd = 0;
};

BOOL CALLBACK countChild(HWND, LPARAM count) {
    ++*(int *)count;
    return TRUE;
}

// A dialog shows once it has set its controls.
BOOL CALLBACK findDialogs(HWND w, LPARAM p) {
    Seen *seen = (Seen *)p;
    if (!IsWindowVisible(w)) return TRUE;
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
void selectionOf(HWND field, int32_t *start, int32_t *end) {
    Ui()->getSelection(field, start, end);
}

template <typename F>
bool waitFor(Seen *seen, F test) {
    for (int waited = 0; waited < WAIT_MS; waited += POLL_MS) {
        look(seen);
        if (test()) return true;
        Sleep(POLL_MS);
    }
    return false;
}

void press(HWND dialog, int id) { PostMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }

// Types over the whole text, as a user who selects all first.
void typeText(HWND dialog, const std::string &text) {
    HWND field = GetDlgItem(dialog, ID_TEXT);
    SendMessageA(field, EM_SETSEL, 0, -1);
    SendMessageA(field, EM_REPLACESEL, TRUE, (LPARAM)text.c_str());
}

DWORD giveUp(Seen *seen) {
    for (int i = 0; i < WAIT_MS / 100; i++) {
        look(seen);
        if (seen->error) press(seen->error, ID_ERROR_OK);
        else if (seen->builder) press(seen->builder, ID_CANCEL);
        else break;
        Sleep(100);
    }
    return 1;
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

// The builder as it opens for the repair, and the load error over it.
bool lookAtRepair(Seen *seen) {
    if (!waitFor(seen, [&] { return seen->builder != nullptr; })) return false;
    seen->errorAtFirst = seen->error != nullptr;
    DWORD from = GetTickCount();
    HWND name = GetDlgItem(seen->builder, ID_NAME);
    seen->name = textOf(name);
    seen->nameEnabled = IsWindowEnabled(name);
    if (!waitFor(seen, [&] { return seen->error != nullptr; })) return false;
    seen->waited = GetTickCount() - from;
    Sleep(300);  // the span is selected after the first paint
    HWND field = GetDlgItem(seen->error, ID_ERROR_TEXT);
    seen->errorText = textOf(field);
    selectionOf(field, &seen->errorStart, &seen->errorEnd);
    EnumChildWindows(seen->error, countChild, (LPARAM)&seen->errorControls);
    press(seen->error, ID_ERROR_OK);
    if (!waitFor(seen, [&] { return !seen->error && seen->builder; })) return false;
    HWND text = GetDlgItem(seen->builder, ID_TEXT);
    seen->builderText = textOf(text);
    selectionOf(text, &seen->builderStart, &seen->builderEnd);
    screenshot("repair");
    return true;
}

// Each fix but the last fails again: its error comes over the builder,
// which stays open for the next.
DWORD WINAPI drive(void *p) {
    Seen *seen = (Seen *)p;
    if (!lookAtRepair(seen)) return giveUp(seen);
    for (size_t i = 0; i < seen->fixes.size(); i++) {
        typeText(seen->builder, seen->fixes[i]);
        press(seen->builder, ID_OK);
        if (i + 1 == seen->fixes.size()) break;
        if (!waitFor(seen, [&] { return seen->error != nullptr; })) return giveUp(seen);
        seen->refused.push_back(textOf(GetDlgItem(seen->error, ID_ERROR_TEXT)));
        press(seen->error, ID_ERROR_OK);
        if (!waitFor(seen, [&] { return !seen->error && seen->builder; })) return giveUp(seen);
    }
    if (seen->fixes.empty()) press(seen->builder, ID_CANCEL);
    return waitFor(seen, [&] { return !seen->builder && !seen->error; }) ? 0 : giveUp(seen);
}

// The load error on its own, for the screenshot.
DWORD WINAPI shootLoadError(void *p) {
    Seen *seen = (Seen *)p;
    if (!waitFor(seen, [&] { return seen->error != nullptr; })) return 1;
    screenshot("load-error");
    press(seen->error, ID_ERROR_OK);
    return 0;
}

// The input item Price, then the expressions Total, whose text is given,
// and Double.
std::string blockOf(const char *total) {
    std::string block(21, '\0');  // the version, twenty empty operator names
    block[0] = 3;
    std::string item(85, '\0');  // kind 1, type Number, no function name
    item[0] = 1;
    item.replace(12, 5, "Price");
    block += std::string("\xfa\0\1\0", 4) + item + '\0' + std::string("\xfc\0\2\0", 4);
    for (const char *text : {total, "Total", "Price * 2", "Double"})
        block += text + std::string(1, '\0');
    return block;
}

TEST(RepairDialog, TheUsersRepairDecidesTheLoad) {
    // Two double-byte characters before the span, under code page 932.
    const char *broken = "\"\x89\xbf\x8a\x69\" + Pric";
    std::string block = blockOf(broken);
    HEC scratch = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    ExpError expected = ParseFails(scratch, broken);
    ZEMDestroyEC(scratch);
    struct Case {
        std::vector<std::string> fixes;
        int result;
        std::vector<std::string> stored;  // name and text, in the store's order
    } cases[] = {
        {{"Price + 1"}, 1, {"Total: Price + 1", "Double: Price * 2"}},
        {{"Price ++", "Price - 1"}, 1, {"Total: Price - 1", "Double: Price * 2"}},
        {{"Double() + 1"}, 1, {"Total: Double() + 1", "Double: Price * 2"}},  // waits for Double
        {{}, 0, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.fixes.empty() ? "cancelled" : c.fixes.back());
        LeakCheck leaks;
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        Seen seen;
        seen.thread = GetCurrentThreadId();
        seen.fixes = c.fixes;
        HANDLE driver = CreateThread(nullptr, 0, drive, &seen, 0, nullptr);
        int result = ZEMSetECContents(ec, (int32_t)block.size(), block.data(), 1, nullptr);
        WaitForSingleObject(driver, 6 * WAIT_MS);
        DWORD driven = 1;
        GetExitCodeThread(driver, &driven);
        CloseHandle(driver);
        std::vector<std::string> stored;
        for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++) {
            HEXP exp = ZEMHEXPFromOrdinal(ec, i);
            stored.push_back(std::string(exp->name) + ": " + exp->text);
        }
        ZEMDestroyEC(ec);

        EXPECT_EQ(0u, driven) << "the driver found every dialog it waited for";
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.stored, stored);
        EXPECT_EQ("Total", seen.name);
        EXPECT_FALSE(seen.nameEnabled) << "a repair keeps the record's name";
        EXPECT_FALSE(seen.errorAtFirst) << "the error waits for the builder's timer";
        EXPECT_GE(seen.waited, 500u) << "a moment after the builder";
        EXPECT_EQ(broken, seen.errorText);
        EXPECT_EQ((int32_t)expected.start, seen.errorStart);
        EXPECT_EQ((int32_t)(expected.start + expected.length), seen.errorEnd);
        EXPECT_EQ(4, seen.errorControls) << "the load form has the request to correct";
        EXPECT_EQ(broken, seen.builderText);
        EXPECT_EQ((int32_t)expected.start, seen.builderStart) << "the builder marks the same span";
        EXPECT_EQ((int32_t)(expected.start + expected.length), seen.builderEnd);
        std::vector<std::string> refused(c.fixes.begin(), c.fixes.end() - !c.fixes.empty());
        EXPECT_EQ(refused, seen.refused) << "a fix that fails again is shown, the builder stays";
    }
    if (getenv("ZEM_SHOTS")) {
        Seen seen;
        seen.thread = GetCurrentThreadId();
        HANDLE shooter = CreateThread(nullptr, 0, shootLoadError, &seen, 0, nullptr);
        showLoadError(nullptr, broken, &expected);
        WaitForSingleObject(shooter, 2 * WAIT_MS);
        CloseHandle(shooter);
    }
}

}  // namespace
