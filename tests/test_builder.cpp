// The formula builder's logic over in-memory windows: templates and
// placeholders, buttons, saving with its questions, lists, side windows,
// repair and the error dialogs.
#include <string.h>

#include <string>
#include <vector>

#include "builder/internal.h"
#include "builder_fixture.h"
#include "context/ec.h"
#include "context/expressions.h"
#include "context/threadblock.h"
#include "support.h"

bool operator==(const UiRect &a, const UiRect &b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

namespace {

void ZEMCALL noValues(HEC, const char *, HZEMWND, int32_t, int32_t *) {}
int ZEMCALL allowDelete(HEC, HEXP, HZEMWND) { return 1; }
int ZEMCALL refuseDelete(HEC, HEXP, HZEMWND) { return 0; }

// A context with three input items and a few functions, and the fixture.
struct Session : Fixture {
    HEC ec;
    explicit Session(bool values = true, uint16_t flags = ECFlagRangesAndSets) {
        ec = ZEMCreateEC(nullptr, nullptr, nullptr, flags);
        AddItem(ec, ZEM_ITEM_INPUT, "Price", ZEM_TYPE_NUMBER);
        AddItem(ec, ZEM_ITEM_INPUT, "Qty", ZEM_TYPE_NUMBER);
        AddItem(ec, ZEM_ITEM_INPUT, "Name", ZEM_TYPE_STRING);
        AddItem(ec, ZEM_ITEM_INPUT, "Rate", ZEM_TYPE_NUMBER);
        AddItem(ec, ZEM_ITEM_FUNCTION, "Half", ZEM_TYPE_NUMBER,
                {.callback = Proc(allowDelete), .params = Params({ZEM_TYPE_NUMBER})});
        if (values) ZEMSetListValuesCallback(ec, noValues);
        ZEMSetDelPermissionCallback(ec, allowDelete);
    }
    ~Session() { ZEMDestroyEC(ec); }
    // Runs the builder of a type with a script; gives the saved expression.
    HEXP run(std::function<void()> script, int32_t type = 0, HEXP open = nullptr,
             const char *start = "") {
        onBuilder = [script](HWND) { script(); };
        return ZEMBuildExpressionOfType(nullptr, ec, open, 0, type, start);
    }
    int rowOf(int list, const std::string &text) {
        auto r = rows(list);
        for (size_t i = 0; i < r.size(); i++)
            if (r[i] == text) return (int)i;
        return -1;
    }
    void pickName(int list, const char *text) { pick(list, rowOf(list, text)); }
    FakeWindow *at(int id) { return W(item(id)); }
    void sendChar(HWND w, char c) {
        Ui()->send(w, UI_WM_CHAR, (uintptr_t)c, 0);
        pump();
    }
};

// A string of the table, in the active code page.
std::string Str(unsigned id) {
    char text[512];
    loadString(id, text, sizeof(text));
    return text;
}

std::string textOf(HEXP exp) { return exp ? exp->text : "(none)"; }

TEST(Builder, FunctionTemplatesSelectTheirFirstLabel) {
    const ExpParam n = {0, ZEM_TYPE_NUMBER, 0}, d = {0, ZEM_TYPE_DATETIME, 0},
                   s = {0, ZEM_TYPE_STRING, 0};
    struct Case {
        const char *name;
        std::vector<ExpParam> params;
        int count, required, optional, flags;
        const char *text, *selected;
    } cases[] = {
        {"Now", {}, 0, 0, 0, 0, "Now()", ""},
        {"Pi", {}, -1, 0, 0, 0, "Pi", ""},
        {"DaysAfter", {d, n}, 2, 0, 0, 0, "DaysAfter( DateTime , Number )", "DateTime"},
        {"Opt", {n}, 1, 1, 2, 0, "Opt( Number [, Number [, Number ]])", "Number"},
        {"Open", {n, s}, 2, 1, 0, 0, "Open( Number , String [,Any...] )", "Number"},
        {"AllOpt", {s, n}, 2, 0, 2, 0, "AllOpt([ String , Number ] )", "String"},
        {"Uniq", {n}, 1, 0, 0, ZEM_FN_DISTINCT, "Uniq(DISTINCT  Number )", "Number"},
    };
    for (const Case &c : cases) {
        Session b;
        AddItem(b.ec, ZEM_ITEM_FUNCTION, c.name, ZEM_TYPE_NUMBER,
                {.required = c.required, .optional = c.optional, .flags = c.flags,
                 .callback = Proc(allowDelete), .params = c.params, .paramCount = c.count});
        b.run([&] {
            b.pickName(ID_FUNCTIONS, c.name);
            EXPECT_EQ(c.text, b.text(ID_TEXT)) << c.name;
            EXPECT_EQ(c.selected, b.selection()) << c.name;
        });
    }
}

TEST(Builder, NoParametersMovesOnToAPlaceholderLeft) {
    Session b;
    AddItem(b.ec, ZEM_ITEM_FUNCTION, "Now", ZEM_TYPE_NUMBER, {.callback = Proc(allowDelete)});
    b.run([&] {
        b.type(ID_TEXT, "Half( Number ) + 1");
        b.selectText(18, 18);
        b.pickName(ID_FUNCTIONS, "Now");
        EXPECT_EQ("Half( Number ) + 1Now()", b.text(ID_TEXT));
        EXPECT_EQ("Number", b.selection()) << "the walk starts at the text's beginning";
    });
}

TEST(Builder, ButtonsAndPicksBuildAndSave) {
    Session b;
    std::string name;
    HEXP saved = b.run([&] {
        name = b.text(ID_NAME);
        EXPECT_FALSE(b.at(ID_OK)->enabled) << "no text yet";
        b.pickName(ID_ITEMS, "Price");
        b.press(ID_TIMES);
        b.pickName(ID_ITEMS, "Qty");
        b.press(ID_PLUS);
        for (int id : {ID_DIGIT0 + 1, (int)ID_POINT, ID_DIGIT0 + 5, (int)ID_MINUS, ID_DIGIT0 + 2,
                       (int)ID_DIVIDE, ID_DIGIT0 + 4})
            b.press(id);
        EXPECT_TRUE(b.at(ID_OK)->enabled);
        b.press(ID_OK);
    });
    EXPECT_EQ("Price * Qty + 1.5 - 2 / 4", textOf(saved));
    EXPECT_EQ(0u, name.find("Formula")) << "a generated name";
    EXPECT_EQ(saved, ZEMHEXPFromName(b.ec, name.c_str()));
}

TEST(Builder, SpareOperatorByOptions) {
    struct Case {
        uint16_t flags;
        bool shown;
        const char *caption, *inserted;
        int frameGrowth;
    } cases[] = {
        {0, true, "", " || ", 24},
        {ECFlagNoConcat, false, "", "", 0},
        {ECFlagNoConcat | ECFlagModulo, true, "%", " % ", 24},
    };
    for (const Case &c : cases) {
        Session b(true, c.flags);
        b.run([&] {
            EXPECT_EQ(c.shown, b.at(ID_SPARE)->shown) << c.flags;
            if (!c.shown) return;
            EXPECT_EQ(c.caption, b.at(ID_SPARE)->text) << "the template's caption or %";
            EXPECT_EQ(358 + c.frameGrowth, b.at(ID_OPERATOR_FRAME)->rect.bottom);
            b.press(ID_SPARE);
            EXPECT_EQ(c.inserted, b.text(ID_TEXT)) << "inserted at offset 0 of the empty text";
        });
    }
}

TEST(Builder, RangeAndSetTemplatesFillByPicks) {
    Session b;
    HEXP range = b.run([&] {
        EXPECT_EQ("Expression AND Expression", b.text(ID_TEXT));
        EXPECT_EQ("Expression", b.selection());
        EXPECT_FALSE(b.at(ID_TEXT)->modified) << "an untouched template asks nothing";
        b.pickName(ID_ITEMS, "Price");
        EXPECT_EQ("Expression", b.selection()) << "the second word";
        b.pickName(ID_ITEMS, "Qty");
        EXPECT_EQ("", b.selection());
        b.type(ID_NAME, "Span");  // generated names are Japanese
        b.press(ID_OK);
    }, 2);
    EXPECT_EQ("Price AND Qty", textOf(range));
    EXPECT_EQ(KindRange, kindOf(range));

    HEXP set = b.run([&] {
        EXPECT_EQ("Expression, Expression [,Expression...]", b.text(ID_TEXT));
        b.pickName(ID_ITEMS, "Price");
        b.pickName(ID_ITEMS, "Qty");
        EXPECT_EQ("[,Expression...]", b.selection());
        b.pickName(ID_ITEMS, "Rate");
        EXPECT_EQ("Price, Qty ,Rate [,Expression...]", b.text(ID_TEXT));
        EXPECT_EQ("[,Expression...]", b.selection()) << "the tail stays open";
        b.type(ID_NAME, "Group");
        b.press(ID_OK);
    }, 1);
    EXPECT_EQ("Price, Qty ,Rate ", textOf(set)) << "the tail is cut at the save";
    b.run([&] {
        b.at(ID_TEXT)->modified = true;
        b.press(ID_OK);
        EXPECT_EQ("Expression, Expression ", b.text(ID_TEXT)) << "cut, then refused";
        EXPECT_EQ(1u, b.reports.size());
        b.press(ID_CANCEL);
    }, 1);
    EXPECT_EQ(KindSet, kindOf(set));
}

TEST(Builder, AnyTailTakesACommaInFront) {
    Session b;
    AddItem(b.ec, ZEM_ITEM_FUNCTION, "Sum", ZEM_TYPE_NUMBER,
            {.required = 1, .callback = Proc(allowDelete), .params = Params({ZEM_TYPE_NUMBER})});
    b.run([&] {
        b.pickName(ID_FUNCTIONS, "Sum");
        b.pickName(ID_ITEMS, "Price");
        EXPECT_EQ("Sum( Price [...] )", b.text(ID_TEXT)) << "count equals required: no Any";
        b.type(ID_TEXT, "Sum( Price + Qty + Rate [,Any...] )");
        b.selectText(24, 33);
        b.pickName(ID_ITEMS, "Qty");
        EXPECT_EQ("Sum( Price + Qty + Rate ,Qty )", b.text(ID_TEXT));
        EXPECT_EQ(28, b.at(ID_TEXT)->selStart) << "the caret behind the insertion";
    });
}

TEST(Builder, KindQuestionAnsweredBothWays) {
    for (int answer : {UI_IDYES, UI_IDNO}) {
        Session b;
        b.answers = {answer};
        HEXP saved = b.run([&] {
            b.type(ID_TEXT, "Price AND Qty");
            b.press(ID_OK);
            if (answer == UI_IDNO) b.press(ID_CANCEL);
        });
        ASSERT_EQ(1u, b.questions.size());
        EXPECT_EQ("Text evaluates as a Range instead of a Formula, save anyway?", b.questions[0].text);
        EXPECT_EQ(UI_MB_YESNO | UI_MB_ICONHAND, b.questions[0].style);
        EXPECT_EQ(answer == UI_IDYES ? 1 : 0, ZEMGetExpressionCount(b.ec));
        EXPECT_EQ(answer == UI_IDYES, saved != nullptr);
    }
    Session plain(false);
    HEXP saved = plain.run([&] {
        plain.type(ID_TEXT, "Price AND Qty");
        plain.press(ID_OK);
    });
    EXPECT_NE(nullptr, saved) << "no kind check without a values callback";
}

TEST(Builder, CancelAfterChangesSavesAndAsksNothing) {
    Session b;
    EXPECT_EQ(nullptr, b.run([&] {
        b.type(ID_TEXT, "Price + 1");
        b.press(ID_CANCEL);
    }));
    EXPECT_EQ(0, ZEMGetExpressionCount(b.ec));
}

TEST(Builder, AskToSaveWhenOpeningAnEntry) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    struct Case {
        int answer;
        const char *textAfter;
        size_t count;
    } cases[] = {
        {UI_IDCANCEL, "Qty + 1", 1},
        {UI_IDNO, "Price * 2", 1},
        {UI_IDYES, "Price * 2", 2},
    };
    for (const Case &c : cases) {
        b.answers = {c.answer};
        b.run([&] {
            b.type(ID_TEXT, "Qty + 1");
            b.select(ID_EXPRESSIONS, b.rowOf(ID_EXPRESSIONS, "Double"));
            b.press(ID_OPEN);
            EXPECT_EQ(c.textAfter, b.text(ID_TEXT)) << c.answer;
            EXPECT_EQ(b.rowOf(ID_EXPRESSIONS, "Double"), b.at(ID_EXPRESSIONS)->selected);
            EXPECT_EQ(c.count + 1, b.rows(ID_EXPRESSIONS).size()) << "a saved row is appended";
            EXPECT_EQ(c.answer == UI_IDCANCEL ? nullptr : ZEMHEXPFromName(b.ec, "Double"),
                      threadBlock()->editedExpression);
        });
        EXPECT_EQ((int)c.count, ZEMGetExpressionCount(b.ec)) << c.answer;
        EXPECT_EQ(Str(202), b.questions.back().text);
        EXPECT_EQ(Str(203), b.questions.back().title);
    }
}

TEST(Builder, NameErrorsShowOverTheName) {
    Session b;
    b.run([&] {
        b.type(ID_TEXT, "Price + 1");
        b.type(ID_NAME, "Half");
        b.press(ID_OK);
        ASSERT_EQ(1u, b.reports.size());
        EXPECT_EQ((uint32_t)ERR_DUPNAME, b.reports[0].code);
        EXPECT_EQ("Half", b.reports[0].text);
        EXPECT_EQ(4u, b.reports[0].length);
        EXPECT_EQ("Pric", b.selection()) << "the name's range, in the text field";
        b.type(ID_NAME, "Total");
        b.type(ID_TEXT, "Price +");
        b.press(ID_OK);
        EXPECT_EQ("Price +", b.reports.back().text);
        b.press(ID_CANCEL);
    });
}

TEST(Builder, RenameKeepsTheRowInPlace) {
    Session b;
    HEXP first = ParseOk(b.ec, "Price * 2", "Double");
    ParseOk(b.ec, "Qty * 2", "Twice");
    b.run([&] {
        b.type(ID_NAME, "Doubled");
        b.press(ID_OK);
        EXPECT_EQ((std::vector<std::string>{"[ New Formula ]", "Doubled", "Twice"}),
                  b.rows(ID_EXPRESSIONS));
        EXPECT_EQ(1, b.at(ID_EXPRESSIONS)->selected);
    }, 0, first);
}

TEST(Builder, DeleteAsksAndFollowsUse) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    ParseOk(b.ec, "Double() + 1", "Next");
    ParseOk(b.ec, "Qty * 2", "Twice");
    b.answers = {UI_IDYES, UI_IDYES};
    b.run([&] {
        b.select(ID_EXPRESSIONS, b.rowOf(ID_EXPRESSIONS, "Double"));
        EXPECT_FALSE(b.at(ID_DELETE)->enabled) << "in use";
        b.press(ID_DELETE);
        EXPECT_EQ(3, ZEMGetExpressionCount(b.ec)) << "a used expression stays";
        EXPECT_EQ(Str(204) + Str(216), b.questions[0].text);
        EXPECT_EQ(Str(206), b.questions[0].title);
        EXPECT_EQ(UI_MB_YESNO | UI_MB_ICONQUESTION | UI_MB_DEFBUTTON2, b.questions[0].style);
        b.select(ID_EXPRESSIONS, b.rowOf(ID_EXPRESSIONS, "Next"));
        EXPECT_TRUE(b.at(ID_DELETE)->enabled);
        b.press(ID_DELETE);
        EXPECT_EQ(-1, b.rowOf(ID_EXPRESSIONS, "Next"));
        EXPECT_FALSE(b.at(ID_DELETE)->enabled || b.at(ID_OPEN)->enabled);
        int twice = b.rowOf(ID_EXPRESSIONS, "Twice");
        EXPECT_EQ(1, Fixture::W(b.item(ID_EXPRESSIONS))->rows[(size_t)twice].second) << "renumbered";
    });
    ZEMSetDelPermissionCallback(b.ec, refuseDelete);
    b.answers = {UI_IDOK};
    b.run([&] {
        b.select(ID_EXPRESSIONS, b.rowOf(ID_EXPRESSIONS, "Twice"));
        b.press(ID_DELETE);
    });
    EXPECT_EQ("Delete Permission Denied.", b.questions.back().text);
    EXPECT_EQ(2, ZEMGetExpressionCount(b.ec));
}

