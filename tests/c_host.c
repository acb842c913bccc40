/* A host written in plain C against the public header alone: it creates a
 * context, registers items with callbacks, and builds and reads values. */
#include <stdio.h>
#include <string.h>

#include "zemi40.h"

static int failures;
#define CHECK(cond) \
    ((cond) ? (void)0 : (void)(failures++, fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond)))

static int ZEMCALL priceValue(HEC ec, HEXP current, int32_t size, void **value, const char *name) {
    (void)ec, (void)current, (void)name;
    if (size != ZEM_VALUE_SIZE) return 0;
    SvcNumFromText((Number *)*value, "12.50");
    return 1;
}

static int enumerated;
static void ZEMCALL countItem(HEC ec, const char *view, intptr_t user) {
    (void)ec;
    if (user == 7 && view[0]) enumerated++;
}

int main(void) {
    HEC ec = ZEMCreateEC(0, 0, 0, ECFlagModulo);
    CHECK(ec != 0);

    unsigned char record[ZEM_EXPITEM_SIZE(1)];
    ExpItem *item = (ExpItem *)record;
    memset(record, 0, sizeof(record));
    item->kind = ZEM_ITEM_INPUT;
    item->dataType = ZEM_TYPE_NUMBER;
    item->callback = (ZEMProc)priceValue;
    strcpy(item->name, "Price");
    CHECK(ZEMAddExpressionItem(ec, item) == 1);
    strcpy(item->name, "Qty");
    CHECK(ZEMAddExpressionItem(ec, item) == 1);
    ZEMEnumExpItems(ec, ZEM_ITEM_INPUT, countItem, 7);
    CHECK(enumerated == 2);

    unsigned char out[ZEM_EXPITEM_SIZE(1)];
    CHECK(ZEMGetExpressionVariable(ec, (ExpItem *)out, "Qty") == 1);
    CHECK(((ExpItem *)out)->callback == (ZEMProc)priceValue);

    /* Values: the host builds them through the exported services. */
    Number *price = (Number *)ZEMMemAlloc(ZEM_VALUE_SIZE);
    CHECK(price && price->bytes[0] == 0); /* a new buffer is null */
    CHECK(((ZEMInputCallback)item->callback)(ec, 0, ZEM_VALUE_SIZE, (void **)&price, "Price"));
    Number qty, total, expect;
    SvcNumFromLong(&qty, 3);
    SvcNumMul(&total, price, &qty);
    SvcNumFromText(&expect, "37.5");
    CHECK(SvcNumCompare(&total, &expect) == 0);
    CHECK(SvcNumToLong(&total) == 37);
    ZEMMemFree(price);

    DateFields d = {2, 29, 2000, 13, 45, 30, 0}, back;
    DateTime when;
    when.bytes[0] = (unsigned char)SvcDatePack(when.bytes + 1, &d);
    CHECK(when.bytes[0] > 0);
    SvcDateUnpack(when.bytes + 1, when.bytes[0], &back);
    CHECK(back.year == 2000 && back.month == 2 && back.day == 29 && back.minute == 45);
    CHECK((SvcDayNumber(&d) + 2) % 7 == 3); /* a Tuesday */

    CHECK(ZEMDeleteAllECVars(ec) == 1);
    CHECK(ZEMDestroyEC(ec) == 1);
    printf("c_host: %d checks failed\n", failures);
    return failures != 0;
}
