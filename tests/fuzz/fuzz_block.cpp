// Random blocks into ZEMSetECContents. Byte 0: bit 0 code page 1252, bit 1 a
// resolve callback, bits 2-3 the repair mode, bit 4 an error callback, bit 5
// load the expressions, bit 6 the built-in functions; byte 1 the options; byte
// 2 ReportAverage's parameters (bits 0-1) and subclass; a repair text ("" for
// "1 + 2"), terminated; the block. What loads must load again once written.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

#include "zemi40.h"

namespace {

enum RepairMode { NoRepair, Refuse, OwnText, SameTextOnce };
struct Setup { uint8_t bits, options, average; };
struct Host { RepairMode mode; const char *fixed; int repairs; std::string given; } gHost;

void ZEMCALL dummy(void) {}

volatile size_t gSink;
ZEMProc ZEMCALL resolve(const char *name) { return gSink = strlen(name), name[0] == 'X' ? nullptr : dummy; }
// Reads every byte it is given, so that a dangling text shows.
void touch(const char *text, const ExpError *error) { gSink = strlen(text) + error->code + error->start + error->length; }

void ZEMCALL onError(HEC, const char *text, const ExpError *error) { touch(text, error); }

const char *ZEMCALL repairText(HEC, const char *text, const char *name, const ExpError *error) {
    touch(text, error);
    touch(name, error);
    if (++gHost.repairs > 8 || gHost.mode < OwnText) return nullptr;
    if (gHost.mode == OwnText) return gHost.fixed;
    if (gHost.repairs > 1) return nullptr;
    return (gHost.given = text).c_str();
}

void addItem(HEC ec, int kind, int type, const char *name, int params, uint16_t subclass) {
    unsigned char buf[ZEM_EXPITEM_SIZE(2)] = {};
    ExpItem *it = (ExpItem *)buf;
    it->kind = (int16_t)kind, it->dataType = (int16_t)type, it->paramCount = (int16_t)params;
    it->callback = kind == ZEM_ITEM_KEYWORD ? nullptr : dummy;
    strcpy(it->name, name);
    it->required = (uint16_t)(params > 0 ? 1 : 0);
    for (int i = 0; i < params; i++) it->params[i] = {(uint16_t)(i == 0), (uint16_t)type, subclass};
    ZEMAddExpressionItem(ec, it);
}

HEC makeContext(const Setup &s, bool host) {
    HEC ec = ZEMCreateEC(0, s.bits & 2 ? resolve : nullptr, nullptr, s.options);
    if (!ec) return nullptr;
    if (s.bits & 64) FUNDefineFunctions(ec);
    static const int kAverageParams[4] = {0, 1, 2, -1};
    if (s.average & 3) addItem(ec, ZEM_ITEM_FUNCTION, 0, "ReportAverage", kAverageParams[s.average & 3], (uint16_t)(s.average >> 2));
    addItem(ec, ZEM_ITEM_FUNCTION, 2, "Label", 1, 0);
    addItem(ec, ZEM_ITEM_KEYWORD, 300, "High", 0, 0);
    addItem(ec, ZEM_ITEM_KEYWORD, 300, "Very Low", 0, 0);
    if (host && (s.bits >> 2 & 3)) ZEMSetRepairCallback(ec, repairText);
    return ec;
}

int load(HEC ec, const Setup &s, const std::vector<unsigned char> &block) {
    gHost.repairs = 0;
    return ZEMSetECContents(ec, (int32_t)block.size(), block.data(), s.bits >> 5 & 1, s.bits & 16 ? onError : nullptr);
}

// Whether every name finds its own expression: with a repeated name a second load may resolve otherwise.
bool namesUnique(HEC ec) {
    for (int32_t i = 0; i < ZEMGetExpressionCount(ec); i++) {
        HEXP exp = ZEMHEXPFromOrdinal(ec, i);
        std::string name((size_t)ZEMGetExpressionNameLength(ec, exp) + 1, '\0');
        ZEMGetExpressionName(ec, exp, (int32_t)name.size(), name.data());
        if (ZEMHEXPFromName(ec, name.c_str()) != exp) return false;
    }
    return true;
}

void roundTrip(HEC ec, const Setup &s) {
    uint32_t size = ZEMGetECBlockSize(ec, 1);
    std::vector<unsigned char> block(size);
    if (ZEMGetECBlock(ec, (int32_t)size, block.data()) != size) abort();
    HEC again = makeContext(s, false);
    if (!again) return;
    if (!(load(again, s, block) == 1 && ZEMGetExpressionCount(again) == ZEMGetExpressionCount(ec)) && namesUnique(ec)) abort();
    ZEMDestroyEC(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 5) return 0;
    Setup s = {data[0], data[1], data[2]};
    const uint8_t *end = (const uint8_t *)memchr(data + 3, 0, size - 3);
    if (!end || end + 1 == data + size) return 0;
    std::string fixed((const char *)data + 3, (size_t)(end - data - 3));
    std::vector<unsigned char> block(end + 1, data + size);
    block[0] &= 3;
    ZEMSetSystemCodePage(s.bits & 1 ? 1252 : 932);
    gHost.mode = (RepairMode)(s.bits >> 2 & 3);
    gHost.fixed = fixed.empty() ? "1 + 2" : fixed.c_str();
    HEC ec = makeContext(s, true);
    if (!ec) return 0;
    if (load(ec, s, block) == 1) roundTrip(ec, s);
    ZEMDestroyEC(ec);
    return 0;
}
