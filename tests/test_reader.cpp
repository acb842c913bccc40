// Reading context blocks: hand-made blocks of every shape, forward
// references and the order they leave, repairs through the host's callback,
// a round trip through the writer, and failed allocations.
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "context/expressions.h"
#include "support.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A block laid out byte by byte.
struct Block {
    Bytes b;
    // Version 0 has no version byte: the first name's terminator stands there.
    explicit Block(int version = 3) {
        if (version) b.push_back((unsigned char)version);
    }
    Block &text(const std::string &s) {
        b.insert(b.end(), s.begin(), s.end());
        b.push_back(0);
        return *this;
    }
    Block &word(unsigned w) {
        b.push_back((unsigned char)(w & 0xFF));
        b.push_back((unsigned char)(w >> 8));
        return *this;
    }
    Block &names(const std::vector<std::string> &given = {}) {
        for (size_t i = 0; i < 20; i++) text(i < given.size() ? given[i] : "");
        return *this;
    }
    Block &item(const std::string &name, int type, const std::string &function) {
        Bytes head(85, 0);
        head[0] = 1;
        head[2] = (unsigned char)type;
        memcpy(head.data() + 12, name.c_str(), name.size());
        b.insert(b.end(), head.begin(), head.end());
        return text(function);
    }
    // The narrower heads of versions 0 (54 bytes) and 1 (60): the name in
    // 40 bytes, then the parameter count, subclass, optional count, flags.
    Block &oldItem(size_t size, const std::string &name, int subclass, const std::string &function) {
        Bytes head(size, 0);
        head[0] = 1;
        memcpy(head.data() + 12, name.c_str(), name.size());
        head[52] = 7;
        if (size > 54) head[54] = (unsigned char)subclass, head[56] = 5, head[58] = 9;
        b.insert(b.end(), head.begin(), head.end());
        return text(function);
    }
    // A function record of the section that version 0 blocks carry.
    Block &oldFunction(int params, const std::string &name) {
        Bytes head(54, 0);
        head[52] = (unsigned char)(params & 0xFF);
        head[53] = (unsigned char)((params >> 8) & 0xFF);
        b.insert(b.end(), head.begin(), head.end());
        b.insert(b.end(), 6 * (size_t)(params < 0 ? 0 : params), 0xEE);
        return text(name);
    }
    Block &expression(const std::string &text_, const std::string &name) {
        return text(text_).text(name);
    }
};

void ZEMCALL dummy(void) {}
std::vector<std::string> gResolved;
int gRefuse = 0;  // resolve gives 0 for this many-th call
ZEMProc ZEMCALL resolve(const char *name) {
    gResolved.push_back(name);
    return (int)gResolved.size() == gRefuse ? nullptr : dummy;
}

int gNotified;
void ZEMCALL notify(HEC, int32_t code) { gNotified += code == 2; }

std::vector<std::string> gReports;
void ZEMCALL onError(HEC, const char *text, const ExpError *error) {
    gReports.push_back(std::string(text) + ":" + std::to_string(error->code));
}

struct Target {
    HEC ec = ZEMCreateEC(nullptr, resolve, nullptr, ECFlagRangesAndSets);
    Target() {
        gResolved.clear();
        gReports.clear();
        gRefuse = 0;
        gNotified = 0;
        ZEMSetNotifyCallback(ec, notify);
    }
    ~Target() { ZEMDestroyEC(ec); }
    int load(const Bytes &b, int expressions = 1) {
        return ZEMSetECContents(ec, (int32_t)b.size(), b.data(), expressions, onError);
    }
    std::vector<std::string> names() {
        std::vector<std::string> out;
        for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++)
            out.push_back(ZEMHEXPFromOrdinal(ec, i)->name);
        return out;
    }
};

