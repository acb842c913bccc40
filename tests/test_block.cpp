// The context block: the writer byte by byte (the same on 32 and 64 bits), and
// the reader on hand-made blocks of every version, repairs and a round trip.
#include <string.h>
#include <string>
#include <vector>

#include "context/ec.h"
#include "context/expressions.h"
#include "context/items.h"
#include "support.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Block {
    Bytes b;
    // Version 0 has no version byte: the first name's terminator stands there.
    explicit Block(int version = 3) { if (version) b.push_back((unsigned char)version); }
    Block &text(const std::string &s) { return b.insert(b.end(), s.c_str(), s.c_str() + s.size() + 1), *this; }
    Block &word(unsigned w) { return b.insert(b.end(), {(unsigned char)(w & 0xFF), (unsigned char)(w >> 8)}), *this; }
    Block &zeros(size_t n) { return b.insert(b.end(), n, 0), *this; }
    Block &bytes(const Bytes &more) { return b.insert(b.end(), more.begin(), more.end()), *this; }
    Block &names(const std::vector<std::string> &given = {}) {
        for (size_t i = 0; i < 20; i++) text(i < given.size() ? given[i] : "");
        return *this;
    }
    // An input item's 85-byte head: kind, type, two zero words, the name in
    // 65 bytes, parameter count, subclass, optional count, flags.
    Block &item(const std::string &name, int type, const std::string &function, unsigned subclass = 0) {
        word(1).word((unsigned)type).zeros(8).bytes(Bytes(name.begin(), name.end()));
        return zeros(65 - name.size()).word(0).word(subclass).word(0).word(0).text(function);
    }
    // The heads of versions 0 (54 bytes) and 1 (60): the name in 40 bytes.
    Block &oldItem(size_t size, const std::string &name, int subclass, const std::string &function) {
        Bytes head(size, 0);
        head[0] = 1;
        memcpy(head.data() + 12, name.c_str(), name.size());
        head[52] = 7;
        if (size > 54) head[54] = (unsigned char)subclass, head[56] = 5, head[58] = 9;
        return bytes(head).text(function);
    }
    Block &oldFunction(int params, const std::string &name) {
        zeros(52).word((unsigned)params & 0xFFFF);
        b.insert(b.end(), 6 * (size_t)(params < 0 ? 0 : params), 0xEE);
        return text(name);
    }
    Block &expression(const std::string &text_, const std::string &name) { return text(text_).text(name); }
};

const Bytes kEmptyNames = Block().names().b;

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
void ZEMCALL onError(HEC, const char *text, const ExpError *error) { gReports.push_back(std::string(text) + ":" + std::to_string(error->code)); }
// The host's repair: the corrections in order, "refuse" for none.
std::vector<std::string> gFixes, gAsked;
const char *ZEMCALL repairText(HEC, const char *text, const char *name, const ExpError *error) {
    gAsked.push_back(std::string(name) + ":" + text + ":" + std::to_string(error->code));
    if (gFixes.empty()) return nullptr;
    static std::string fix;
    fix = gFixes.front();
    gFixes.erase(gFixes.begin());
    return fix == "refuse" ? nullptr : fix.c_str();
}

struct Target {
    HEC ec;
    explicit Target(uint16_t flags = ECFlagRangesAndSets) : ec(ZEMCreateEC(nullptr, resolve, nullptr, flags)) {
        gResolved.clear(), gReports.clear(), gRefuse = 0, gNotified = 0;
        ZEMSetNotifyCallback(ec, notify);
    }
    ~Target() { ZEMDestroyEC(ec); }
    int load(const Bytes &b, int expressions = 1) { return ZEMSetECContents(ec, (int32_t)b.size(), b.data(), expressions, onError); }
    std::vector<std::string> names() {
        std::vector<std::string> out;
        for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++) out.push_back(ZEMHEXPFromOrdinal(ec, i)->name);
        return out;
    }
    HEXP parse(const char *t, const char *name) { return ParseOk(ec, t, name); }
    void setOperator(int code, int slot, const char *name) { ASSERT_EQ(ZEMSetOperatorCallback(ec, (int16_t)code, (int16_t)slot, name), 1); }
    // The block written into a buffer of bufferSize bytes: nothing behind the result is touched.
    Bytes block(int32_t bufferSize) {
        Bytes buffer((size_t)bufferSize + 32, 0xA5);
        uint32_t got = ZEMGetECBlock(ec, bufferSize, buffer.data());
        EXPECT_LE(got, (uint32_t)bufferSize);
        for (size_t i = got; i < buffer.size(); i++)
            if (buffer[i] != 0xA5) {
                ADD_FAILURE() << "byte " << i << " written behind the result " << got << " in " << bufferSize;
                break;
            }
        buffer.resize(got <= (uint32_t)bufferSize ? got : 0);
        return buffer;
    }
    Bytes block() { return block((int32_t)ZEMGetECBlockSize(ec, 1)); }
};

}  // namespace