TEST(Builder, ListsFilterGeneratedAndHiddenKeywords) {
    for (uint16_t flags : {0, ECFlagShowGenerated}) {
        Session b(true, flags);
        AddItem(b.ec, ZEM_ITEM_KEYWORD, "Hidden", 255);
        AddItem(b.ec, ZEM_ITEM_KEYWORD, "Today", 0);
        ParseOk(b.ec, "12", "Formula12");
        ParseOk(b.ec, "12", "Twelve");
        b.run([&] {
            EXPECT_EQ((std::vector<std::string>{"Name", "Price", "Qty", "Rate", "Today"}), b.rows(ID_ITEMS));
            std::vector<std::string> expected = {"[ New Formula ]", "Formula12", "Twelve"};
            if (!flags) expected.erase(expected.begin() + 1);
            EXPECT_EQ(expected, b.rows(ID_EXPRESSIONS));
        });
    }
}

TEST(Builder, ModesButtonsAndTitles) {
    struct Case {
        int32_t type;
        unsigned title;
        const char *entry;
        int checked;
    } cases[] = {
        {1, 213, " - [ New Set ]", ID_MODE_SET},
        {2, 212, " - [ New Range ]", ID_MODE_RANGE},
        {7, 207, " - [ New Formula ]", ID_MODE_FORMULA},
    };
    for (const Case &c : cases) {
        Session b;
        b.run([&] {
            EXPECT_EQ(Str(c.title) + c.entry, b.builder->text);
            EXPECT_EQ(Str(232 + (unsigned)(c.checked - ID_MODE_FORMULA)), b.text(ID_STATUS));
            EXPECT_TRUE(b.at(c.checked)->checked);
            EXPECT_EQ(92 + 49, b.at(ID_EXPRESSIONS_LABEL)->rect.top) << "below the modes, whole rows";
            EXPECT_EQ(108 + 49, b.at(ID_EXPRESSIONS_LABEL)->rect.bottom);
            EXPECT_EQ(114 + 49, b.at(ID_EXPRESSIONS)->rect.top);
            EXPECT_EQ(280, b.at(ID_EXPRESSIONS)->rect.bottom);
        }, c.type);
    }
    Session plain(false);
    plain.run([&] {
        for (int id : {ID_MODE_FORMULA, ID_MODE_LABEL, ID_VALUES})
            EXPECT_FALSE(plain.at(id)->shown) << id;
        EXPECT_EQ(92, plain.at(ID_EXPRESSIONS_LABEL)->rect.top);
    });
    // Out of memory the title is the editor's alone.
    Session tight;
    tight.run([&] {
        SvcFailAllocAfter(1);
        setTitle((HWND)tight.builder, threadBlock());
        SvcFailAllocAfter(0);
        EXPECT_EQ(Str(207), tight.builder->text);
    });
}