TEST(Reader, ShapesOfBlocks) {
    Bytes twenty = Block().names().b;
    Bytes sections = Block().names().word(250).word(1).item("Price", 0, "").word(252).word(1)
                         .expression("Price * 2", "Double").b;
    struct Case {
        const char *what;
        Bytes bytes;
        int loadExpressions, result;
        size_t items, expressions;
    } cases[] = {
        {"version and twenty empty names", twenty, 1, 1, 0, 0},
        {"ends behind the twentieth name", Block().names({"", "", "", "", "", "", "", "", "", "",
                                                          "", "", "", "", "", "", "", "", "", "cat"}).b,
         1, 1, 0, 0},
        {"a header that ends the block", Block().names().word(250).word(0).b, 1, 0, 0, 0},
        {"a tag alone", Block().names().word(250).b, 1, 0, 0, 0},
        {"items and expressions", sections, 1, 1, 1, 1},
        {"expressions not asked for", sections, 0, 1, 1, 0},
        {"negative count", Block().names().word(250).word(0x8001).word(252).word(0)
                               .expression("1", "One").b, 1, 1, 0, 0},
        {"a text past the end", Block().names().word(252).word(2).expression("1", "One")
                                    .text("2").b, 1, 0, 0, 0},
        {"a name cut short", Bytes(sections.begin(), sections.end() - 1), 1, 0, 1, 0},
        {"a record without a name", Block().names().word(252).word(1).expression("7", "").b, 1, 1,
         0, 1},
        {"another version", Block(4).names().b, 1, 0, 0, 0},
        {"the version byte alone", Block().b, 1, 0, 0, 0},
    };
    for (const Case &c : cases) {
        LeakCheck leaks;
        Target t;
        EXPECT_EQ(c.result, t.load(c.bytes, c.loadExpressions)) << c.what;
        EXPECT_EQ(c.items, SvcArrayCount(t.ec->inputItems)) << c.what;
        EXPECT_EQ(c.expressions, (size_t)ZEMGetExpressionCount(t.ec)) << c.what;
    }
}

TEST(Reader, ShapesOfOlderBlocks) {
    std::vector<std::string> cat(20, "");
    cat[19] = "cat";
    auto withFunctions = [](int params, int count) {
        Block b(0);
        b.names().word(250).word(1).oldItem(54, "Price", 0, "").word(251).word(count);
        for (int i = 0; i < count; i++) b.oldFunction(params, i ? "" : "Fn");
        return b.word(252).word(1).expression("Price * 2", "Double").b;
    };
    Bytes truncated = withFunctions(2, 1);
    truncated.resize(truncated.size() - 25);  // inside the function record
    struct Case {
        const char *what;
        Bytes bytes;
        int result;
        size_t items, expressions;
        std::vector<std::string> reports = {};
    } cases[] = {
        {"version 0: twenty empty names", Bytes(20, 0), 0, 0, 0},
        {"version 0: ends behind a name", Block(0).names(cat).b, 1, 0, 0},
        {"version 1: twenty empty names", Block(1).names().b, 1, 0, 0},
        {"version 2: twenty empty names", Block(2).names().b, 1, 0, 0},
        {"functions read over", withFunctions(2, 2), 1, 1, 1},
        {"a negative parameter count", withFunctions(-3, 1), 1, 1, 1},
        {"a function record cut short", truncated, 0, 1, 0},
        {"version 1 knows no functions", Block(1).names().word(251).word(0).word(252).word(1)
                                             .expression("1", "One").b, 1, 0, 0},
        {"version 1 item", Block(1).names().word(250).word(1).oldItem(60, "Price", 0, "")
                               .word(252).word(1).expression("Price", "P").b, 1, 1, 1},
        {"version 1: no forward reference", Block(1).names().word(252).word(2)
                               .expression("Next() + 1", "First").expression("1", "Next").b, 0, 0, 0,
         {"Next() + 1:103"}},
        {"version 1: a name repeated", Block(1).names().word(252).word(2).expression("1", "A")
                               .expression("2", "A").b, 0, 0, 1, {"2:126"}},
        // Loaded, the repeated names would leave A and B naming each other.
        {"version 2: names repeated", Block(2).names().word(252).word(4).expression("B() + 1", "A")
                               .expression("A() + 2", "B").expression("5", "A").expression("6", "B").b,
         0, 0, 2, {"B() + 1:126"}},
        {"version 2: forward reference", Block(2).names().word(252).word(2)
                               .expression("Next() + 1", "First").expression("1", "Next").b, 1, 0, 2},
    };
    for (const Case &c : cases) {
        LeakCheck leaks;
        Target t;
        EXPECT_EQ(c.result, t.load(c.bytes)) << c.what;
        EXPECT_EQ(c.items, t.ec->inputItems ? SvcArrayCount(t.ec->inputItems) : 0) << c.what;
        EXPECT_EQ(c.expressions, (size_t)ZEMGetExpressionCount(t.ec)) << c.what;
        EXPECT_EQ(c.reports, gReports) << c.what;
    }
}

