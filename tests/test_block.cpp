// The context block writer and its size. Every expected block is written
// out byte by byte here, so the same vectors hold on 32-bit and 64-bit
// builds: the block does not depend on the width of pointers.
#include <string.h>

#include <string>
#include <vector>

#include "context/ec.h"
#include "context/items.h"
#include "support.h"

namespace {

typedef std::vector<unsigned char> Bytes;

// Pieces of an expected block.
Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}
Bytes zeros(size_t n) { return Bytes(n, 0); }
Bytes text(const char *t) { return Bytes(t, t + strlen(t) + 1); }  // with its terminator

const Bytes kEmptyNames = cat({{3}, zeros(20)});

void ZEMCALL someCode(void) {}
ZEMProc ZEMCALL resolveAny(const char *) { return someCode; }

struct Context {
    HEC ec;
    explicit Context(uint16_t flags = 0, ZEMResolveCallback resolve = nullptr)
        : ec(ZEMCreateEC(nullptr, resolve, nullptr, flags)) {}
    ~Context() { ZEMDestroyEC(ec); }

    // An input item; the name field is copied whole, bytes behind the
    // terminator included.
    int item(const char *nameField, size_t fieldBytes, int type, const char *function = nullptr,
             int16_t params = 0, uint16_t subclass = 0, uint16_t optional = 0,
             uint16_t flags = 0) {
        union {
            ExpItem item;
            unsigned char bytes[ZEM_EXPITEM_SIZE(1)];
        } h;
        memset(h.bytes, 0, sizeof h.bytes);
        h.item.kind = ZEM_ITEM_INPUT;
        h.item.dataType = (int16_t)type;
        h.item.functionName = function;
        memcpy(h.item.name, nameField, fieldBytes);
        h.item.paramCount = params;
        h.item.required = subclass;
        h.item.optional = optional;
        h.item.flags = flags;
        return ZEMAddExpressionItem(ec, &h.item);
    }
    int item(const char *name) { return item(name, strlen(name) + 1, ZEM_TYPE_NUMBER); }

    HEXP parse(const char *t, const char *name) { return ParseOk(ec, t, name); }

    // The operator name of an operator code and data type slot.
    void setOperator(int code, int slot, const char *name) {
        ASSERT_EQ(ZEMSetOperatorCallback(ec, (int16_t)code, (int16_t)slot, name), 1);
    }

    // The block written into a buffer of bufferSize bytes followed by a
    // guard region; checks that nothing beyond bufferSize was touched.
    Bytes block(int32_t bufferSize) {
        const size_t guard = 32;
        Bytes buffer((size_t)bufferSize + guard, 0xA5);
        uint32_t got = ZEMGetECBlock(ec, bufferSize, buffer.data());
        EXPECT_LE(got, (uint32_t)bufferSize);
        for (size_t i = (size_t)bufferSize; i < buffer.size(); i++)
            if (buffer[i] != 0xA5) {
                ADD_FAILURE() << "byte " << i << " written past a buffer of " << bufferSize;
                break;
            }
        for (size_t i = got; i < (size_t)bufferSize; i++)
            if (buffer[i] != 0xA5) {
                ADD_FAILURE() << "byte " << i << " written behind the result " << got;
                break;
            }
        buffer.resize(got <= (uint32_t)bufferSize ? got : 0);
        return buffer;
    }
    Bytes block() { return block((int32_t)ZEMGetECBlockSize(ec, 1)); }
};

}  // namespace

TEST(Block, NullContextIsTheVersionByte) {
    EXPECT_EQ(ZEMGetECBlockSize(nullptr, 1), 1u);
    EXPECT_EQ(ZEMGetECBlockSize(nullptr, 0), 1u);
    unsigned char buffer[4] = {9, 9, 9, 9};
    EXPECT_EQ(ZEMGetECBlock(nullptr, 4, buffer), 1u);
    EXPECT_EQ(Bytes(buffer, buffer + 4), (Bytes{3, 9, 9, 9}));
    // No room at all, or no buffer: nothing is written.
    buffer[0] = 9;
    EXPECT_EQ(ZEMGetECBlock(nullptr, 0, buffer), 0u);
    EXPECT_EQ(ZEMGetECBlock(nullptr, -5, buffer), 0u);
    EXPECT_EQ(buffer[0], 9);
    Context c;
    EXPECT_EQ(ZEMGetECBlock(c.ec, 100, nullptr), 0u);
}

