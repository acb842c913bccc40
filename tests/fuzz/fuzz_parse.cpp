// Random bytes and random contexts into the parse entry points: the first
// bytes choose the options, code page and items; the rest is the text, cut
// at the first NUL into text and name.
#include <stdint.h>
#include <string.h>

#include <string>

#include "zemi40.h"

static void addItem(HEC ec, int kind, int type, const char *name, uint8_t bits) {
    unsigned char buf[ZEM_EXPITEM_SIZE(4)] = {};
    ExpItem *it = (ExpItem *)buf;
    it->kind = (int16_t)kind;
    it->dataType = (int16_t)type;
    strcpy(it->name, name);
    it->optional = kind == ZEM_ITEM_FUNCTION ? (bits >> 3) & 1 : bits & 1;
    if (kind == ZEM_ITEM_FUNCTION) {
        it->paramCount = (int16_t)(bits & 3);
        it->required = (uint16_t)((bits >> 2) & 1);
        it->flags = (uint16_t)((bits >> 4) & 0x1F);
        for (int i = 0; i < it->paramCount; i++)
            it->params[i] = ExpParam{(uint16_t)((bits >> (5 + i)) & 1), (uint16_t)((bits + i) % 6), 0};
    }
    ZEMAddExpressionItem(ec, it);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    uint8_t bits = data[2];
    ZEMSetSystemCodePage(data[3] & 1 ? 1252 : 932);
    std::string rest((const char *)data + 4, size - 4);
    std::string text = rest.substr(0, rest.find('\0'));
    std::string name = text.size() < rest.size() ? rest.substr(text.size() + 1) : "";
    name = name.substr(0, name.find('\0'));
    HEC ec = ZEMCreateEC(0, 0, 0, (uint16_t)(data[0] | (data[1] << 8)));
    if (!ec) return 0;
    struct { int kind, type; const char *name; uint8_t bits; } items[] = {
        {ZEM_ITEM_INPUT, bits % 4, "a", bits}, {ZEM_ITEM_INPUT, 1, "d", bits},
        {ZEM_ITEM_INPUT, 2, "s", bits},
        {ZEM_ITEM_FUNCTION, bits % 5, "f", bits}, {ZEM_ITEM_FUNCTION, 0, "g", (uint8_t)(bits * 7)},
        {ZEM_ITEM_KEYWORD, 300, "Foo Bar", bits}, {ZEM_ITEM_KEYWORD, bits & 1 ? 2 : 256, "kw", bits}};
    for (auto &i : items) addItem(ec, i.kind, i.type, i.name, i.bits);
    uint16_t type;
    ExpError err;
    ZEMParseString(ec, "a + 1", "N", &err, &type);
    HEXP e = ZEMParseString(ec, text.c_str(), name.empty() ? 0 : name.c_str(), &err, &type);
    if (e) ZEMParseFormula(ec, e, text.c_str(), "N", &err, &type);
    ZEMValidName(ec, text.c_str(), &err);
    ZEMValidName(0, name.c_str(), &err);
    ZEMDestroyEC(ec);
    return 0;
}