// Old heads are widened field by field; versions before 3 take the
// subclass that the host's ReportAverage asks of its first parameter.
TEST(Reader, OlderItemsAreWidenedAndStamped) {
    struct Case {
        int version;
        bool average;
        int subclass, params, optional, flags;
    } cases[] = {
        {0, false, 0, 7, 0, 0}, {0, true, 4, 7, 0, 0}, {1, false, 3, 7, 5, 9},
        {1, true, 4, 7, 5, 9},  {2, true, 4, 0, 0, 0}, {3, true, 3, 0, 0, 0},
    };
    // A name filling the old 40 bytes has no room for its terminator.
    std::string name(40, 'P');
    for (const Case &c : cases) {
        Target t;
        if (c.average)
            AddItem(t.ec, ZEM_ITEM_FUNCTION, "ReportAverage", ZEM_TYPE_NUMBER,
                    {.required = 1, .params = {{1, ZEM_TYPE_NUMBER, 4}}});
        Block b(c.version);
        b.names().word(250).word(1);
        if (c.version < 2) b.oldItem(c.version ? 60 : 54, name, 3, "Fn");
        else b.item(name, 0, "Fn").b[b.b.size() - 3 - 85 + 79] = 3;
        ASSERT_EQ(1, t.load(b.b)) << c.version;
        ExpItem *item = *(ExpItem **)SvcArrayLock(t.ec->inputItems, 0);
        SvcArrayUnlock(t.ec->inputItems);
        EXPECT_EQ((std::vector<int>{c.subclass, c.params, c.optional, c.flags}),
                  (std::vector<int>{item->required, item->paramCount, item->optional, item->flags}))
            << "version " << c.version << (c.average ? " with ReportAverage" : "");
        EXPECT_EQ(name.substr(0, c.version < 2 ? 39 : 40), item->name);
        EXPECT_STREQ("Fn", item->functionName);
    }
}

// Version 0 names that are date unit words get a "_": items, expression
// names, and from the first clash on the texts as well.
TEST(Reader, Version0NamesOffTheDateWords) {
    auto block = [](const char *item, std::vector<std::pair<std::string, std::string>> records) {
        Block b(0);
        b.names().word(250).word(1).oldItem(54, item, 0, "").word(252).word((unsigned)records.size());
        for (auto &r : records) b.expression(r.first, r.second);
        return b.b;
    };
    Target t;
    ASSERT_EQ(1, t.load(block("Months", {{"1", "Monthly"}, {"Months + Monthly()", "Next"}})));
    ExpItem item = {};
    EXPECT_EQ(1, ZEMGetExpressionVariable(t.ec, &item, "_Months"));
    EXPECT_STREQ("_Months + Monthly()", ZEMHEXPFromOrdinal(t.ec, 1)->text);

    // A date unit in a text before the first clash stays; behind it, it is
    // taken for a name and no longer parses.
    Target later;
    AddItem(later.ec, ZEM_ITEM_INPUT, "Due", ZEM_TYPE_DATETIME);
    EXPECT_EQ(0, later.load(block("Price", {{"Due + 3 DAYS", "Early"}, {"1", "Hours"},
                                            {"Due + 3 DAYS", "Late"}})));
    EXPECT_EQ((std::vector<std::string>{"Early", "_Hours"}), later.names());
    EXPECT_EQ((std::vector<std::string>{"Due + 3 DAYS:" + std::to_string(ParseFails(later.ec, "Due + 3 _DAYS").code)}),
              gReports);
}

TEST(Reader, NamesAndFunctionNamesAreResolved) {
    Target t;
    Bytes b = Block().names({"Plus"}).word(250).word(2).item("Price", 0, "").item("Due", 1, "Fn")
                  .b;
    EXPECT_EQ(1, t.load(b));
    EXPECT_EQ((std::vector<std::string>{"Plus", "", "Fn"}), gResolved) << "the empty name too";
    EXPECT_STREQ("Plus", t.ec->operators[0].names[0]);
    ExpItem item = {};
    EXPECT_EQ(1, ZEMGetExpressionVariable(t.ec, &item, "Due"));
    EXPECT_EQ(ZEM_TYPE_DATETIME, item.dataType);
    for (int refused : {1, 2}) {
        Target again;
        gRefuse = refused;
        EXPECT_EQ(0, again.load(b)) << "resolve refused call " << refused;
    }
}