TEST(Block, NullAndEmptyContexts) {
    LeakCheck leaks;
    EXPECT_EQ(ZEMGetECBlockSize(nullptr, 1) + ZEMGetECBlockSize(nullptr, 0), 2u);
    unsigned char buffer[4] = {9, 9, 9, 9};
    EXPECT_EQ(ZEMGetECBlock(nullptr, 4, buffer), 1u);
    EXPECT_EQ(Bytes(buffer, buffer + 4), (Bytes{3, 9, 9, 9}));
    buffer[0] = 9;
    EXPECT_EQ(ZEMGetECBlock(nullptr, 0, buffer) + ZEMGetECBlock(nullptr, -5, buffer), 0u);
    EXPECT_EQ(buffer[0], 9);
    Target c(0);
    EXPECT_EQ(ZEMGetECBlock(c.ec, 100, nullptr), 0u);
    EXPECT_EQ(c.block(), kEmptyNames);
    c.parse("1", "F");
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), 29u);
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 0), 21u);
    EXPECT_EQ(c.block(), Block().names().word(252).word(1).expression("1", "F").b);
    // A header that would end the buffer is left out, its section with it.
    EXPECT_EQ(c.block(25), kEmptyNames);
}

TEST(Block, OperatorNamesInTheirSlots) {
    LeakCheck leaks;
    Target some(0);
    some.setOperator(2, 2, "Divide");
    some.setOperator(4, 3, "Join");
    EXPECT_EQ(some.block(), Block().zeros(14).text("Divide").zeros(4).text("Join").b);
    some.setOperator(0, 0, "LongName");
    EXPECT_EQ(some.block(5), (Bytes{3, 0, 0, 0, 0})) << "a name that does not fit is skipped, later ones written";
}

TEST(Block, ItemRecordsAndSections) {
    LeakCheck leaks;
    Target c(0);
    // A name with bytes behind its terminator, and every field set apart.
    unsigned char record[ZEM_EXPITEM_SIZE(1)] = {};
    ExpItem *h = (ExpItem *)record;
    h->kind = ZEM_ITEM_INPUT, h->dataType = ZEM_TYPE_STRING, h->functionName = "GetQty";
    memcpy(h->name, "Qty\0junk!", 9);
    h->name[64] = 0x7E, h->paramCount = -1, h->required = 0x0102, h->optional = 0x0304, h->flags = 0x8021;
    ASSERT_EQ(ZEMAddExpressionItem(c.ec, h), 1);
    AddItem(c.ec, ZEM_ITEM_INPUT, "D", ZEM_TYPE_DATETIME, {.required = 7});
    Bytes expected = Block().names().word(250).word(2).word(1).word(2).zeros(8)
                         .bytes({'Q', 't', 'y', 0, 'j', 'u', 'n', 'k', '!'}).zeros(55)
                         .bytes({0x7E, 0xFF, 0xFF, 0x02, 0x01, 0x04, 0x03, 0x21, 0x80}).text("GetQty")
                         .item("D", 1, "", 7).b;
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), expected.size());
    EXPECT_EQ(c.block(), expected);
    // An item that does not fit lets a later one in.
    Target d(0);
    AddItem(d.ec, ZEM_ITEM_INPUT, "Big", 0, {.functionName = "ALongFunction"});
    AddItem(d.ec, ZEM_ITEM_INPUT, "B", 0);
    EXPECT_EQ(d.block(21 + 4 + 86), Block().names().word(250).word(2).item("B", 0, "").b);
    // An emptied store keeps its header, count 0, when there is room behind it.
    ASSERT_EQ(ZEMDeleteAllECVars(d.ec), 1);
    EXPECT_EQ(ZEMGetECBlockSize(d.ec, 1), 25u);
    EXPECT_EQ(d.block(25), kEmptyNames);
    d.parse("1+1", "F");
    EXPECT_EQ(d.block(), Block().names().word(250).word(0).word(252).word(1).expression("1+1", "F").b);
}

