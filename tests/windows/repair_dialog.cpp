// The block reader's repair over real windows: a text of the block that no
// longer parses opens the builder in repair mode, the load error comes over it
// a moment later with the faulty span selected in both, and what the user does
// then decides the load. A second thread drives the dialogs by window messages.
// With ZEM_SHOTS set to a folder it prints "shot NAME" and waits for
// FOLDER\NAME.done.
#include <windows.h>

#include <stdio.h>
#include <string>
#include <vector>

#include "builder/builder.h"
#include "context/expressions.h"
#include "support.h"

namespace {

enum { WAIT_MS = 5000 };
typedef std::vector<std::string> Strings;

struct Seen {
    DWORD thread;
    Strings fixes;  // typed and saved with OK in turn; none: Cancel
    HWND builder = nullptr, error = nullptr;
    bool errorAtFirst = false, nameEnabled = true;
    int errorControls = 0;
    DWORD waited = 0;  // from the builder to the error dialog
    std::string name;
    Strings texts, refused;  // the error's and the builder's; the errors shown over fixes
    std::vector<int32_t> spans;  // of the error and the builder, in bytes
};

BOOL CALLBACK countChild(HWND, LPARAM count) { return ++*(int *)count, TRUE; }
BOOL CALLBACK findDialogs(HWND w, LPARAM p) {
    Seen *seen = (Seen *)p;
    if (!IsWindowVisible(w)) return TRUE;  // a dialog shows once it has set its controls
    if (GetDlgItem(w, ID_EXPRESSIONS)) seen->builder = w;
    else if (GetDlgItem(w, ID_ERROR_TEXT) && GetDlgItem(w, ID_ERROR_OK)) seen->error = w;
    return TRUE;
}
std::string textOf(HWND w) {
    char text[256] = "";
    GetWindowTextA(w, text, sizeof(text));
    return text;
}
void look(Seen *seen) {
    seen->builder = seen->error = nullptr;
    EnumThreadWindows(seen->thread, findDialogs, (LPARAM)seen);
}
// Whether each dialog is open or not as wanted within the wait.
bool waitFor(Seen *seen, bool builder, bool error) {
    for (int waited = 0; waited < WAIT_MS; waited += 20, Sleep(20))
        if (look(seen), !seen->builder == !builder && !seen->error == !error) return true;
    return false;
}
void press(HWND dialog, int id) { PostMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
DWORD giveUp(Seen *seen) {  // closes what is open
    look(seen);
    for (int i = 0; i < WAIT_MS / 100 && (seen->error || seen->builder); i++, Sleep(100), look(seen))
        press(seen->error ? seen->error : seen->builder, seen->error ? ID_ERROR_OK : ID_CANCEL);
    return 1;
}
void screenshot(const char *name) {
    const char *dir = getenv("ZEM_SHOTS");
    if (!dir) return;
    Sleep(500);  // the last paint
    std::string done = std::string(dir) + "\\" + name + ".done";
    printf("shot %s\n", name);
    fflush(stdout);
    for (int i = 0; i < 1000 && GetFileAttributesA(done.c_str()) == INVALID_FILE_ATTRIBUTES; i++) Sleep(20);
}
void seeText(Seen *seen, HWND field) {
    int32_t start, end;
    Ui()->getSelection(field, &start, &end);
    seen->texts.push_back(textOf(field)), seen->spans.push_back(start), seen->spans.push_back(end);
}

// The builder as it opens for the repair, the load error over it, then each
// fix: all but the last fail again, their error comes over the builder, which
// stays open for the next.
DWORD WINAPI drive(void *p) {
    Seen *seen = (Seen *)p;
    if (!waitFor(seen, true, false) && !seen->builder) return giveUp(seen);
    seen->errorAtFirst = seen->error != nullptr;
    DWORD from = GetTickCount();
    HWND name = GetDlgItem(seen->builder, ID_NAME), field;
    seen->name = textOf(name), seen->nameEnabled = IsWindowEnabled(name);
    if (!waitFor(seen, true, true)) return giveUp(seen);
    seen->waited = GetTickCount() - from;
    Sleep(300);  // the span is selected after the first paint
    seeText(seen, GetDlgItem(seen->error, ID_ERROR_TEXT));
    EnumChildWindows(seen->error, countChild, (LPARAM)&seen->errorControls);
    press(seen->error, ID_ERROR_OK);
    if (!waitFor(seen, true, false)) return giveUp(seen);
    seeText(seen, field = GetDlgItem(seen->builder, ID_TEXT));
    screenshot("repair");
    for (size_t i = 0; i < seen->fixes.size(); i++) {
        SendMessageA(field, EM_SETSEL, 0, -1);  // typed over the whole text
        SendMessageA(field, EM_REPLACESEL, TRUE, (LPARAM)seen->fixes[i].c_str());
        press(seen->builder, ID_OK);
        if (i + 1 == seen->fixes.size()) break;
        if (!waitFor(seen, true, true)) return giveUp(seen);
        seen->refused.push_back(textOf(GetDlgItem(seen->error, ID_ERROR_TEXT)));
        press(seen->error, ID_ERROR_OK);
        if (!waitFor(seen, true, false)) return giveUp(seen);
    }
    if (seen->fixes.empty()) press(seen->builder, ID_CANCEL);
    return waitFor(seen, false, false) ? 0 : giveUp(seen);
}

DWORD WINAPI shootLoadError(void *p) {  // the load error on its own
    Seen *seen = (Seen *)p;
    if (!waitFor(seen, false, true)) return 1;
    screenshot("load-error");
    press(seen->error, ID_ERROR_OK);
    return 0;
}

// The input item Price, then the expressions Total, whose text is given, and Double.
std::string blockOf(const char *total) {
    std::string block(21, '\0'), item(85, '\0');  // the version, twenty empty operator names
    block[0] = 3, item[0] = 1;                     // kind 1, type Number, no function name
    item.replace(12, 5, "Price");
    block += std::string("\xfa\0\1\0", 4) + item + '\0' + std::string("\xfc\0\2\0", 4);
    for (const char *text : {total, "Total", "Price * 2", "Double"}) block += text + std::string(1, '\0');
    return block;
}

TEST(RepairDialog, TheUsersRepairDecidesTheLoad) {
    const char *broken = "\"\x89\xbf\x8a\x69\" + Pric";  // two double-byte characters before the span
    std::string block = blockOf(broken);
    HEC scratch = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    ExpError expected = ParseFails(scratch, broken);
    ZEMDestroyEC(scratch);
    int32_t start = (int32_t)expected.start, end = (int32_t)(expected.start + expected.length);
    struct Case { Strings fixes; int result; Strings stored; } cases[] = {  // stored: in the store's order
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
        seen.thread = GetCurrentThreadId(), seen.fixes = c.fixes;
        HANDLE driver = CreateThread(nullptr, 0, drive, &seen, 0, nullptr);
        int result = ZEMSetECContents(ec, (int32_t)block.size(), block.data(), 1, nullptr);
        WaitForSingleObject(driver, 6 * WAIT_MS);
        DWORD driven = 1;
        GetExitCodeThread(driver, &driven);
        CloseHandle(driver);
        Strings stored;
        for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++)
            stored.push_back(std::string(ZEMHEXPFromOrdinal(ec, i)->name) + ": " + ZEMHEXPFromOrdinal(ec, i)->text);
        ZEMDestroyEC(ec);
        EXPECT_EQ(0u, driven) << "the driver found every dialog it waited for";
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.stored, stored);
        EXPECT_TRUE(seen.name == "Total" && !seen.nameEnabled) << "a repair keeps the record's name";
        EXPECT_FALSE(seen.errorAtFirst) << "the error waits for the builder's timer";
        EXPECT_GE(seen.waited, 500u) << "a moment after the builder";
        EXPECT_EQ(Strings({broken, broken}), seen.texts);
        EXPECT_EQ(std::vector<int32_t>({start, end, start, end}), seen.spans) << "both mark the same span";
        EXPECT_EQ(4, seen.errorControls) << "the load form has the request to correct";
        Strings refused(c.fixes.begin(), c.fixes.end() - !c.fixes.empty());
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
