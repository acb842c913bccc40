/* A host in plain C against the public header alone, linked to the shared library. */
#include <stdio.h>
#include <string.h>

#include "zemi40.h"

static int failures;
#define CHECK(cond) ((cond) ? (void)0 : (void)(failures++, fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond)))

static int ZEMCALL priceValue(HEC ec, HEXP current, int32_t size, void **value, const char *name) {
    (void)ec, (void)current, (void)name;
    return size == ZEM_VALUE_SIZE && (SvcNumFromText((Number *)*value, "12.50"), 1);
}

static int enumerated;
static void ZEMCALL countItem(HEC ec, const char *view, intptr_t user) { (void)ec, enumerated += user == 7 && view[0]; }

int main(void) {
    HEC ec = ZEMCreateEC(0, 0, 0, ECFlagModulo);
    unsigned char record[ZEM_EXPITEM_SIZE(1)] = {0}, out[ZEM_EXPITEM_SIZE(1)];
    ExpItem *item = (ExpItem *)record;
    item->kind = ZEM_ITEM_INPUT;
    item->callback = (ZEMProc)priceValue;
    strcpy(item->name, "Price");
    CHECK(ec && ZEMAddExpressionItem(ec, item) == 1);
    strcpy(item->name, "Qty");
    CHECK(ZEMAddExpressionItem(ec, item) == 1);
    ZEMEnumExpItems(ec, ZEM_ITEM_INPUT, countItem, 7);
    CHECK(enumerated == 2);
    CHECK(ZEMGetExpressionVariable(ec, (ExpItem *)out, "Qty") == 1 && ((ExpItem *)out)->callback == (ZEMProc)priceValue);
    Number *price = (Number *)ZEMMemAlloc(ZEM_VALUE_SIZE), qty, total, expect;
    CHECK(price && price->bytes[0] == 0); /* a new buffer is null */
    CHECK(priceValue(ec, 0, ZEM_VALUE_SIZE, (void **)&price, "Price"));
    SvcNumFromLong(&qty, 3);
    SvcNumMul(&total, price, &qty);
    SvcNumFromText(&expect, "37.5");
    CHECK(SvcNumCompare(&total, &expect) == 0 && SvcNumToLong(&total) == 37);
    ZEMMemFree(price);
    DateFields d = {2, 29, 2000, 13, 45, 30, 0}, back;
    DateTime when;
    when.bytes[0] = (unsigned char)SvcDatePack(when.bytes + 1, &d);
    SvcDateUnpack(when.bytes + 1, when.bytes[0], &back);
    CHECK(when.bytes[0] > 0 && back.year == 2000 && back.month == 2 && back.day == 29 && back.minute == 45);
    CHECK((SvcDayNumber(&d) + 2) % 7 == 3); /* a Tuesday */
    CHECK(ZEMDeleteAllECVars(ec) == 1 && ZEMDestroyEC(ec) == 1);
    printf("c_host: %d checks failed\n", failures);
    return failures != 0;
}
