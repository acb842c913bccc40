// Extended text: named formulas inlined in brackets, escaped calls and date
// literals rewritten with expand, the bound on the length, cut buffers,
// names that only look like references, chains and failed allocations.
// The rewritten literals also show that the trees carry the right offsets:
// a span that does not hold its literal is left as typed.
#include <string.h>

#include <string>
#include <vector>

#include "context/expressions.h"
#include "support.h"

namespace {

enum Dates { NoPictures, Pictures, Wrapped };

// Pictures of the three literal kinds and the wrapping formats.
const char *kDatePicture = "yyyy-mm-dd", *kDateTimePicture = "yyyy-mm-dd HH:nn",
           *kTimePicture = "HH.nn";

struct Context {
    HEC ec = 0;
    explicit Context(Dates dates, uint16_t flags = ECFlagRangesAndSets) {
        ec = ZEMCreateEC(0, 0, 0, flags);
        input("x", ZEM_TYPE_NUMBER);
        input("d", ZEM_TYPE_DATETIME);
        input("s", ZEM_TYPE_STRING);
        function("Outer", ZEM_FN_ESCAPED);
        function("Inner", ZEM_FN_ESCAPED);
        function("Plain", 0);
        function("@NOW", ZEM_FN_ESCAPED, -1);
        if (dates == Wrapped) ZEMSetDateConvert(ec, "{d '%s'}", "{ts '%s'}", "{t '%s'}", 0x0002);
        if (dates != NoPictures) ZEMSetDatePicture(ec, kDatePicture, kDateTimePicture, kTimePicture);
    }
    ~Context() { ZEMDestroyEC(ec); }

