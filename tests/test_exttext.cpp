// Extended text: named formulas inlined, escaped calls and date literals
// rewritten with expand (which also shows the trees' offsets are right), the
// bound on the length, cut buffers, chains and failed allocations.
#include <string.h>
#include <string>
#include <vector>

#include "context/expressions.h"
#include "support.h"

namespace {

enum Dates { NoPictures, Pictures, Wrapped };

struct Context {
    HEC ec = ZEMCreateEC(0, 0, 0, ECFlagRangesAndSets);
    explicit Context(Dates dates, bool formulas = true) {
        for (const char *name : {"x", "d", "s"}) AddItem(ec, ZEM_ITEM_INPUT, name, name[0] == 'x' ? 0 : name[0] == 'd' ? 1 : 2);
        // One parameter of any type and a result of its type, or a DateTime written without brackets.
        for (const char *name : {"Outer", "Inner", "Plain", "@NOW"}) {
            bool now = name[0] == '@';
            AddItem(ec, ZEM_ITEM_FUNCTION, name, now ? ZEM_TYPE_DATETIME : ZEM_TYPE_ANY,
                    {.required = !now, .flags = name[0] == 'P' ? 0 : ZEM_FN_ESCAPED, .params = Params({ZEM_TYPE_ANY}),
                     .paramCount = now ? -1 : 1});
        }
        if (dates == Wrapped) ZEMSetDateConvert(ec, "{d '%s'}", "{ts '%s'}", "{t '%s'}", 0x0002);
        if (dates != NoPictures) ZEMSetDatePicture(ec, "yyyy-mm-dd", "yyyy-mm-dd HH:nn", "HH.nn");
        const char *kFormulas[][2] = {{"Total", "x + 1"}, {"Total2", "x * 2"}, {"Net", "Total() - 1"}, {"Stamp", "Outer(1/2/2000)"}};
        for (auto &f : kFormulas) if (formulas) parse(f[1], f[0]);
    }
    ~Context() { ZEMDestroyEC(ec); }
    HEXP parse(const char *text, const char *name = 0) { return ParseOk(ec, text, name); }
    // The whole text, in a buffer of the bound, which must hold it.
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

TEST(ExtendedText, TextsByExpandAndPictures) {
    LeakCheck leaks;
    const struct { Dates dates; int32_t expand; const char *text, *expect; int32_t bound; } cases[] = {  // bound -1: the length; 0: at least
        // A name inside a longer name, and inside a string literal.
        {NoPictures, 0, "Total2() + Total() - Net()", "(x * 2) + (x + 1) - ((x + 1) - 1)", -1},
        {NoPictures, 0, "Plain(s || 'Total( ) x') || 'Net()'", "Plain(s || 'Total( ) x') || 'Net()'", -1},
        {NoPictures, 0, "Total ( ) + 1", "(x + 1) + 1", 0},
        // Escapes only with expand; without pictures a literal stays.
        {NoPictures, 1, "Outer(Inner(1/2/2000))", " {fn Outer( {fn Inner(1/2/2000) } ) } ", -1},
        {Wrapped, 1, "Outer(Inner(1/2/2000))", " {fn Outer( {fn Inner({d '2000-01-02'}) } ) } ", 0},
        {Pictures, 1, "Outer ( x ) + Plain(Inner(x))", " {fn Outer ( x ) }  + Plain( {fn Inner(x) } )", -1},
        // A literal at offset 0, one in the middle, one at the end.
        {Pictures, 1, "1/2/2000 + 1", "2000-01-02 + 1", 0},
        {Wrapped, 1, "Plain(3:04 PM)", "Plain({t '15.04'})", 0},
        {Wrapped, 1, "1/2/2000 3:04 PM", "{ts '2000-01-02 15:04'}", 0},
        {Wrapped, 0, "1/2/2000", "1/2/2000", 8},
        // Inlined text takes the marks only with expand and a picture.
        {Pictures, 1, "Stamp()", "( {fn Outer(2000-01-02) } )", 0},
        {Wrapped, 0, "Stamp()", "(Outer(1/2/2000))", 7 - 5 + 15 + 8},
        {Pictures, 1, "Outer(Stamp())", " {fn Outer(( {fn Outer(2000-01-02) } )) } ", 0},
        {Pictures, 1, "Plain(@NOW)", "Plain( {fn @NOW } )", -1},
        // Ranges and Sets: their operands and members are walked.
        {Pictures, 1, "Total() AND Outer(x)", "(x + 1) AND  {fn Outer(x) } ", -1},
        {Pictures, 1, "x, Total(), Inner(x)", "x, (x + 1),  {fn Inner(x) } ", -1},
    };
    for (auto &t : cases) {
        Context c(t.dates);
        HEXP exp = c.parse(t.text);
        EXPECT_EQ(t.expect, c.text(exp, t.expand)) << t.text << " expand " << t.expand;
        if (t.bound) { EXPECT_EQ(t.bound < 0 ? (int32_t)strlen(t.expect) : t.bound, ZEMGetExtendedTextLength(c.ec, exp, t.expand)) << t.text; }
    }
    Context c(Wrapped);
    int32_t width = c.ec->dateTextWidth;  // the formats widen it beyond the longest picture
    const struct { const char *text; int32_t expand, bound; } bounds[] = {
        {"Outer(x)", 0, 8 + 8}, {"Outer(x)", 1, 8 + 8}, {"Outer(Inner(x))", 0, 15 + 16},  // 8 too high, as a bound may be
        {"1/2/2000", 1, width}, {"d - 1/2/2000", 1, 4 + width}, {"Stamp()", 1, 7 - 5 + 15 + 8 + width - 8},
    };
    for (auto &t : bounds) {
        HEXP exp = c.parse(t.text);
        EXPECT_EQ(t.bound, ZEMGetExtendedTextLength(c.ec, exp, t.expand)) << t.text;
        c.text(exp, t.expand);
    }
    EXPECT_EQ(0, ZEMGetExtendedTextLength(c.ec, 0, 1));
}

// A lone literal with blanks is longer than the width; a format beyond 255
// bytes is written whole; one without "%s" stands alone.
TEST(ExtendedText, LiteralsAndWrappingFormats) {
    LeakCheck leaks;
    const std::string longFormat = std::string(300, 'a') + "%s" + std::string(20, 'z');
    const struct { const char *format, *text; std::string expect; } cases[] = {
        {nullptr, "  1/2/2000  ", "  2000-01-02  "},
        {longFormat.c_str(), "1/2/2000", std::string(300, 'a') + "2000-01-02" + std::string(20, 'z')},
        {"DATE", "1/2/2000 + 1", "DATE + 1"},
    };
    for (auto &t : cases) {
        Context c(NoPictures, false);
        ZEMSetDateConvert(c.ec, t.format, t.format, t.format, t.format ? 0x0002 : 0);
        ZEMSetDatePicture(c.ec, "yyyy-mm-dd", 0, 0);
        EXPECT_EQ(t.expect, c.text(c.parse(t.text), 1)) << t.text;
    }
}

TEST(ExtendedText, CutBuffersAndFailedAllocations) {
    LeakCheck leaks;
    Context c(Wrapped);
    HEXP exp = c.parse("Stamp() - 1/2/2000 + Outer(Net())");
    const std::string whole = "( {fn Outer({d '2000-01-02'}) } ) - {d '2000-01-02'} +  {fn Outer(((x + 1) - 1)) } ";
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
    EXPECT_EQ(-1, ZEMGetExtendedText(c.ec, exp, 0, one, 1)) << "no room for the terminator";
    EXPECT_EQ('#', one[0]);
    int failures = 0;
    int runs = EachAllocationFails([&](int) {
        char buffer[200];
        memset(buffer, '#', sizeof buffer);
        int32_t result = ZEMGetExtendedText(c.ec, exp, sizeof buffer, buffer, 1);
        if (result == 0 && buffer[0] == 0) return (void)failures++;
        EXPECT_EQ(whole, std::string(buffer));
        EXPECT_EQ((int32_t)whole.size() - 1, result);
    });
    EXPECT_EQ(runs - 1, failures) << "each allocation's failure is seen";
}

// Offsets are bytes: double-byte characters before a mark or in a name, and the same bytes under 1252.
TEST(ExtendedText, CodePages) {
    LeakCheck leaks;
    const struct { uint32_t page; const char *name, *formula, *text, *expect; } cases[] = {
        // A trail byte 0x5C before the closing quote, a name of two characters.
        {932, "\x8d\x87\x8c\x76", "s || 'ab'", "Plain('\x83\x5c\x83\x67' || s) || Outer(\x8d\x87\x8c\x76())",
         "Plain('\x83\x5c\x83\x67' || s) ||  {fn Outer((s || 'ab')) } "},
        {932, "\x83\x65\x83\x58", "Inner(s || 'ab')", "'\x83\x65\x83\x58()' || \x83\x65\x83\x58()",
         "'\x83\x65\x83\x58()' || ( {fn Inner(s || 'ab') } )"},
        {1252, "Caf\xe9", "s || 'ab'", "Plain('\xe9t\xe9' || s) || Outer(Caf\xe9())",
         "Plain('\xe9t\xe9' || s) ||  {fn Outer((s || 'ab')) } "},
        {1252, "\xe9t\xe9", "Inner(s || 'ab')", "'\x83\x5c' || \xe9t\xe9()", "'\x83\x5c' || ( {fn Inner(s || 'ab') } )"},
    };
    for (auto &t : cases) {
        ZEMSetSystemCodePage(t.page);
        Context c(Pictures, false);
        c.parse(t.formula, t.name);
        EXPECT_EQ(t.expect, c.text(c.parse(t.text), 1)) << "code page " << t.page;
    }
    ZEMSetSystemCodePage(932);
}

// A formula renamed away stays as typed; two records naming each other end
// after as many levels as there are expressions; a chain past 65535 bytes is whole.
TEST(ExtendedText, GoneCirclingAndLongChains) {
    LeakCheck leaks;
    Context c(NoPictures);
    HEXP net = ZEMHEXPFromName(c.ec, "Net"), total = ZEMHEXPFromName(c.ec, "Total");
    uint16_t type;
    ASSERT_EQ(total, ZEMParseFormula(c.ec, total, "x + 2", "Gross", nullptr, &type));
    EXPECT_EQ("Total() - 1", c.text(net, 0));
    EXPECT_EQ(11, ZEMGetExtendedTextLength(c.ec, net, 0));
    Context loop(NoPictures, false);
    HEXP a = loop.parse("x + 1", "A"), b = loop.parse("A() * 2", "B");
    std::swap(a->name, b->name);  // "A" now says "A() * 2"
    EXPECT_EQ("((A() * 2) * 2) * 2", loop.text(b, 0));
    EXPECT_EQ(19, ZEMGetExtendedTextLength(loop.ec, b, 0));
    std::swap(a->name, b->name);
    Context chain(NoPictures, false);
    chain.parse("x + 1", "F1");
    std::string expect = "x + 1";
    for (int i = 2; i <= 14; i++) {
        std::string prev = "F" + std::to_string(i - 1);
        chain.parse((prev + "() + " + prev + "()").c_str(), ("F" + std::to_string(i)).c_str());
        expect = "(" + expect + ") + (" + expect + ")";
    }
    HEXP top = ZEMHEXPFromName(chain.ec, "F14");
    ASSERT_GT(expect.size(), 65535u);
    EXPECT_EQ((int32_t)expect.size(), ZEMGetExtendedTextLength(chain.ec, top, 1));
    EXPECT_EQ(expect, chain.text(top, 1));
}

}  // namespace