TEST(Block, EmptyContextAndOneFormula) {
    LeakCheck leaks;
    Context c;
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), 21u);
    EXPECT_EQ(c.block(), kEmptyNames);

    c.parse("1+1", "F");
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), 31u);
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 0), 21u);
    EXPECT_EQ(c.block(), (Bytes{3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                252, 0, 1, 0, '1', '+', '1', 0, 'F', 0}));
    // Sized without expressions: a complete block that stops behind the names.
    EXPECT_EQ(c.block(21), kEmptyNames);
}

TEST(Block, OperatorNamesStandInTableOrder) {
    LeakCheck leaks;
    Context c;
    // Names tell their operator code (P + code 0, M - 1, D / 2, T * 3,
    // C || 4) and their data type slot.
    const char *const letters = "PMDTC";
    for (int code = 0; code < 5; code++)
        for (int slot = 0; slot < 4; slot++) {
            char name[3] = {letters[code], (char)('0' + slot), 0};
            c.setOperator(code, slot, name);
        }
    Bytes expected = cat({{3}, text("P0"), text("P1"), text("P2"), text("P3"),  // +
                          text("M0"), text("M1"), text("M2"), text("M3"),       // -
                          text("T0"), text("T1"), text("T2"), text("T3"),       // *
                          text("D0"), text("D1"), text("D2"), text("D3"),       // /
                          text("C0"), text("C1"), text("C2"), text("C3")});     // ||
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), 61u);
    EXPECT_EQ(c.block(), expected);
}

TEST(Block, AbsentOperatorNamesAreSingleZeros) {
    LeakCheck leaks;
    Context c;
    c.setOperator(3, 0, "Times");   // * on Number
    c.setOperator(2, 2, "Divide");  // / on String
    c.setOperator(4, 3, "Join");    // || on Keyword
    EXPECT_EQ(c.block(), cat({{3}, zeros(8), text("Times"), zeros(3), zeros(2), text("Divide"),
                              zeros(1), zeros(3), text("Join")}));
}

TEST(Block, InputItemRecords) {
    LeakCheck leaks;
    Context c(0, resolveAny);
    // A name with bytes behind its terminator, and every field set apart.
    char field[65] = "Qty\0junk!";
    field[64] = 0x7E;
    ASSERT_EQ(c.item(field, sizeof field, ZEM_TYPE_STRING, "GetQty", -1, 0x0102, 0x0304, 0x8021), 1);
    ASSERT_EQ(c.item("D", 2, ZEM_TYPE_DATETIME, nullptr, 0, 7, 0, 0), 1);

    Bytes qtyName = cat({{'Q', 't', 'y', 0, 'j', 'u', 'n', 'k', '!'}, zeros(55), {0x7E}});
    Bytes expected = cat({kEmptyNames, {250, 0, 2, 0},
                          // kind, type, two zero words, name, -1, 0x0102, 0x0304, 0x8021
                          {1, 0, 2, 0}, zeros(8), qtyName, {0xFF, 0xFF, 0x02, 0x01, 0x04, 0x03, 0x21, 0x80},
                          text("GetQty"),
                          {1, 0, 1, 0}, zeros(8), {'D'}, zeros(64), {0, 0, 7, 0, 0, 0, 0, 0},
                          {0}});
    ASSERT_EQ(expected.size(), 21u + 4 + 85 + 7 + 85 + 1);
    // The items in memory keep their function name and resolved callback.
    ExpItem *qty = itemFind(c.ec->inputItems, "Qty");
    ASSERT_NE(qty, nullptr);
    const char *function = qty->functionName;  // packed fields: read by value
    ZEMProc callback = qty->callback;
    ASSERT_NE(function, nullptr);
    ASSERT_EQ(callback, (ZEMProc)someCode);

    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), expected.size());
    EXPECT_EQ(c.block(), expected);

    const char *functionAfter = qty->functionName;
    ZEMProc callbackAfter = qty->callback;
    EXPECT_EQ(functionAfter, function);
    EXPECT_STREQ(functionAfter, "GetQty");
    EXPECT_EQ(callbackAfter, callback);
    const char *none = itemFind(c.ec->inputItems, "D")->functionName;
    EXPECT_EQ(none, nullptr);
}