TEST(Builder, OpenedExpressionsAndModeSwitch) {
    Session b;
    ParseOk(b.ec, "Price AND Qty", "Span");
    HEXP used = ParseOk(b.ec, "Qty + 1", "Span2");
    ParseOk(b.ec, "Span2() + 1", "Uses");
    b.run([&] {
        EXPECT_FALSE(b.at(ID_NAME)->enabled) << "named by another";
        EXPECT_EQ(Str(207) + " - Span2", b.builder->text);
        b.select(ID_EXPRESSIONS, b.rowOf(ID_EXPRESSIONS, "Span"));
        b.press(ID_OPEN);
        EXPECT_TRUE(b.at(ID_MODE_RANGE)->checked) << "opening switches to the entry's kind";
        EXPECT_EQ("[ New Range ]", b.rows(ID_EXPRESSIONS)[0]);
        EXPECT_EQ(-1, b.at(ID_EXPRESSIONS)->rows[0].second);
        EXPECT_EQ("Price AND Qty", b.text(ID_TEXT));
        b.press(ID_MODE_SET);
        EXPECT_EQ("Expression, Expression [,Expression...]", b.text(ID_TEXT));
        EXPECT_EQ(Str(213) + " - [ New Set ]", b.builder->text);
        b.select(ID_EXPRESSIONS, b.rowOf(ID_EXPRESSIONS, "Uses"));
        b.press(ID_OPEN);
        EXPECT_TRUE(b.at(ID_MODE_FORMULA)->checked);
        b.select(ID_EXPRESSIONS, 0);
        b.press(ID_OPEN);
        EXPECT_EQ(nullptr, threadBlock()->editedExpression) << "row 0 is the new entry";
        EXPECT_EQ("", b.text(ID_TEXT));
        EXPECT_TRUE(b.at(ID_NAME)->enabled);
    }, 0, used);
}