TEST(Block, GeneratedNamesAndEveryBufferSize) {
    LeakCheck leaks;
    Target c;
    c.parse("2*3", nullptr);
    c.parse("1 AND 5", nullptr);  // a Range: its label is double-byte
    EXPECT_EQ(c.block(), Block().names().word(252).word(2).expression("2*3", "Formula1")
                             .expression("1 AND 5", "\x94\xCD\x88\xCD" "1").b);
    c.setOperator(1, 2, "Minus");
    AddItem(c.ec, ZEM_ITEM_INPUT, "Price", 0, {.functionName = "PriceOf"});
    uint32_t full = ZEMGetECBlockSize(c.ec, 1);
    ASSERT_EQ(full, c.block().size());
    for (int32_t n = 0; n < (int32_t)full; n++) EXPECT_LT(c.block(n).size(), full) << "buffer of " << n;
}

TEST(Reader, ShapesOfBlocks) {
    std::vector<std::string> cat(20, "");
    cat[19] = "cat";
    Bytes sections = Block().names().word(250).word(1).item("Price", 0, "").word(252).word(1)
                         .expression("Price * 2", "Double").b;
    auto withFunctions = [](int params, int count) {
        Block b(0);
        b.names().word(250).word(1).oldItem(54, "Price", 0, "").word(251).word(count);
        for (int i = 0; i < count; i++) b.oldFunction(params, i ? "" : "Fn");
        return b.word(252).word(1).expression("Price * 2", "Double").b;
    };
    Bytes truncated = withFunctions(2, 1);
    truncated.resize(truncated.size() - 25);  // inside the function record
    struct Case { const char *what; Bytes bytes; int loadExpressions, result; size_t items, expressions; std::vector<std::string> reports = {}; } cases[] = {
        {"ends behind the twentieth name", Block().names(cat).b, 1, 1, 0, 0},
        {"a header that ends the block", Block().names().word(250).word(0).b, 1, 0, 0, 0},
        {"items and expressions", sections, 1, 1, 1, 1},
        {"expressions not asked for", sections, 0, 1, 1, 0},
        {"negative count", Block().names().word(250).word(0x8001).word(252).word(0).expression("1", "One").b, 1, 1, 0, 0},
        {"a text past the end", Block().names().word(252).word(2).expression("1", "One").text("2").b, 1, 0, 0, 0},
        {"a name cut short", Bytes(sections.begin(), sections.end() - 1), 1, 0, 1, 0},
        {"a record without a name", Block().names().word(252).word(1).expression("7", "").b, 1, 1, 0, 1},
        {"another version", Block(4).names().b, 1, 0, 0, 0},
        {"the version byte alone", Block().b, 1, 0, 0, 0},
        {"version 0: ends behind a name", Block(0).names(cat).b, 1, 1, 0, 0},
        {"functions read over", withFunctions(2, 2), 1, 1, 1, 1},
        {"a negative parameter count", withFunctions(-3, 1), 1, 1, 1, 1},
        {"a function record cut short", truncated, 1, 0, 1, 0},
        {"version 1 knows no functions", Block(1).names().word(251).word(0).word(252).word(1).expression("1", "One").b, 1, 1, 0, 0},
        {"version 1: no forward reference", Block(1).names().word(252).word(2).expression("Next() + 1", "First")
                               .expression("1", "Next").b, 1, 0, 0, 0, {"Next() + 1:103"}},
        {"version 1: a name repeated", Block(1).names().word(252).word(2).expression("1", "A").expression("2", "A").b,
         1, 0, 0, 1, {"2:126"}},
        // Loaded, the repeated names would leave A and B naming each other.
        {"version 2: names repeated", Block(2).names().word(252).word(4).expression("B() + 1", "A")
                               .expression("A() + 2", "B").expression("5", "A").expression("6", "B").b,
         1, 0, 0, 2, {"B() + 1:126"}},
        {"version 2: forward reference", Block(2).names().word(252).word(2).expression("Next() + 1", "First")
                               .expression("1", "Next").b, 1, 1, 0, 2},
        {"names in a circle", Block().names().word(252).word(2).expression("B() + 1", "A").expression("A() + 1", "B").b,
         1, 0, 0, 0},
    };
    for (const Case &c : cases) {
        LeakCheck leaks;
        Target t;
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.result, t.load(c.bytes, c.loadExpressions));
        EXPECT_EQ(c.items, t.ec->inputItems ? SvcArrayCount(t.ec->inputItems) : 0);
        EXPECT_EQ(c.expressions, (size_t)ZEMGetExpressionCount(t.ec));
        EXPECT_EQ(c.reports, gReports);
    }
}