TEST(Reader, ForwardReferencesKeepTheBlocksOrder) {
    Target t;
    AddItem(t.ec, ZEM_ITEM_INPUT, "Price", ZEM_TYPE_NUMBER);
    Bytes b = Block().names().word(252).word(3).expression("Next() + 1", "First")
                  .expression("Last() * 2", "Next").expression("Price", "Last").b;
    EXPECT_EQ(1, t.load(b));
    EXPECT_EQ((std::vector<std::string>{"First", "Next", "Last"}), t.names());
    EXPECT_EQ(0, ZEMGetExpressionOrdinal(t.ec, ZEMHEXPFromName(t.ec, "First")));
    EXPECT_EQ(3, gNotified) << "once per stored expression";
    EXPECT_TRUE(gReports.empty());
}

TEST(Reader, NamesInACircleEndTheLoad) {
    LeakCheck leaks;
    Target t;
    Bytes b = Block().names().word(252).word(2).expression("B() + 1", "A")
                  .expression("A() + 1", "B").b;
    EXPECT_EQ(0, t.load(b));
    EXPECT_EQ(0, ZEMGetExpressionCount(t.ec));
}

// The host's repair: corrections in order, 0 for a refusal.
std::vector<std::string> gFixes;
std::vector<std::string> gAsked;
const char *ZEMCALL repairText(HEC, const char *text, const char *name, const ExpError *error) {
    gAsked.push_back(std::string(name) + ":" + text + ":" + std::to_string(error->code));
    if (gFixes.empty()) return nullptr;
    static std::string fix;
    fix = gFixes.front();
    gFixes.erase(gFixes.begin());
    return fix == "refuse" ? nullptr : fix.c_str();
}

TEST(Reader, RepairThroughTheHost) {
    Bytes b = Block().names().word(250).word(1).item("Price", 0, "").word(252).word(2)
                  .expression("Price +", "Broken").expression("Price * 2", "Later").b;
    struct Case {
        const char *what;
        std::vector<std::string> fixes;
        int result;
        std::vector<std::string> stored;
        size_t asked;
    } cases[] = {
        {"a fix", {"Price + 1"}, 1, {"Broken", "Later"}, 1},
        {"a fix naming a later one", {"Later() + 1"}, 1, {"Broken", "Later"}, 1},
        {"a fix that fails again", {"Price ++", "Price - 1"}, 1, {"Broken", "Later"}, 2},
        {"a refusal", {"refuse"}, 0, {}, 1},
    };
    for (const Case &c : cases) {
        LeakCheck leaks;
        Target t;
        ZEMSetRepairCallback(t.ec, repairText);
        gFixes = c.fixes;
        gAsked.clear();
        EXPECT_EQ(c.result, t.load(b)) << c.what;
        EXPECT_EQ(c.stored, t.names()) << c.what;
        EXPECT_EQ(c.asked, gAsked.size()) << c.what;
        EXPECT_EQ("Broken:Price +:109", gAsked[0]) << c.what;
        EXPECT_TRUE(gReports.empty()) << "a refusal says nothing more";
    }
}

TEST(Reader, ARefusalAmongWaitingTextsFailsTheLoad) {
    Target t;
    AddItem(t.ec, ZEM_ITEM_INPUT, "Price", ZEM_TYPE_NUMBER);
    ZEMSetRepairCallback(t.ec, repairText);
    gFixes = {"refuse"};
    Bytes b = Block().names().word(252).word(3).expression("Later() + 1", "First")
                  .expression("Price +", "Broken").expression("Price", "Later").b;
    EXPECT_EQ(0, t.load(b));
    EXPECT_EQ(0, ZEMSetECContents(nullptr, (int32_t)b.size(), b.data(), 1, onError));
}

#ifndef _WIN32
TEST(Reader, WithoutABuilderAFailedTextIsReported) {
    Target t;
    Bytes b = Block().names().word(252).word(1).expression("1 +", "Broken").b;
    EXPECT_EQ(0, t.load(b));
    EXPECT_EQ((std::vector<std::string>{"1 +:109"}), gReports);
}

int gShown;
int32_t ZEMCALL countShown(HZEMWND, const char *, const ExpError *, const char *, int32_t) {
    return ++gShown;
}