TEST(Builder, KeysAndClicksInTheLists) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    b.run([&] {
        HWND forms = b.item(ID_EXPRESSIONS), items = b.item(ID_ITEMS);
        b.select(ID_EXPRESSIONS, 0);
        b.sendChar(forms, ' ');
        EXPECT_EQ("", b.text(ID_TEXT)) << "row 0 inserts nothing";
        b.select(ID_EXPRESSIONS, 1);
        b.sendChar(forms, ' ');
        EXPECT_EQ("Double()", b.text(ID_TEXT));
        Ui()->selectRow(items, b.rowOf(ID_ITEMS, "Qty"));
        b.sendChar(items, ' ');
        EXPECT_EQ("Double()Qty", b.text(ID_TEXT));
    });
}

TEST(Builder, ClipboardAndParenthesesFollowTheSelection) {
    Session b;
    b.run([&] {
        b.type(ID_TEXT, "Price + Qty");
        EXPECT_FALSE(b.at(ID_PASTE)->enabled) << "an empty clipboard";
        b.selectText(0, 5);
        Ui()->send(b.item(ID_TEXT), UI_WM_LBUTTONUP, 0, 0);  // the mouse let go in the field
        for (int id : {ID_COPY, ID_CUT, ID_CLEAR, ID_PARENS}) EXPECT_TRUE(b.at(id)->enabled) << id;
        b.press(ID_COPY);
        EXPECT_TRUE(b.at(ID_PASTE)->enabled);
        b.press(ID_PARENS);
        EXPECT_EQ("(Price) + Qty", b.text(ID_TEXT));
        for (int id : {ID_COPY, ID_CUT, ID_CLEAR, ID_PARENS}) EXPECT_FALSE(b.at(id)->enabled) << id;
        b.selectText(10, 13);
        b.press(ID_CUT);
        EXPECT_EQ("(Price) + ", b.text(ID_TEXT));
        b.press(ID_PASTE);
        b.selectText(0, 1);
        b.press(ID_CLEAR);
        EXPECT_EQ("Price) + Qty", b.text(ID_TEXT));
    });
}