TEST(Block, EmptiedItemStore) {
    LeakCheck leaks;
    Context c;
    ASSERT_EQ(c.item("Gone"), 1);
    ASSERT_EQ(ZEMDeleteAllECVars(c.ec), 1);
    ASSERT_NE(c.ec->inputItems, 0u) << "the store keeps its array";
    const Bytes header = {250, 0, 0, 0};

    // No expressions: a buffer of exactly the size leaves the header out,
    // one byte more takes it.
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), 25u);
    EXPECT_EQ(c.block(25), kEmptyNames);
    EXPECT_EQ(c.block(26), cat({kEmptyNames, header}));

    // With an expression behind it the header is there, count 0.
    c.parse("1+1", "F");
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 1), 35u);
    EXPECT_EQ(c.block(), cat({kEmptyNames, header, {252, 0, 1, 0}, text("1+1"), text("F")}));
}

TEST(Block, SizedWithoutExpressions) {
    LeakCheck leaks;
    Context c;
    ASSERT_EQ(c.item("A"), 1);
    c.parse("A * 2", "Twice");
    Bytes items = cat({kEmptyNames, {250, 0, 1, 0}, {1, 0, 0, 0}, zeros(8), {'A'}, zeros(64),
                       zeros(8), {0}});
    EXPECT_EQ(ZEMGetECBlockSize(c.ec, 0), items.size());
    EXPECT_EQ(c.block((int32_t)items.size()), items);
    EXPECT_EQ(c.block(), cat({items, {252, 0, 1, 0}, text("A * 2"), text("Twice")}));
}

TEST(Block, GeneratedNamesAreStoredAsTheyAre) {
    LeakCheck leaks;
    Context c(ECFlagRangesAndSets);
    c.parse("2*3", nullptr);
    c.parse("1 AND 5", nullptr);  // a Range: its label is double-byte
    EXPECT_EQ(c.block(), cat({kEmptyNames, {252, 0, 2, 0}, text("2*3"), text("Formula1"),
                              text("1 AND 5"), {0x94, 0xCD, 0x88, 0xCD, '1', 0}}));
}

// A name that does not fit is skipped and the later, shorter ones are still
// written; an item that does not fit lets a later one in.
TEST(Block, ShortBuffersSkipWhatDoesNotFit) {
    LeakCheck leaks;
    Context c;
    c.setOperator(0, 0, "LongName");
    EXPECT_EQ(c.block(5), (Bytes{3, 0, 0, 0, 0}));

    Context d;
    ASSERT_EQ(d.item("Big", 4, ZEM_TYPE_NUMBER, "ALongFunction"), 1);
    ASSERT_EQ(d.item("B"), 1);
    Bytes b = cat({{1, 0, 0, 0}, zeros(8), {'B'}, zeros(64), zeros(8), {0}});
    EXPECT_EQ(d.block(21 + 4 + 86), cat({kEmptyNames, {250, 0, 2, 0}, b}));
}

// Every buffer from none to the full size: never a byte past the buffer,
// never a result above it, and only the full size gives the whole block.
TEST(Block, EveryBufferSize) {
    LeakCheck leaks;
    Context c;
    c.setOperator(1, 2, "Minus");
    c.setOperator(4, 0, "Cat");
    ASSERT_EQ(c.item("Price", 6, ZEM_TYPE_NUMBER, "PriceOf"), 1);
    ASSERT_EQ(c.item("Qty"), 1);
    c.parse("Price * Qty", "Total");
    c.parse("Total() + 1", "More");
    uint32_t full = ZEMGetECBlockSize(c.ec, 1);
    // version, names (18 absent, Minus, Cat), items (header, Price with
    // PriceOf, Qty), expressions (header, two texts with their names)
    ASSERT_EQ(full, 1u + (18 + 6 + 4) + (4 + 93 + 86) + (4 + 18 + 17));
    Bytes whole = c.block();
    ASSERT_EQ(whole.size(), full);
    for (int32_t n = 0; n < (int32_t)full; n++) {
        Bytes part = c.block(n);
        EXPECT_LT(part.size(), full) << "buffer of " << n;
    }
}

TEST(Block, SameBytesInBothCodePages) {
    LeakCheck leaks;
    uint32_t before = ZEMGetSystemCodePage();
    const char name[] = "\x83\x41";  // one character in 932, two in 1252
    Bytes expected = cat({kEmptyNames, {250, 0, 1, 0}, {1, 0, 0, 0}, zeros(8), {0x83, 0x41},
                          zeros(63), zeros(8), text("\x83\x41")});
    for (uint32_t page : {932u, 1252u}) {
        ZEMSetSystemCodePage(page);
        Context c;
        ASSERT_EQ(c.item(name, sizeof name, ZEM_TYPE_NUMBER, name), 1);
        EXPECT_EQ(c.block(), expected) << "code page " << page;
    }
    ZEMSetSystemCodePage(before);
}
