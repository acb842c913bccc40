/* Builds one scripted context through the public interface and writes its
 * block to a file, so that the blocks of the Linux and the Windows builds
 * can be compared byte for byte. Usage: block_dump FILE [CODEPAGE]; with a
 * code page it must be the active one or one that can be selected. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zemi40.h"

static int addInput(HEC ec, const char *name, int type) {
    unsigned char record[ZEM_EXPITEM_SIZE(1)] = {0};
    ExpItem *item = (ExpItem *)record;
    item->kind = ZEM_ITEM_INPUT;
    item->dataType = (int16_t)type;
    strcpy(item->name, name);
    return ZEMAddExpressionItem(ec, item);
}

int main(int argc, char **argv) {
    if (argc < 2) return 2;
    if (argc > 2 && !ZEMSetSystemCodePage((uint32_t)atoi(argv[2]))) {
        fprintf(stderr, "code page %s is not active and cannot be selected\n", argv[2]);
        return 2;
    }
    int dbcs = ZEMGetSystemCodePage() == 932;
    HEC ec = ZEMCreateEC(0, 0, 0, ECFlagModulo | ECFlagRangesAndSets);
    if (!ec || !FUNDefineFunctions(ec)) return 1;
    int ok = addInput(ec, "Price", ZEM_TYPE_NUMBER) && addInput(ec, "Qty", ZEM_TYPE_NUMBER) &&
             addInput(ec, "Due", ZEM_TYPE_DATETIME) && addInput(ec, "Name", ZEM_TYPE_STRING);
    ok = ok && addInput(ec, dbcs ? "\x8b\xe0\x8a\x7a" : "Caf\xe9", ZEM_TYPE_NUMBER); /* 金額 */
    const char *const formulas[][2] = {
        {"Total", "Price * Qty"},
        {"Net", "Total() * 1.08 - 2"},
        {"Later", "Due + 1 MONTH"},
        {"Greeting", "'Dear ' || Name || ' san' || StrLeft(Name, 2)"},
        {"Rounded", "NumberRound(Price / 7, 2) % 3"},
        {"Local", ""},
    };
    uint16_t type;
    ExpError report;
    for (size_t i = 0; ok && i < sizeof formulas / sizeof formulas[0]; i++) {
        const char *text = formulas[i][1];
        if (!*text) text = dbcs ? "\x8b\xe0\x8a\x7a * 2 + StrLength('\x93\xfa\x96\x7b')"
                                : "Caf\xe9 * 2 + StrLength('\xe9t\xe9')";
        ok = ZEMParseString(ec, text, formulas[i][0], &report, &type) != 0;
        if (!ok) fprintf(stderr, "%s: code %u\n", formulas[i][0], (unsigned)report.code);
    }
    if (!ok) return 1;
    uint32_t size = ZEMGetECBlockSize(ec, 1);
    void *block = malloc(size);
    if (!block || ZEMGetECBlock(ec, (int32_t)size, block) != size) return 1;
    FILE *f = fopen(argv[1], "wb");
    if (!f || fwrite(block, 1, size, f) != size || fclose(f) != 0) return 1;
    free(block);
    ZEMDestroyEC(ec);
    return 0;
}