TEST(Builder, EntryCaptionsFollowTheKind) {
    Session b;
    ParseOk(b.ec, "Price AND Qty", "Span");
    ParseOk(b.ec, "Price, Qty", "Group");
    b.run([&] {
        struct Step {
            int row;
            unsigned open, show;
        } steps[] = {{1, 236, 239}, {2, 237, 240}, {0, 235, 238}};
        for (const Step &s : steps) {
            b.select(ID_EXPRESSIONS, s.row);
            EXPECT_EQ(Str(s.open), b.text(ID_OPEN)) << s.row;
            EXPECT_EQ(Str(s.show), b.text(ID_SHOW_TEXT)) << s.row;
        }
    });
}

TEST(Builder, AnEmptyTextSavedByTheModeQuestionStopsTheChange) {
    Session b;
    b.answers = {UI_IDYES};
    b.run([&] {
        b.type(ID_TEXT, "");
        b.press(ID_MODE_RANGE);
        EXPECT_TRUE(b.at(ID_MODE_FORMULA)->checked) << "the save gave nothing";
        EXPECT_TRUE(b.reports.empty());
    });
}

TEST(Builder, StatusPaneTakesNothing) {
    Session b;
    b.run([&] {
        HWND pane = b.item(ID_STATUS), name = b.item(ID_NAME);
        int before = b.formerCalls;
        for (unsigned m : {UI_WM_CHAR, UI_WM_KEYDOWN, UI_WM_LBUTTONDOWN, UI_WM_SETCURSOR})
            EXPECT_EQ(0, Ui()->send(pane, m, 'x', 0));
        EXPECT_EQ(before, b.formerCalls);
        Ui()->send(pane, UI_WM_SETFOCUS, (uintptr_t)name, 0);
        EXPECT_EQ(name, b.focused) << "back to the sibling";
        FakeWindow stranger;
        Ui()->send(pane, UI_WM_SETFOCUS, (uintptr_t)&stranger, 0);
        EXPECT_EQ(b.item(ID_TEXT), b.focused);
        Ui()->send(pane, UI_WM_SETFOCUS, 0, 0);
        EXPECT_EQ(b.item(ID_TEXT), b.focused);
    });
}

TEST(Builder, FieldLimits) {
    Session b;
    for (uint16_t limit : {0, 20}) {
        b.onBuilder = [&](HWND) {
            EXPECT_EQ(limit, b.at(ID_TEXT)->limit);
            EXPECT_EQ(64, b.at(ID_NAME)->limit);
        };
        ZEMBuildExpression(nullptr, b.ec, nullptr, limit);
    }
}

TEST(Builder, RowsDrawnWithTheirKindsBitmap) {
    struct Case {
        bool values;
        uint32_t action, state;
        int row;
        std::vector<std::string> drawn;
    } cases[] = {
        {true, 1, 1 | 16, 1, {"bitmap rangel 0,1", "text Span 22 36", "invert 22", "focus 0"}},
        {true, 1, 0, 0, {"bitmap setl 0,1", "text [ New Set ] 22 36"}},
        {false, 1, 1, 1, {"text Span 0 36", "invert 0"}},
        {true, 2, 1, 1, {"invert 22"}},
        {true, 1 | 2, 1, 1, {"bitmap rangel 0,1", "text Span 22 36", "invert 22"}},
        {true, 4, 0, 1, {"focus 0"}},
        {true, 1 | 4, 0, 1, {"bitmap rangel 0,1", "text Span 22 36"}},
    };
    for (const Case &c : cases) {
        Session b(c.values);
        ParseOk(b.ec, "Price AND Qty", "Span");
        b.run([&] {
            UiDrawItem draw = {c.action, c.state, c.row, {0, 0, 100, 13}, nullptr};
            EXPECT_EQ(13, Ui()->send((HWND)b.builder, UI_WM_MEASUREITEM, ID_EXPRESSIONS, 0));
            Ui()->send((HWND)b.builder, UI_WM_DRAWITEM, ID_EXPRESSIONS, (intptr_t)&draw);
            EXPECT_EQ(c.drawn, b.drawn) << c.values << " " << c.action << " " << c.state;
        }, 1);
        EXPECT_EQ(c.values ? 3 : 0, b.bitmapsLoaded);
        EXPECT_EQ(b.bitmapsLoaded, b.bitmapsFreed);
    }
}