// Without an error callback, versions 0 and 1 fail silently.
TEST(Reader, OnlyNewerVersionsShowTheError) {
    ZEMErrorDisplayHook former = ZEMSetErrorDisplayHook(countShown);
    for (int version : {1, 2}) {
        HEC ec = ZEMCreateEC(nullptr, nullptr, nullptr, 0);
        Bytes b = Block(version).names().word(252).word(1).expression("1 +", "Broken").b;
        gShown = 0;
        EXPECT_EQ(0, ZEMSetECContents(ec, (int32_t)b.size(), b.data(), 1, nullptr));
        EXPECT_EQ(version == 2, gShown) << version;
        ZEMDestroyEC(ec);
    }
    ZEMSetErrorDisplayHook(former);
}
#endif

// Random contexts: operator names, items with subclasses and function
// names, formulas naming items and earlier or later formulas, ranges, sets,
// dates. Read into a fresh context they write the same bytes.
TEST(Reader, RandomContextsComeBackByteForByte) {
    auto block = [](HEC ec) {
        Bytes out((size_t)ZEMGetECBlockSize(ec, 1));
        ZEMGetECBlock(ec, (int32_t)out.size(), out.data());
        return out;
    };
    for (unsigned seed = 1; seed <= 30; seed++) {
        unsigned state = seed;
        auto pick = [&](unsigned n) {
            state = state * 1103515245u + 12345u;
            return (state >> 16) % n;
        };
        Target source;
        ZEMSetOperatorCallback(source.ec, (int16_t)pick(4), ZEM_TYPE_STRING, "Join");
        AddItem(source.ec, ZEM_ITEM_INPUT, "Due", ZEM_TYPE_DATETIME);
        unsigned items = 1 + pick(4), formulas = 1 + pick(6);
        for (unsigned i = 0; i < items; i++)
            AddItem(source.ec, ZEM_ITEM_INPUT, ("I" + std::to_string(i)).c_str(), ZEM_TYPE_NUMBER,
                    {.required = (int)pick(4), .functionName = pick(2) ? "Get" : nullptr});
        std::vector<HEXP> made;
        std::vector<unsigned> rank;
        for (unsigned i = 0; i < formulas; i++) {
            made.push_back(ParseOk(source.ec, "1", ("F" + std::to_string(i)).c_str()));
            rank.push_back(pick(100));
        }
        // A formula names only lower-ranked ones, wherever they stand: no circle.
        for (unsigned i = 0; i < formulas; i++) {
            std::string item = "I" + std::to_string(pick(items));
            std::string text = item + " * " + std::to_string(pick(9));
            unsigned j = pick(formulas);
            if (rank[j] < rank[i]) text += " + F" + std::to_string(j) + "()";
            ExpError error = {};
            uint16_t type = 0;
            std::string name = "F" + std::to_string(i);
            ASSERT_EQ(made[i], ZEMParseFormula(source.ec, made[i], text.c_str(), name.c_str(), &error, &type))
                << text << " error " << error.code;
        }
        std::string item = "I" + std::to_string(pick(items));
        const char *extras[] = {"Due + 1 MONTH", "1, 2, %s", "%s AND 10", "%s / 4"};
        for (unsigned k = pick(4); k < 4; k++) {
            char text[64];
            snprintf(text, sizeof text, extras[k], item.c_str());
            ParseOk(source.ec, text, ("X" + std::to_string(k)).c_str());
        }
        Bytes first = block(source.ec);
        Target copy;
        ASSERT_EQ(1, copy.load(first)) << "seed " << seed;
        EXPECT_EQ(first, block(copy.ec)) << "seed " << seed;
    }
}

TEST(Reader, EveryAllocationFailingOnce) {
    Bytes current = Block().names({"Plus"}).word(250).word(1).item("Price", 0, "Fn").word(252)
                        .word(2).expression("Next() + 1", "First").expression("Price", "Next").b;
    Bytes oldest = Block(0).names().word(250).word(1).oldItem(54, "Days", 0, "Fn").word(251)
                       .word(1).oldFunction(1, "Fn").word(252).word(2)
                       .expression("Days + 1", "Next").expression("Next() * 2", "Last").b;
    for (const Bytes &b : {current, oldest})
        EachAllocationFails([&](int n) {
            HEC ec = ZEMCreateEC(nullptr, resolve, nullptr, 0);
            gFixes.clear();  // a repair is refused: no dialog comes up
            ZEMSetRepairCallback(ec, repairText);
            int result = ec ? ZEMSetECContents(ec, (int32_t)b.size(), b.data(), 1, onError) : 0;
            EXPECT_TRUE(result == 0 || ZEMGetExpressionCount(ec) == 2) << n;
            ZEMDestroyEC(ec);
        });
}

}  // namespace
