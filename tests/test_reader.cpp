// Reading context blocks: hand-made blocks of every shape, forward
// references and the order they leave, repairs through the host's callback,
// a round trip through the writer, and failed allocations.
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
    explicit Block(int version = 3) { b.push_back((unsigned char)version); }
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
#endif

TEST(Reader, RoundTripGivesTheSameBytes) {
    auto block = [](HEC ec) {
        Bytes out((size_t)ZEMGetECBlockSize(ec, 1));
        ZEMGetECBlock(ec, (int32_t)out.size(), out.data());
        return out;
    };
    Target source;
    ZEMSetOperatorCallback(source.ec, 0, ZEM_TYPE_STRING, "Join");
    AddItem(source.ec, ZEM_ITEM_INPUT, "Price", ZEM_TYPE_NUMBER, {.required = 3, .functionName = "GetPrice"});
    AddItem(source.ec, ZEM_ITEM_INPUT, "Due", ZEM_TYPE_DATETIME);
    HEXP next = ParseOk(source.ec, "1", "Next");
    ParseOk(source.ec, "Price * 2", "Double");
    ExpError error = {};
    uint16_t type = 0;
    ASSERT_EQ(next, ZEMParseFormula(source.ec, next, "Double() + 1", "Next", &error, &type))
        << "a formula naming a later one";
    ParseOk(source.ec, "Price AND Double()", "Span");
    ParseOk(source.ec, "1, 2, Price", "Group");
    ParseOk(source.ec, "Due + 1 MONTH", nullptr);
    Bytes first = block(source.ec);
    Target copy;
    ASSERT_EQ(1, copy.load(first));
    EXPECT_EQ(first, block(copy.ec));
}

TEST(Reader, EveryAllocationFailingOnce) {
    Bytes b = Block().names({"Plus"}).word(250).word(1).item("Price", 0, "Fn").word(252).word(2)
                  .expression("Next() + 1", "First").expression("Price", "Next").b;
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