std::vector<std::pair<int32_t, std::string>> gHelp;
void ZEMCALL helpCallback(int32_t kind, intptr_t value) {
    gHelp.push_back({kind, kind == 257 ? (const char *)value : std::to_string(value)});
}

TEST(Builder, HelpQueryNamesTheFunctionOrTheDialog) {
    for (bool values : {true, false}) {
        Session b(values);
        gHelp.clear();
        b.run([&] {
            HWND functions = b.item(ID_FUNCTIONS);
            Ui()->send((HWND)b.builder, MSG_HELP_QUERY, (uintptr_t)functions, (intptr_t)helpCallback);
            b.select(ID_FUNCTIONS, 0);
            Ui()->send((HWND)b.builder, MSG_HELP_QUERY, (uintptr_t)functions, (intptr_t)helpCallback);
            Ui()->send((HWND)b.builder, MSG_HELP_QUERY, (uintptr_t)b.item(ID_ITEMS),
                       (intptr_t)helpCallback);
        });
        std::string dialog = values ? "401" : "400";
        EXPECT_EQ((std::vector<std::pair<int32_t, std::string>>{
                      {1, dialog}, {257, "Half"}, {1, dialog}}),
                  gHelp);
    }
}

// ---- Side windows.

std::vector<std::string> gValueRows;
std::vector<std::string> gValueCalls;
int32_t gKeepEnabled = 1;
void ZEMCALL hostValues(HEC, const char *name, HZEMWND list, int32_t refresh, int32_t *keep) {
    gValueCalls.push_back(std::string(name) + ":" + std::to_string(refresh));
    for (const std::string &row : gValueRows) Ui()->listAdd((HWND)list, row.c_str());
    *keep = gKeepEnabled;
}

TEST(BuilderSide, TextViewFollowsTheList) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    ParseOk(b.ec, "Price AND Qty", "Span");
    ParseOk(b.ec, "Price, Qty", "Group");
    b.run([&] {
        FakeWindow *list = b.at(ID_EXPRESSIONS);
        Ui()->send(b.item(ID_EXPRESSIONS), UI_WM_RBUTTONDBLCLK, 0, 2);  // on row 2
        FakeWindow *view = b.side(UiTextView);
        ASSERT_NE(nullptr, view);
        EXPECT_EQ(2, list->selected) << "the row under the mouse";
        EXPECT_EQ(Str(218) + " - Span", view->text);
        EXPECT_EQ("Price AND Qty", Fixture::W(Ui()->item((HWND)view, 100))->text);
        EXPECT_FALSE(b.at(ID_SHOW_TEXT)->enabled);
        list->selected = 0;
        Ui()->send(b.item(ID_EXPRESSIONS), UI_WM_KEYUP, UI_VK_UP, 0);
        EXPECT_EQ(Str(217), view->text) << "row 0 shows the mode";
        EXPECT_EQ("", Fixture::W(Ui()->item((HWND)view, 100))->text);
        list->selected = 3;
        Ui()->send(b.item(ID_EXPRESSIONS), UI_WM_KEYUP, UI_VK_DOWN, 0);
        EXPECT_EQ(Str(219) + " - Group", view->text);
        Ui()->send((HWND)view, MSG_SHOW_EXPRESSION, 7, 0);
        EXPECT_EQ("", view->text) << "no title for a mode that is none";
        list->selected = 1;
        Ui()->send((HWND)view, UI_WM_CLOSE, 0, 0);
        EXPECT_TRUE(b.at(ID_SHOW_TEXT)->enabled);
        EXPECT_EQ(nullptr, b.side(UiTextView));
    });
}

TEST(BuilderSide, ValuesDialogPlacedAndPicked) {
    Session b;
    ZEMSetListValuesCallback(b.ec, hostValues);
    gValueRows = {"Ann", "O'Neil"};
    gValueCalls.clear();
    gKeepEnabled = 1;
    b.run([&] {
        FakeWindow *view = b.side(UiValues);
        ASSERT_NE(nullptr, view) << "the start item opened it";
        EXPECT_EQ((std::vector<std::string>{"Name:1"}), gValueCalls);
        EXPECT_EQ("Name - title", view->text);
        EXPECT_EQ((UiRect{574, 156, 774, 296}), view->rect) << "beside the functions list";
        EXPECT_EQ(Str(246), b.text(ID_VALUES));
        FakeWindow *values = view->children[0].get();
        values->selected = 1;
        Ui()->send((HWND)view, UI_WM_COMMAND, 100 | UI_LBN_DBLCLK << 16, 0);
        b.pump();
        EXPECT_EQ("'O''Neil'", b.text(ID_TEXT));
        b.press(ID_VALUES);
        EXPECT_EQ("Name:0", gValueCalls.back()) << "pressed again while open";
        EXPECT_FALSE(b.at(ID_VALUES)->enabled);
        gKeepEnabled = 0;
        b.select(ID_ITEMS, b.rowOf(ID_ITEMS, "Price"));
        EXPECT_EQ("Price:1", gValueCalls.back());
        EXPECT_FALSE(b.at(ID_VALUES)->enabled) << "the host cleared keepEnabled";
        Ui()->send((HWND)view, UI_WM_CLOSE, 0, 0);
        EXPECT_EQ(Str(245), b.text(ID_VALUES));
        EXPECT_TRUE(b.at(ID_VALUES)->enabled);
    }, 0, nullptr, "Name");
    b.run([&] { EXPECT_EQ(nullptr, b.side(UiValues)) << "a prefix is no exact row"; }, 0,
          nullptr, "Nam");
}

