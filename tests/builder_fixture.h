// In-memory windows for the builder's logic: dialogs and controls that keep
// texts, selections, rows and states, answer questions as a test says, and
// record questions, reports, timers, drawing and posted messages.
#ifndef ZEM_BUILDER_FIXTURE_H
#define ZEM_BUILDER_FIXTURE_H

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "builder/builder.h"

struct FakeWindow {
    UiDialog kind = UiBuilder;
    bool isDialog = false;
    int id = 0;
    FakeWindow *parent = nullptr;
    std::string text;
    int32_t selStart = 0, selEnd = 0;
    bool modified = false, enabled = true, shown = true, checked = false;
    int limit = 0;
    UiRect rect = {0, 0, 0, 0};
    std::vector<std::pair<std::string, intptr_t>> rows;
    int selected = -1, top = 0;
    bool sorted = false;
    int handler = -1;  // the UiHandler installed, -1 none
    std::vector<std::unique_ptr<FakeWindow>> children;
    bool ended = false, destroyed = false;
    intptr_t result = 0;
};

struct Question {
    std::string text, title;
    unsigned style;
};

struct Report {
    UiDialog kind;
    std::string text, message;
    uint32_t code, start, length;
};

struct Fixture {
    Fixture();
    ~Fixture();

    // What a modal dialog of a kind does while it runs; without one a
    // builder is cancelled at once and an error dialog is confirmed.
    std::function<void(HWND)> onBuilder;
    bool dialogsFail = false;
    std::deque<int> answers;  // for the questions, in order
    std::vector<Question> questions;
    std::vector<Report> reports;
    std::vector<std::string> drawn;
    std::string clipboard;
    struct Posted { HWND window; unsigned message; uintptr_t wParam; intptr_t lParam; };
    std::deque<Posted> posted;
    struct Timer { HWND window; unsigned id, ms; };
    std::vector<Timer> timers;
    HWND focused = nullptr;
    int beeps = 0, formerCalls = 0, wrongFormer = 0, bitmapsLoaded = 0, bitmapsFreed = 0;
    FakeWindow *builder = nullptr;  // the open builder dialog
    std::vector<std::unique_ptr<FakeWindow>> topWindows;

    static FakeWindow *W(HWND h) { return (FakeWindow *)h; }
    HWND item(int id) const;  // a control of the open builder
    FakeWindow *side(UiDialog kind) const;  // an open side window

    // What a user does.
    void press(int id);
    void pick(int listId, int row);      // select a row and double click it
    void select(int listId, int row);    // select a row by the mouse
    void type(int id, const std::string &text);  // replaces the field's text
    void selectText(int32_t start, int32_t end);
    void pump();  // delivers the posted messages
    std::string text(int id) const { return W(item(id))->text; }
    std::string selection() const;
    std::vector<std::string> rows(int id) const;
};

extern Fixture *gFixture;

#endif
