// A small host of zemi40 in C++. Its input items read the cells of a
// sheet of its own, through one callback that finds the sheet by the
// context's user word; it adds a function Initials, parses and evaluates
// formulas, shows an error under its span, and saves the context as a block
// that a new context reads back.
//
// Build: c++ -std=c++17 host.cpp $(pkg-config --cflags --libs zemi40), or
// see CMakeLists.txt beside this file for find_package(zemi40).
#include <zemi40.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#ifndef _WIN32
#include <iconv.h>
#endif

namespace {

struct Sheet {
    std::map<std::string, std::string> cells;  // item name -> value as text
};

// The value of any input item. Number items get a 25-byte block, String
// items a 50-byte one that FUNStrVarResult grows as needed.
int ZEMCALL cellValue(HEC ec, HEXP, int32_t size, void **value, const char *name) {
    auto *sheet = reinterpret_cast<Sheet *>(ZEMGetUserLong(ec));
    auto cell = sheet->cells.find(name);
    if (cell == sheet->cells.end()) return 0;
    if (size == ZEM_VALUE_SIZE) {
        SvcNumFromText(static_cast<Number *>(*value), cell->second.c_str());
        return 1;
    }
    return FUNStrVarResult(value, size, cell->second.c_str());
}

// Initials(text): the first letter of each word. A String argument arrives
// as a pointer to its text.
int ZEMCALL initials(HEC, HEXP, int32_t size, void **value, const char *, void **arguments) {
    std::string out;
    const char *text = static_cast<const char *>(arguments[0]);
    for (const char *p = text; *p; p++)
        if (*p != ' ' && (p == text || p[-1] == ' ')) out += *p;
    return FUNStrVarResult(value, size, out.c_str());
}

ZEMProc ZEMCALL resolve(const char *name) {
    if (std::strcmp(name, "cell") == 0) return reinterpret_cast<ZEMProc>(cellValue);
    if (std::strcmp(name, "initials") == 0) return reinterpret_cast<ZEMProc>(initials);
    return nullptr;
}

// Texts from the library are in its code page; a UTF-8 terminal needs them
// converted (a Windows console takes them as they are).
std::string forTerminal(const char *text) {
#ifdef _WIN32
    return text;
#else
    std::string from = "CP" + std::to_string(ZEMGetSystemCodePage());
    iconv_t cd = iconv_open("UTF-8", from.c_str());
    if (cd == (iconv_t)-1) return text;
    std::vector<char> out(std::strlen(text) * 3 + 1);
    char *in = const_cast<char *>(text), *to = out.data();
    size_t inLeft = std::strlen(text), outLeft = out.size() - 1;
    iconv(cd, &in, &inLeft, &to, &outLeft);
    iconv_close(cd);
    return std::string(out.data(), to);
#endif
}

std::string lastMessage;
int32_t ZEMCALL keepMessage(HZEMWND, const char *, const ExpError *, const char *message, int32_t) {
    lastMessage = forTerminal(message);
    return 1;
}

using Context = std::unique_ptr<EC, decltype(&ZEMDestroyEC)>;

Context newContext(Sheet *sheet) {
    Context ec(ZEMCreateEC(nullptr, resolve, nullptr, 0), ZEMDestroyEC);
    if (!ec) return ec;
    ZEMSetUserLong(ec.get(), reinterpret_cast<intptr_t>(sheet));
    FUNDefineFunctions(ec.get());
    std::vector<unsigned char> record(ZEM_EXPITEM_SIZE(1));
    auto *item = reinterpret_cast<ExpItem *>(record.data());
    item->kind = ZEM_ITEM_FUNCTION;
    item->dataType = ZEM_TYPE_STRING;
    item->functionName = "initials";
    std::strcpy(item->name, "Initials");
    item->paramCount = item->required = 1;
    item->params[0].type = ZEM_TYPE_STRING;
    ZEMAddExpressionItem(ec.get(), item);
    return ec;
}

void addInput(HEC ec, const char *name, int type) {
    std::vector<unsigned char> record(ZEM_EXPITEM_SIZE(0));
    auto *item = reinterpret_cast<ExpItem *>(record.data());
    item->kind = ZEM_ITEM_INPUT;
    item->dataType = static_cast<int16_t>(type);
    item->functionName = "cell";
    std::strcpy(item->name, name);
    ZEMAddExpressionItem(ec, item);
}

// A String result through ZEMEvaluateExpressionExt: the library grows a
// buffer of ZEMMemAlloc, which the host gives back with ZEMMemFree.
void print(HEC ec, HEXP exp) {
    std::vector<char> text(ZEMGetExpressionTextLength(ec, exp) + 1);
    ZEMGetExpressionText(ec, exp, static_cast<int32_t>(text.size()), text.data());
    uint32_t length = 0;
    void *buffer = nullptr;
    if (ZEMEvaluateExpressionExt(ec, exp, &length, &buffer))
        std::printf("%s -> %s\n", text.data(), forTerminal(static_cast<char *>(buffer)).c_str());
    else
        std::printf("%s -> no value\n", text.data());
    ZEMMemFree(buffer);
}

HEXP parse(HEC ec, const char *text, const char *name = nullptr) {
    ExpError error{};
    uint16_t type = 0;
    HEXP exp = ZEMParseString(ec, text, name, &error, &type);
    if (!exp) {
        ZEMErrorDisplay(nullptr, text, &error);
        std::printf("%s\n%*s%s error %u: %s\n", text, static_cast<int>(error.start), "",
                    std::string(error.length ? error.length : 1, '^').c_str(),
                    static_cast<unsigned>(error.code), lastMessage.c_str());
    }
    return exp;
}

}  // namespace

int main() {
    ZEMSetErrorDisplayHook(keepMessage);
    Sheet sheet{{{"Customer", "ann marie lee"}, {"Amount", "1234.5"}}};
    Context ec = newContext(&sheet);
    if (!ec) return 1;
    addInput(ec.get(), "Customer", ZEM_TYPE_STRING);
    addInput(ec.get(), "Amount", ZEM_TYPE_NUMBER);

    HEXP line = parse(ec.get(), "StrUpper(Initials(Customer)) || ': ' || NumberToStr(Amount * 2, 2)",
                      "Line");
    if (!line) return 1;
    print(ec.get(), line);
    parse(ec.get(), "Amount || Customer");  // a Number where a String must be

    std::vector<unsigned char> block(ZEMGetECBlockSize(ec.get(), 1));
    if (ZEMGetECBlock(ec.get(), static_cast<int32_t>(block.size()), block.data()) != block.size())
        return 1;
    ec.reset();

    sheet.cells["Customer"] = "bo yin";
    Context copy = newContext(&sheet);
    if (!copy || !ZEMSetECContents(copy.get(), static_cast<int32_t>(block.size()), block.data(), 1,
                                   nullptr))
        return 1;
    HEXP again = ZEMHEXPFromName(copy.get(), "Line");
    if (!again) return 1;
    std::printf("read back from a block of %zu bytes:\n", block.size());
    print(copy.get(), again);
    return 0;
}
