/* A small host of zemi40 in plain C. It makes a context with the built-in
 * functions, an input item Price and a function Tax of its own, parses and
 * evaluates formulas, shows a formula's error, and saves the context as a
 * block and reads it back into a new context.
 *
 * Build: cc host.c $(pkg-config --cflags --libs zemi40), or see
 * CMakeLists.txt beside this file for find_package(zemi40). */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <zemi40.h>

#ifndef _WIN32
#include <iconv.h>
#endif

/* The host's own data that the input item Price reads. */
static double price = 12.5;

/* Input items and functions get their values through callbacks. *value is
 * a 25-byte block for a Number or a DateTime, owned by the library. */
static int ZEMCALL priceValue(HEC ec, HEXP current, int32_t size, void **value,
                              const char *name) {
    (void)ec, (void)current, (void)size, (void)name;
    SvcNumFromDouble((Number *)*value, price);
    return 1;
}

/* Tax(amount): 8 % of amount. A parameter left null gives null. */
static int ZEMCALL taxValue(HEC ec, HEXP current, int32_t size, void **value,
                            const char *name, void **arguments) {
    Number rate;
    (void)ec, (void)current, (void)size, (void)name;
    SvcNumFromText(&rate, "0.08");
    return SvcNumMul((Number *)*value, (const Number *)arguments[0], &rate);
}

/* A block keeps the names of the callbacks, not their addresses: a context
 * finds them through this, when an item is added and when a block loads. */
static ZEMProc ZEMCALL resolve(const char *name) {
    if (strcmp(name, "price") == 0) return (ZEMProc)priceValue;
    if (strcmp(name, "tax") == 0) return (ZEMProc)taxValue;
    return 0;
}

/* The library's texts are in the system code page (CP932 unless the host
 * chose another): a Windows console shows them as they are, a UTF-8
 * terminal needs them converted. */
static const char *forTerminal(const char *text, char *out, size_t size) {
#ifdef _WIN32
    (void)out, (void)size;
    return text;
#else
    char codePage[16];
    char *in = (char *)text, *to = out;
    size_t inLeft = strlen(text), outLeft = size - 1;
    iconv_t cd;
    sprintf(codePage, "CP%u", (unsigned)ZEMGetSystemCodePage());
    cd = iconv_open("UTF-8", codePage);
    if (cd == (iconv_t)-1) return text;
    iconv(cd, &in, &inLeft, &to, &outLeft);
    iconv_close(cd);
    *to = 0;
    return out;
#endif
}

/* Reports of errors come here instead of a dialog: the text, the span of
 * the error in it and the message of its code. */
static int32_t ZEMCALL showError(HZEMWND parent, const char *text, const ExpError *error,
                                 const char *message, int32_t loading) {
    char buffer[512];
    (void)parent, (void)loading;
    printf("error %u in \"%s\" at %u: %s\n", (unsigned)error->code, text,
           (unsigned)error->start, forTerminal(message, buffer, sizeof buffer));
    return 1;
}

/* An item record is the host's; the context copies it. Both items here are
 * Numbers, and the function Tax takes one Number (ExpItem has room for one
 * parameter). */
static void addItem(HEC ec, int kind, const char *name, const char *functionName) {
    ExpItem item;
    memset(&item, 0, sizeof item);
    item.kind = (int16_t)kind;
    item.dataType = ZEM_TYPE_NUMBER;
    item.functionName = functionName;
    strcpy(item.name, name);
    if (kind == ZEM_ITEM_FUNCTION) {
        item.paramCount = 1;
        item.required = 1;
        item.params[0].type = ZEM_TYPE_NUMBER;
    }
    ZEMAddExpressionItem(ec, &item);
}

/* A block holds input items and formulas but no functions: every context
 * gets those from the host. */
static HEC newContext(void) {
    HEC ec = ZEMCreateEC(0, resolve, 0, 0);
    if (ec) {
        FUNDefineFunctions(ec);
        addItem(ec, ZEM_ITEM_FUNCTION, "Tax", "tax");
    }
    return ec;
}

/* Prints a formula's value: a Number as text, a String as it is. */
static void printValue(HEC ec, HEXP exp) {
    char text[256];
    uint32_t type = ZEMGetExpressionDataType(ec, exp) & 0xFFFF;
    ZEMGetExpressionText(ec, exp, sizeof text, text);
    printf("%s = ", text);
    if (type == ZEM_TYPE_NUMBER) {
        Number n;
        ConvRequest rq;
        if (!ZEMEvaluateExpression(ec, exp, sizeof n, &n)) goto failed;
        SvcConvInit(&rq);
        rq.kind = 4;
        rq.useDefaults = 1;
        rq.number = n;
        rq.output = text;
        if (!SvcNumFormat(&rq, 0)) goto failed;
        printf("%s\n", text);
    } else if (type == ZEM_TYPE_STRING) {
        if (!ZEMEvaluateExpression(ec, exp, sizeof text, text)) goto failed;
        text[sizeof text - 1] = 0;
        printf("%s\n", text);
    } else {
        printf("(a value of type %u)\n", (unsigned)type);
    }
    return;
failed:
    printf("(no value)\n");
}

/* Parses a formula into the context, under a name or none. */
static HEXP parse(HEC ec, const char *text, const char *name) {
    ExpError error;
    uint16_t type;
    HEXP exp = ZEMParseString(ec, text, name, &error, &type);
    if (!exp) ZEMErrorDisplay(0, text, &error);
    return exp;
}

int main(void) {
    HEC ec, copy;
    HEXP total;
    uint32_t size;
    void *block;

    ZEMSetErrorDisplayHook(showError);
    ec = newContext();
    if (!ec) return 1;
    addItem(ec, ZEM_ITEM_INPUT, "Price", "price");

    total = parse(ec, "Price * 3 + Tax(Price * 3)", "Total");
    if (!total) return 1;
    printValue(ec, total);
    printValue(ec, parse(ec, "'Total: ' || NumberToStr(Total(), 2)", 0));
    parse(ec, "Price * (3 +", 0); /* shows error 109 and its message */

    /* Save the context as a block; read it into a new context. */
    size = ZEMGetECBlockSize(ec, 1);
    block = malloc(size);
    if (!block || ZEMGetECBlock(ec, (int32_t)size, block) != size) return 1;
    ZEMDestroyEC(ec);
    printf("block of %u bytes\n", (unsigned)size);

    copy = newContext();
    if (!copy || !ZEMSetECContents(copy, (int32_t)size, block, 1, 0)) return 1;
    free(block);
    price = 20;
    total = ZEMHEXPFromName(copy, "Total");
    if (!total) return 1;
    printValue(copy, total);
    ZEMDestroyEC(copy);
    return 0;
}
