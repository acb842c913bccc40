/* Writes the block of one scripted context to a file, for a byte comparison
 * between the Linux and Windows builds. Usage: block_dump FILE [CODEPAGE]. */
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
    int ok = ec && FUNDefineFunctions(ec) && addInput(ec, "Price", ZEM_TYPE_NUMBER) && addInput(ec, "Qty", ZEM_TYPE_NUMBER) &&
             addInput(ec, "Due", ZEM_TYPE_DATETIME) && addInput(ec, "Name", ZEM_TYPE_STRING) &&
             addInput(ec, dbcs ? "\x8b\xe0\x8a\x7a" : "Caf\xe9", ZEM_TYPE_NUMBER); /* 金額 */
    const char *const formulas[][2] = {
        {"Total", "Price * Qty"}, {"Net", "Total() * 1.08 - 2"}, {"Later", "Due + 1 MONTH"},
        {"Greeting", "'Dear ' || Name || ' san' || StrLeft(Name, 2)"}, {"Rounded", "NumberRound(Price / 7, 2) % 3"},
        {"Local", dbcs ? "\x8b\xe0\x8a\x7a * 2 + StrLength('\x93\xfa\x96\x7b')" : "Caf\xe9 * 2 + StrLength('\xe9t\xe9')"},
    };
    uint16_t type;
    ExpError report;
    for (size_t i = 0; ok && i < sizeof formulas / sizeof formulas[0]; i++)
        if (!(ok = ZEMParseString(ec, formulas[i][1], formulas[i][0], &report, &type) != 0))
            fprintf(stderr, "%s: code %u\n", formulas[i][0], (unsigned)report.code);
    uint32_t size = ok ? ZEMGetECBlockSize(ec, 1) : 0;
    void *block = malloc(size);
    FILE *f = ok && block && ZEMGetECBlock(ec, (int32_t)size, block) == size ? fopen(argv[1], "wb") : NULL;
    if (!f || fwrite(block, 1, size, f) != size || fclose(f) != 0) return 1;
    free(block);
    ZEMDestroyEC(ec);
    return 0;
}