TEST(BuilderSide, ValuesWindowStaysOnTheScreen) {
    Session b;
    ZEMSetListValuesCallback(b.ec, hostValues);
    b.run([&] {
        b.at(ID_FUNCTIONS)->rect = {900, 700, 1000, 800};
        b.select(ID_ITEMS, 0);
        b.press(ID_VALUES);
        FakeWindow *view = b.side(UiValues);
        ASSERT_NE(nullptr, view);
        EXPECT_EQ((UiRect{824, 628, 1024, 768}), view->rect);
    });
}

TEST(BuilderSide, LiteralTextOfValues) {
    Session b;
    struct Case {
        const char *line;
        int type;
        const char *literal;
    } cases[] = {
        {"", ZEM_TYPE_STRING, "''"},
        {"it's", ZEM_TYPE_STRING, "'it''s'"},
        {"\x83\x27'x", ZEM_TYPE_STRING, "'\x83\x27''x'"},  // 932: 83 27 is one character
        {"12", ZEM_TYPE_NUMBER, "12"},
    };
    threadBlock()->context = b.ec;
    uint32_t before = ZEMGetSystemCodePage();
    for (uint32_t page : {932u, 1252u}) {
        if (!ZEMSetSystemCodePage(page)) continue;  // Windows has the system's only
        for (const Case &c : cases) {
            Text out;
            literalText(c.line, c.type, &out);
            std::string expected = c.literal;
            if (page == 1252 && strchr(c.line, '\x83')) expected = "'\x83''''x'";
            EXPECT_EQ(expected, std::string(out.c_str())) << page << " " << c.line;
        }
    }
    ZEMSetSystemCodePage(before);
}

TEST(BuilderSide, LiteralTextOfDates) {
    Session b;
    ZEMSetDatePicture(b.ec, "yyyy-mm-dd", "yyyy-mm-dd HH:nn:ss", "HH:nn:ss");
    ThreadBlock *tb = threadBlock();
    tb->context = b.ec;
    struct Case {
        uint16_t flags;
        int mode;
        const char *line, *literal;
    } cases[] = {
        {0, 0, "1/31/2001", "{d 2001-01-31}"},
        {0, 2, "1/31/2001", "{d 2001-01-31}"},
        {1, 2, "1/31/2001", "'2001-01-31'"},
        {2, 0, "1/31/2001", "1/31/2001"},
        {0, 0, "soon", "soon"},
    };
    for (const Case &c : cases) {
        ZEMSetDateConvert(b.ec, "{d %s}", "{ts %s}", "{t %s}", c.flags);
        tb->mode = c.mode;
        Text out;
        literalText(c.line, ZEM_TYPE_DATETIME, &out);
        EXPECT_EQ(c.literal, std::string(out.c_str())) << c.flags << " " << c.line;
    }
    tb->mode = 0;
}

// ---- Repair, launch failure, the error dialogs.

TEST(BuilderRepair, TimerShowsTheLoadErrorAndAWaitingTextGoesBack) {
    Session b;
    // A block's expression section: text and name of each record.
    const char pending[] = "Later() + 1\0First\0Qty\0Later\0";
    ThreadBlock *tb = threadBlock();
    char text[] = "Later() + 1", name[] = "First";
    tb->repairMode = 1;
    tb->repairText = text;
    tb->repairName = name;
    tb->pendingList = (void *)pending;
    tb->pendingCount = 2;
    tb->lastError = {ERR_FUNC, 0, 5};
    b.onBuilder = [&](HWND dialog) {
        ASSERT_EQ(1u, b.timers.size());
        EXPECT_EQ(1000u, b.timers[0].ms);
        EXPECT_EQ("Later", b.selection());
        EXPECT_FALSE(b.at(ID_NAME)->enabled || b.at(ID_OPEN)->enabled || b.at(ID_VALUES)->shown ||
                     b.at(ID_SHOW_TEXT)->enabled);
        EXPECT_TRUE(b.at(ID_TEXT)->modified);
        Ui()->send(dialog, UI_WM_TIMER, 1, 0);
        EXPECT_TRUE(b.timers.empty());
        ASSERT_EQ(1u, b.reports.size());
        EXPECT_EQ(UiLoadError, b.reports[0].kind);
        EXPECT_EQ(1, b.beeps);
        b.press(ID_OK);
    };
    HEXP saved = runBuilder(nullptr, b.ec, nullptr, 0, 0, "");
    EXPECT_EQ(nullptr, saved) << "the text waits for a later one";
    ASSERT_NE(nullptr, tb->repairResult);
    EXPECT_EQ(0, memcmp(tb->repairResult, "Later() + 1\0First\0", 18));
    EXPECT_EQ(1u, b.reports.size()) << "no message for a waiting text";
    SvcFree(tb->repairResult);
    tb->repairResult = nullptr;
    tb->repairMode = 0;
}