// Old heads are widened field by field; versions before 3 take the
// subclass that the host's ReportAverage asks of its first parameter.
TEST(Reader, OlderItemsAreWidenedAndStamped) {
    struct Case { int version; bool average; int subclass, params, optional, flags; } cases[] = {
        {0, true, 4, 7, 0, 0}, {1, false, 3, 7, 5, 9}, {1, true, 4, 7, 5, 9}, {2, true, 4, 0, 0, 0}, {3, true, 3, 0, 0, 0},
    };
    std::string name(40, 'P');  // fills the old 40 bytes, no room for the terminator
    for (const Case &c : cases) {
        Target t;
        if (c.average)
            AddItem(t.ec, ZEM_ITEM_FUNCTION, "ReportAverage", ZEM_TYPE_NUMBER, {.required = 1, .params = {{1, ZEM_TYPE_NUMBER, 4}}});
        Block b(c.version);
        b.names().word(250).word(1);
        if (c.version < 2) b.oldItem(c.version ? 60 : 54, name, 3, "Fn");
        else b.item(name, 0, "Fn", 3);
        ASSERT_EQ(1, t.load(b.b)) << c.version;
        ExpItem *item = itemFind(t.ec->inputItems, name.substr(0, c.version < 2 ? 39 : 40).c_str());
        ASSERT_NE(item, nullptr) << c.version;
        EXPECT_EQ((std::vector<int>{c.subclass, c.params, c.optional, c.flags}),
                  (std::vector<int>{item->required, item->paramCount, item->optional, item->flags}))
            << "version " << c.version << (c.average ? " with ReportAverage" : "");
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
    // A date unit in a text before the first clash stays; behind it, it is a name and no longer parses.
    Target later;
    AddItem(later.ec, ZEM_ITEM_INPUT, "Due", ZEM_TYPE_DATETIME);
    EXPECT_EQ(0, later.load(block("Price", {{"Due + 3 DAYS", "Early"}, {"1", "Hours"}, {"Due + 3 DAYS", "Late"}})));
    EXPECT_EQ((std::vector<std::string>{"Early", "_Hours"}), later.names());
    EXPECT_EQ((std::vector<std::string>{"Due + 3 DAYS:" + std::to_string(ParseFails(later.ec, "Due + 3 _DAYS").code)}), gReports);
}

TEST(Reader, NamesResolvedAndForwardReferencesKeepTheOrder) {
    Target t;
    Bytes b = Block().names({"Plus"}).word(250).word(2).item("Price", 0, "").item("Due", 1, "Fn").word(252).word(3)
                  .expression("Next() + 1", "First").expression("Last() * 2", "Next").expression("Price", "Last").b;
    EXPECT_EQ(1, t.load(b));
    EXPECT_EQ((std::vector<std::string>{"Plus", "", "Fn"}), gResolved) << "the empty name too";
    EXPECT_STREQ("Plus", t.ec->operators[0].names[0]);
    EXPECT_EQ(ZEM_TYPE_DATETIME, inputItemType(t.ec, "Due"));
    EXPECT_EQ((std::vector<std::string>{"First", "Next", "Last"}), t.names());
    EXPECT_EQ(3, gNotified) << "once per stored expression";
    EXPECT_TRUE(gReports.empty());
    for (int refused : {1, 2}) {
        Target again;
        gRefuse = refused;
        EXPECT_EQ(0, again.load(b)) << "resolve refused call " << refused;
    }
}

TEST(Reader, RepairThroughTheHost) {
    Bytes b = Block().names().word(250).word(1).item("Price", 0, "").word(252).word(2)
                  .expression("Price +", "Broken").expression("Price * 2", "Later").b;
    Bytes waiting = Block().names().word(250).word(1).item("Price", 0, "").word(252).word(3)
                        .expression("Later() + 1", "First").expression("Price +", "Broken").expression("Price", "Later").b;
    struct Case { const char *what; const Bytes &block; std::vector<std::string> fixes; int result; std::vector<std::string> stored; size_t asked; } cases[] = {
        {"a fix naming a later one", b, {"Later() + 1"}, 1, {"Broken", "Later"}, 1},
        {"a refusal among waiting texts", waiting, {"refuse"}, 0, {}, 1},
    };
    for (const Case &c : cases) {
        LeakCheck leaks;
        Target t;
        ZEMSetRepairCallback(t.ec, repairText);
        gFixes = c.fixes;
        gAsked.clear();
        EXPECT_EQ(c.result, t.load(c.block)) << c.what;
        EXPECT_EQ(c.stored, t.names()) << c.what;
        EXPECT_EQ(c.asked, gAsked.size()) << c.what;
        EXPECT_EQ("Broken:Price +:109", gAsked[0]) << c.what;
        EXPECT_TRUE(gReports.empty()) << "a refusal says nothing more";
    }
    EXPECT_EQ(0, ZEMSetECContents(nullptr, (int32_t)b.size(), b.data(), 1, onError));
}

#ifndef _WIN32
int gShown;
int32_t ZEMCALL countShown(HZEMWND, const char *, const ExpError *, const char *, int32_t) { return ++gShown; }

// Versions 0 and 1 fail silently.
TEST(Reader, WithoutABuilderAFailedTextIsReported) {
    ZEMErrorDisplayHook former = ZEMSetErrorDisplayHook(countShown);
    for (int version : {1, 2}) {
        Target t;
        Bytes b = Block(version).names().word(252).word(1).expression("1 +", "Broken").b;
        gShown = 0;
        EXPECT_EQ(0, ZEMSetECContents(t.ec, (int32_t)b.size(), b.data(), 1, nullptr));
        EXPECT_EQ(version == 2, gShown) << version;
    }
    ZEMSetErrorDisplayHook(former);
}
#endif

TEST(Reader, RandomContextsComeBackByteForByte) {
    for (unsigned seed = 1; seed <= 30; seed++) {
        unsigned state = seed;
        auto pick = [&](unsigned n) {
            state = state * 1103515245u + 12345u;
            return (state >> 16) % n;
        };
        Target source;
        source.setOperator((int)pick(4), ZEM_TYPE_STRING, "Join");
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
            std::string text = "I" + std::to_string(pick(items)) + " * " + std::to_string(pick(9));
            unsigned j = pick(formulas);
            if (rank[j] < rank[i]) text += " + F" + std::to_string(j) + "()";
            uint16_t type = 0;
            ASSERT_EQ(made[i], ZEMParseFormula(source.ec, made[i], text.c_str(), ("F" + std::to_string(i)).c_str(), nullptr, &type)) << text;
        }
        for (const char *text : {"Due + 1 MONTH", "1, 2, I0", "I0 AND 10"}) ParseOk(source.ec, text, nullptr);
        Bytes first = source.block();
        Target copy;
        ASSERT_EQ(1, copy.load(first)) << "seed " << seed;
        EXPECT_EQ(first, copy.block()) << "seed " << seed;
    }
}

TEST(Reader, EveryAllocationFailingOnce) {
    Bytes current = Block().names({"Plus"}).word(250).word(1).item("Price", 0, "Fn").word(252).word(3)
                        .expression("Next() + 1", "First").expression("Price +", "Next").expression("1", "Last").b;
    Bytes oldest = Block(0).names().word(250).word(1).oldItem(54, "Days", 0, "Fn").word(251).word(1)
                       .oldFunction(1, "Fn").word(252).word(2).expression("Days + 1", "Next").expression("Next() * 2", "Last").b;
    for (const Bytes &b : {current, oldest})
        EachAllocationFails([&](int n) {
            HEC ec = ZEMCreateEC(nullptr, resolve, nullptr, 0);
            gFixes = {"Price + 1"};
            ZEMSetRepairCallback(ec, repairText);
            int result = ec ? ZEMSetECContents(ec, (int32_t)b.size(), b.data(), 1, onError) : 0;
            EXPECT_TRUE(result == 0 || ZEMGetExpressionCount(ec) >= 2) << n;
            ZEMDestroyEC(ec);
        });
}