    void input(const char *name, int type) { AddItem(ec, ZEM_ITEM_INPUT, name, type); }
    // One parameter of any type and a result of its type, or (paramCount
    // -1) a DateTime written without brackets.
    void function(const char *name, int flags, int paramCount = 1) {
        AddItem(ec, ZEM_ITEM_FUNCTION, name, paramCount < 0 ? ZEM_TYPE_DATETIME : ZEM_TYPE_ANY,
                {.required = paramCount < 0 ? 0 : 1, .flags = flags, .params = Params({ZEM_TYPE_ANY}),
                 .paramCount = paramCount});
    }
    HEXP parse(const char *text, const char *name = 0) { return ParseOk(ec, text, name); }
    // The whole extended text, in a buffer of the estimated length, which
    // must be at least the text's.
    std::string text(HEXP exp, int32_t expand) {
        int32_t bound = ZEMGetExtendedTextLength(ec, exp, expand);
        std::vector<char> buffer((size_t)bound + 64, '#');
        int32_t result = ZEMGetExtendedText(ec, exp, (int32_t)buffer.size(), buffer.data(), expand);
        std::string out(buffer.data());
        EXPECT_EQ((int32_t)out.size() - 1, result) << out;
        EXPECT_GE(bound, (int32_t)out.size()) << "the bound is below the text: " << out;
        return out;
    }
};

// Named formulas that the cases below refer to, in every context.
const char *kFormulas[][2] = {
    {"Total", "x + 1"},
    {"Total2", "x * 2"},
    {"Net", "Total() - 1"},
    {"Stamp", "Outer(1/2/2000)"},
};

void addFormulas(Context &c) {
    for (auto &f : kFormulas) c.parse(f[1], f[0]);
}

TEST(ExtendedText, TextsByExpandAndPictures) {
    LeakCheck leaks;
    const struct {
        Dates dates;
        int32_t expand;
        const char *text, *expect;
        bool exact;  // the bound is the text's length
    } cases[] = {
        {NoPictures, 0, "x + 1", "x + 1", true},
        {Pictures, 1, "x + 1", "x + 1", true},
        {NoPictures, 0, "Total() * 2", "(x + 1) * 2", true},
        {NoPictures, 0, "Total() + Total()", "(x + 1) + (x + 1)", true},
        // A name inside a longer name, and inside a string literal.
        {NoPictures, 0, "Total2() + Total()", "(x * 2) + (x + 1)", true},
        {NoPictures, 0, "Total2()", "(x * 2)", true},
        {NoPictures, 1, "s || 'Total()'", "s || 'Total()'", true},
        {NoPictures, 0, "Plain(s || 'Total( ) x') || 'Net()'", "Plain(s || 'Total( ) x') || 'Net()'", true},
        // Nested references, and a reference written with blanks.
        {NoPictures, 0, "Net()", "((x + 1) - 1)", true},
        {NoPictures, 0, "Total( ) + 1", "(x + 1) + 1", false},
        {NoPictures, 0, "Total ( ) + 1", "(x + 1) + 1", false},
        // Escapes only with expand; without pictures the literal stays.
        {NoPictures, 0, "Outer(Inner(1/2/2000))", "Outer(Inner(1/2/2000))", false},
        {NoPictures, 1, "Outer(Inner(1/2/2000))", " {fn Outer( {fn Inner(1/2/2000) } ) } ", true},
        {Pictures, 1, "Outer(Inner(1/2/2000))", " {fn Outer( {fn Inner(2000-01-02) } ) } ", false},
        {Wrapped, 1, "Outer(Inner(1/2/2000))", " {fn Outer( {fn Inner({d '2000-01-02'}) } ) } ", false},
        {Pictures, 0, "Outer(Inner(1/2/2000))", "Outer(Inner(1/2/2000))", false},
        {Pictures, 1, "Outer ( x ) + Plain(Inner(x))", " {fn Outer ( x ) }  + Plain( {fn Inner(x) } )", true},
        // A literal at offset 0, one in the middle, one at the end.
        {Pictures, 1, "1/2/2000 + 1", "2000-01-02 + 1", false},
        {Wrapped, 1, "d - 1/2/2000", "d - {d '2000-01-02'}", false},
        {Wrapped, 1, "Plain(3:04 PM)", "Plain({t '15.04'})", false},
        {Wrapped, 1, "1/2/2000 3:04 PM", "{ts '2000-01-02 15:04'}", false},
        // Inlined text takes the marks only with expand and a picture.
        {Pictures, 1, "Stamp()", "( {fn Outer(2000-01-02) } )", false},
        {NoPictures, 1, "Stamp()", "(Outer(1/2/2000))", false},
        {Pictures, 0, "Stamp()", "(Outer(1/2/2000))", false},
        {Pictures, 1, "Outer(Stamp())", " {fn Outer(( {fn Outer(2000-01-02) } )) } ", false},
        // A call written without brackets closes behind its name.
        {Pictures, 1, "Plain(@NOW)", "Plain( {fn @NOW } )", true},
        // Ranges and Sets: their operands and members are walked.
        {Pictures, 1, "Total() AND Outer(x)", "(x + 1) AND  {fn Outer(x) } ", true},
        {Pictures, 1, "x, Total(), Inner(x)", "x, (x + 1),  {fn Inner(x) } ", true},
        {Wrapped, 1, "1/2/2000, d", "{d '2000-01-02'}, d", false},
    };
    for (auto &t : cases) {
        Context c(t.dates);
        addFormulas(c);
        HEXP exp = c.parse(t.text);
        ASSERT_NE(nullptr, exp);
        EXPECT_EQ(t.expect, c.text(exp, t.expand)) << t.text << " expand " << t.expand;
        if (t.exact) {
            EXPECT_EQ((int32_t)strlen(t.expect), ZEMGetExtendedTextLength(c.ec, exp, t.expand)) << t.text;
        }
    }
}

TEST(ExtendedText, TheBoundByTheTable) {
    LeakCheck leaks;
    Context c(Wrapped);
    addFormulas(c);
    int32_t width = c.ec->dateTextWidth;
    ASSERT_GT(width, 10);  // the formats widen it beyond the longest picture
    const struct {
        const char *text;
        int32_t expand, bound;
    } cases[] = {
        {"Outer(x)", 0, 8 + 8},  // too high by 8, as a bound may be
        {"Outer(x)", 1, 8 + 8},
        {"Outer(Inner(x))", 0, 15 + 16},
        {"1/2/2000", 1, width},  // a lone literal: the width alone
        {"1/2/2000", 0, 8},
        {"d - 1/2/2000", 1, 4 + width},
        {"Net()", 0, 5 - 3 + 11 - 5 + 5},  // "(" Total's text ") - 1" in brackets
        {"Stamp()", 0, 7 - 5 + 15 + 8},  // the inlined call's marks count too
        {"Stamp()", 1, 7 - 5 + 15 + 8 + width - 8},
    };
    for (auto &t : cases) {
        HEXP exp = c.parse(t.text);
        ASSERT_NE(nullptr, exp);
        EXPECT_EQ(t.bound, ZEMGetExtendedTextLength(c.ec, exp, t.expand)) << t.text;
        c.text(exp, t.expand);  // checks the text against the bound
    }
    EXPECT_EQ(0, ZEMGetExtendedTextLength(c.ec, 0, 1));
}

// A lone literal with blanks around it, or one whose kind has no picture,
// is longer than the width: the bound still holds.
TEST(ExtendedText, ALoneLiteralLongerThanTheWidth) {
    LeakCheck leaks;
    Context c(NoPictures);
    ZEMSetDatePicture(c.ec, kDatePicture, 0, 0);
    const char *texts[] = {"  1/2/2000  ", "1/2/2000 3:04 PM", "January 2, 2000 3:04 PM"};
    for (const char *text : texts) {
        HEXP exp = c.parse(text);
        ASSERT_NE(nullptr, exp);
        std::string out = c.text(exp, 1);
        EXPECT_LE((int32_t)out.size(), ZEMGetExtendedTextLength(c.ec, exp, 1)) << text;
    }
    EXPECT_EQ("  2000-01-02  ", c.text(c.parse("  1/2/2000  "), 1));
}

// The wrapping formats: one longer than 255 bytes is written whole, one
// without "%s" stands alone, and a literal whose kind has no picture stays
// as typed, unwrapped.
TEST(ExtendedText, WrappingFormats) {
    LeakCheck leaks;
    const std::string longFormat = std::string(300, 'a') + "%s" + std::string(20, 'z');
    const struct {
        const char *picture, *dateTimePicture, *format;
        const char *text;
        std::string expect;
    } cases[] = {
        {kDatePicture, 0, longFormat.c_str(), "1/2/2000",
         std::string(300, 'a') + "2000-01-02" + std::string(20, 'z')},
        {kDatePicture, 0, "DATE", "1/2/2000 + 1", "DATE + 1"},
        {kDatePicture, 0, "{d '%s'}", "1/2/2000 3:04 PM", "1/2/2000 3:04 PM"},
        {0, kDateTimePicture, "{d '%s'}", "1/2/2000 + 1", "1/2/2000 + 1"},
        {0, kDateTimePicture, "{d '%s'}", "1/2/2000 3:04 PM", "{d '2000-01-02 15:04'}"},
    };
    for (auto &t : cases) {
        Context c(NoPictures);
        ZEMSetDateConvert(c.ec, t.format, t.format, t.format, 0x0002);
        ZEMSetDatePicture(c.ec, t.picture, t.dateTimePicture, 0);
        HEXP exp = c.parse(t.text);
        ASSERT_NE(nullptr, exp);
        EXPECT_EQ(t.expect, c.text(exp, 1)) << t.text;
    }
}

TEST(ExtendedText, CutBuffers) {
    LeakCheck leaks;
    Context c(Pictures);
    addFormulas(c);
    HEXP exp = c.parse("1/2/2000 + Outer(Total())");
    const std::string whole = "2000-01-02 +  {fn Outer((x + 1)) } ";
    ASSERT_EQ(whole, c.text(exp, 1));
    for (int32_t size = 1; size <= (int32_t)whole.size() + 3; size++) {
        std::vector<char> buffer((size_t)size + 1, '#');
        int32_t result = ZEMGetExtendedText(c.ec, exp, size, buffer.data(), 1);
        std::string expect = whole.substr(0, (size_t)size - 1);
        EXPECT_EQ(expect, std::string(buffer.data())) << "size " << size;
        EXPECT_EQ((int32_t)expect.size() - 1, result) << "size " << size;
        EXPECT_EQ('#', buffer[(size_t)size]) << "written past the buffer, size " << size;
    }
    char one[2] = {'#', '#'};
    EXPECT_EQ(-1, ZEMGetExtendedText(c.ec, exp, 1, one, 1));
    EXPECT_EQ(0, one[0]);
    EXPECT_EQ(-1, ZEMGetExtendedText(c.ec, exp, 0, one, 1));  // no room for the terminator
}

// Offsets are bytes: double-byte characters before a mark or in a name, and
// the same bytes read as single-byte characters.
TEST(ExtendedText, CodePages) {
    LeakCheck leaks;
    uint32_t before = ZEMGetSystemCodePage();
    const struct {
        uint32_t page;
        const char *name, *formula, *text, *expect;
    } cases[] = {
        // A trail byte 0x5C before the closing quote, a name of two characters.
        {932, "\x8d\x87\x8c\x76", "s || 'ab'", "Plain('\x83\x5c\x83\x67' || s) || Outer(\x8d\x87\x8c\x76())",
         "Plain('\x83\x5c\x83\x67' || s) ||  {fn Outer((s || 'ab')) } "},
        {932, "\x83\x65\x83\x58", "Inner(s || 'ab')", "'\x83\x65\x83\x58()' || \x83\x65\x83\x58()",
         "'\x83\x65\x83\x58()' || ( {fn Inner(s || 'ab') } )"},
        {1252, "Caf\xe9", "s || 'ab'", "Plain('\xe9t\xe9' || s) || Outer(Caf\xe9())",
         "Plain('\xe9t\xe9' || s) ||  {fn Outer((s || 'ab')) } "},
        {1252, "\xe9t\xe9", "Inner(s || 'ab')", "'\x83\x5c' || \xe9t\xe9()",
         "'\x83\x5c' || ( {fn Inner(s || 'ab') } )"},
    };
    for (auto &t : cases) {
        ZEMSetSystemCodePage(t.page);
        {
            Context c(Pictures);
            c.parse(t.formula, t.name);
            HEXP exp = c.parse(t.text);
            ASSERT_NE(nullptr, exp);
            EXPECT_EQ(t.expect, c.text(exp, 1)) << "code page " << t.page;
        }
    }
    ZEMSetSystemCodePage(before);
}

TEST(ExtendedText, AFormulaThatIsGoneStaysAsTyped) {
    LeakCheck leaks;
    Context c(NoPictures);
    addFormulas(c);
    HEXP net = ZEMHEXPFromName(c.ec, "Net");
    HEXP total = ZEMHEXPFromName(c.ec, "Total");
    ExpError report;
    uint16_t type;
    ASSERT_EQ(total, ZEMParseFormula(c.ec, total, "x + 2", "Gross", &report, &type));
    EXPECT_EQ("Total() - 1", c.text(net, 0));
    EXPECT_EQ(11, ZEMGetExtendedTextLength(c.ec, net, 0));
}

// Two records made to name each other: the chain ends after as many levels
// as there are stored expressions, the rest as typed.
TEST(ExtendedText, AChainThatComesBackEnds) {
    LeakCheck leaks;
    Context c(NoPictures);
    HEXP a = c.parse("x + 1", "A");
    HEXP b = c.parse("A() * 2", "B");
    std::swap(a->name, b->name);  // "A" now says "A() * 2"
    EXPECT_EQ("((A() * 2) * 2) * 2", c.text(b, 0));
    EXPECT_EQ(19, ZEMGetExtendedTextLength(c.ec, b, 0));
    std::swap(a->name, b->name);
}

// A chain long enough to pass 65535 bytes is rendered whole.
TEST(ExtendedText, LongChainsPassSixtyFourKilobytes) {
    LeakCheck leaks;
    Context c(NoPictures);
    c.parse("x + 1", "F1");
    std::string expect = "x + 1";
    for (int i = 2; i <= 14; i++) {
        std::string name = "F" + std::to_string(i), prev = "F" + std::to_string(i - 1);
        c.parse((prev + "() + " + prev + "()").c_str(), name.c_str());
        expect = "(" + expect + ") + (" + expect + ")";
    }
    HEXP top = ZEMHEXPFromName(c.ec, "F14");
    ASSERT_GT(expect.size(), 65535u);
    EXPECT_EQ((int32_t)expect.size(), ZEMGetExtendedTextLength(c.ec, top, 1));
    EXPECT_EQ(expect, c.text(top, 1));
}

TEST(ExtendedText, FailedAllocations) {
    LeakCheck leaks;
    Context c(Wrapped);
    addFormulas(c);
    HEXP exp = c.parse("Stamp() - 1/2/2000 + Outer(Net())");
    const std::string whole = "( {fn Outer({d '2000-01-02'}) } ) - {d '2000-01-02'} +  {fn Outer(((x + 1) - 1)) } ";
    ASSERT_EQ(whole, c.text(exp, 1));
    int failures = 0;
    int runs = EachAllocationFails([&](int) {
        char buffer[200];
        memset(buffer, '#', sizeof buffer);
        int32_t result = ZEMGetExtendedText(c.ec, exp, sizeof buffer, buffer, 1);
        if (result == 0 && buffer[0] == 0) {
            failures++;
        } else {
            EXPECT_EQ(whole, std::string(buffer));
            EXPECT_EQ((int32_t)whole.size() - 1, result);
        }
    });
    EXPECT_EQ(runs - 1, failures);  // each allocation's failure is seen
    EXPECT_GE(failures, 1);
}

}  // namespace