TEST(BuilderRepair, NameIsPending) {
    const char block[] = "a\0One\0b\0Two words\0";
    struct Case {
        const char *text;
        uint32_t start, length;
        int pending;
    } cases[] = {
        {"One() + 1", 0, 4, 1},   {"x + Two words  (", 4, 12, 1}, {"one()", 0, 4, 0},
        {"On()", 0, 3, 0},        {"One", 0, 300, 0},             {"One", 9, 1, 0},
        {"One", 0, 3, 1},
        {"One                                                                        "
         "                                                                           "
         "                                                                           "
         "                     (", 0, 255, 1},
    };
    for (const Case &c : cases) {
        ExpError error = {ERR_FUNC, c.start, c.length};
        EXPECT_EQ(c.pending, nameIsPending(c.text, block, &error, 2)) << c.text;
    }
    std::string wide = std::string("One") + std::string(252, ' ') + "(";
    ExpError error = {ERR_FUNC, 0, 256};
    EXPECT_EQ(0, nameIsPending(wide.c_str(), block, &error, 2)) << "256 bytes do not fit";
}

#ifndef _WIN32
int32_t gHookCalls;
std::string gHookMessage;
int32_t ZEMCALL hook(HZEMWND, const char *text, const ExpError *error, const char *message,
                     int32_t loading) {
    gHookCalls++;
    gHookMessage = std::string(text) + "|" + std::to_string(error->start) + "|" +
                   std::to_string(error->length) + "|" + message + "|" + std::to_string(loading);
    return 7;
}

TEST(ErrorDialog, WithoutWindowsAHookOrMinusOne) {
    ExpError error = {ERR_SYNTAX, 2, 1};
    EXPECT_EQ(-1, ZEMErrorDisplay(nullptr, "1 + + 2", &error));
    HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(nullptr, ZEMBuildExpression(nullptr, ec, nullptr, 0)) << "no dialog can be made";
    ZEMSetErrorDisplayHook(hook);
    EXPECT_EQ(nullptr, ZEMBuildExpression(nullptr, ec, nullptr, 0));
    EXPECT_EQ(1, gHookCalls);
    EXPECT_EQ(0u, gHookMessage.find("|0|0|")) << "error 131 with the empty text";
    EXPECT_EQ(7, ZEMErrorDisplay(nullptr, "1 + + 2", &error));
    EXPECT_EQ(0u, gHookMessage.find("1 + + 2|2|1|"));
    EXPECT_EQ('0', gHookMessage.back());
    EXPECT_EQ(hook, ZEMSetErrorDisplayHook(nullptr));
    ZEMDestroyEC(ec);
}
#endif

TEST(ErrorDialog, SpanIsSelectedAfterThePaint) {
    Fixture f;
    struct Case {
        const char *text;
        uint32_t start, length, selStart, selLength;
    } cases[] = {
        {"Price +", 6, 1, 6, 1}, {"Price +", 3, 0, 3, 0}, {"Price +", 40, 2, 7, 0},
        {"Price +", 2, 1000, 2, 5}, {"", 0, 0, 0, 0},
    };
    for (const Case &c : cases) {
        ExpError error = {ERR_SYNTAX, c.start, c.length};
        EXPECT_EQ(1, ZEMErrorDisplay(nullptr, c.text, &error));
        const Report &r = f.reports.back();
        EXPECT_EQ(c.text, r.text);
        EXPECT_EQ(c.selStart, r.start) << c.start;
        EXPECT_EQ(c.selLength, r.length) << c.length;
        EXPECT_EQ((uint32_t)ERR_SYNTAX, r.code);
        EXPECT_FALSE(r.message.empty());
    }
}

TEST(ErrorDialog, TextTakesNoInput) {
    Fixture f;
    FakeWindow field;
    field.text = "abc";
    for (unsigned m : {UI_WM_CHAR, UI_WM_KEYDOWN, UI_WM_MOUSEMOVE, UI_WM_LBUTTONDOWN,
                       UI_WM_LBUTTONUP, UI_WM_LBUTTONDBLCLK}) {
        EXPECT_EQ(0, ErrorEditEvent((HWND)&field, m, 'x', 0));
        EXPECT_EQ(0, ViewEditEvent((HWND)&field, m, 'x', 0));
    }
    EXPECT_EQ(0, f.formerCalls) << "typing and clicking reach nothing";
    ErrorEditEvent((HWND)&field, UI_WM_KEYDOWN, UI_VK_RETURN, 0);
    ViewEditEvent((HWND)&field, UI_WM_SETFOCUS, 0, 0);
    EXPECT_EQ(2, f.formerCalls) << "Return and the rest pass";
}

TEST(Builder, EveryAllocationFailingOnce) {
    Session b;
    ParseOk(b.ec, "Price * 2", "Double");
    EachAllocationFails([&](int n) {
        std::string field;
        HEXP saved = b.run([&] {
            b.type(ID_TEXT, "Double() + ");
            b.pickName(ID_ITEMS, "Qty");
            field = b.text(ID_TEXT);
            b.press(ID_OK);
            b.press(ID_CANCEL);
        });
        EXPECT_TRUE(field == "Double() + " || field == "Double() + Qty") << n << ": " << field;
        EXPECT_EQ(saved ? "Double() + Qty" : "(none)", textOf(saved)) << n;
        EXPECT_EQ(saved ? 2 : 1, ZEMGetExpressionCount(b.ec)) << n;
        if (saved) ZEMDestroyEXP(b.ec, saved);
    });
}

}  // namespace
