// The value text conversions: thin rules over the ConvRequest services.
// Only the rules that take a picture use the shared locale block, and only
// they take the date lock; the block is loaded once, at the first of them,
// and never changes after, so the pointers into it stay valid outside the
// lock.
#include "eval/convert.h"

#include <string.h>

#include "context/startup.h"

namespace {

ConvLocale gLocale;
int gLocaleDirty = 1;

bool isNull(const Number *value) { return value->bytes[0] == 0; }

void packInto(DateTime *result, const DateFields *date) {
    result->bytes[0] = (unsigned char)SvcDatePack(result->bytes + 1, date);
}

void unpackFrom(const DateTime *date, DateFields *fields) {
    SvcDateUnpack(date->bytes + 1, date->bytes[0], fields);
}

void setPicture(ConvRequest *request, const char *picture) {
    request->picture = picture;
    request->picture2 = picture;
}

// The request of a number format: the number, the output, the number bit.
void numberRequest(ConvRequest *request, int kind, const Number *number, char *output) {
    SvcConvInit(request);
    request->kind = kind;
    request->options |= 0x20;
    request->output = output;
    request->number = *number;
}

size_t lengthOf(const char *text) { return text ? strlen(text) : 0; }

}  // namespace

int LocaleDirty(void) {
    LockGuard guard(&gDateLock);
    return gLocaleDirty;
}

void LoadLocaleFields(ConvRequest *request) {
    LockGuard guard(&gDateLock);
    if (gLocaleDirty) {
        gLocaleDirty = 0;
        SvcConvLoadLocale(&gLocale);
    }
    request->localeWord0 = gLocale.localeWord0;
    request->localeWord1 = gLocale.localeWord1;
    request->localeWord2 = gLocale.localeWord2;
    request->localeText1 = gLocale.localeText1;
    request->localeText2 = gLocale.localeText2;
    request->localeText3 = gLocale.localeText3;
    request->options &= ~0x01;
    request->dateOption = 0;
    request->useDefaults = 0;
}

// Date and time first, then a time alone.
int TextToDate(DateTime *result, const char *text) {
    ConvRequest request;
    SvcConvInit(&request);
    request.kind = 3;
    request.input = text;
    request.useDefaults = 1;
    if (!SvcDateParse(&request)) {
        request.options |= 0x01;
        request.kind = 2;
        request.useDefaults = 1;
        if (!SvcDateParse(&request)) return 0;
    }
    packInto(result, &request.date);
    return 1;
}

int DateToText(const DateTime *date, char *output) {
    output[0] = 0;
    if (isNull(date)) return 1;
    ConvRequest request;
    SvcConvInit(&request);
    request.kind = 3;
    request.dateOption = 0;
    request.output = output;
    request.useDefaults = 1;
    unpackFrom(date, &request.date);
    return SvcDateFormat(&request, 0);
}

int DateToTextPicture(const DateTime *date, const char *picture, char *output) {
    output[0] = 0;
    if (isNull(date)) return 1;
    if (!SvcDatePictureCheck(picture)) return 0;
    ConvRequest request;
    SvcConvInit(&request);
    {
        LockGuard guard(&gDateLock);
        LoadLocaleFields(&request);
        request.kind = 3;
        request.output = output;
        setPicture(&request, picture);
    }
    unpackFrom(date, &request.date);
    return SvcDateFormat(&request, 0);
}

int TextToNumber(Number *result, const char *text) {
    ConvRequest request;
    SvcConvInit(&request);
    request.kind = 4;
    request.input = text;
    request.options |= 0x20;
    request.useDefaults = 1;
    if (SvcNumParse(&request)) {
        *result = request.number;
        return 1;
    }
    result->bytes[0] = 0;
    SvcNumNullToZero(result);
    return 0;
}

int NumberToTextPicture(const Number *number, const char *picture, char *output) {
    output[0] = 0;
    ConvRequest request;
    SvcConvInit(&request);
    request.useDefaults = 1;
    request.numberPicture = picture;
    request.options |= 0x20;
    if (!SvcNumPictureCheck(&request)) return 0;
    request.kind = 6;
    request.output = output;
    request.number = *number;
    return SvcNumFormat(&request, 1);
}

int NumberToText(const Number *number, int32_t decimals, char *output) {
    ConvRequest request;
    numberRequest(&request, 4, number, output);
    request.useDefaults = 0;
    request.groupChar = 0;
    request.pointChar = '.';
    request.fixedDecimals = 1;
    request.decimals = decimals;
    return SvcNumFormat(&request, 1);
}

int NumberToRegional(const Number *number, char *output) {
    ConvRequest request;
    numberRequest(&request, 4, number, output);
    request.useDefaults = 1;
    return SvcNumFormat(&request, 1);
}

int NumberToCurrencyText(const Number *number, char *output) {
    ConvRequest request;
    numberRequest(&request, 5, number, output);
    request.useDefaults = 1;
    return SvcNumFormat(&request, 1);
}

int32_t DatePictureWidth(uint16_t flags, const char *picture1, const char *picture2,
                         const char *picture3, const char *format1, const char *format3,
                         const char *format2) {
    ConvRequest request;
    SvcConvInit(&request);
    LoadLocaleFields(&request);
    int32_t width = 0;
    const struct {
        const char *picture;
        int kind;
    } pictures[] = {{picture1, 1}, {picture2, 3}, {picture3, 2}};
    for (const auto &p : pictures) {
        if (!p.picture) continue;
        request.kind = p.kind;
        setPicture(&request, p.picture);
        width = SvcPictureWidth(&request, width);
    }
    if (flags & 0x0002) {
        size_t longest = lengthOf(format1);
        if (lengthOf(format2) > longest) longest = lengthOf(format2);
        if (lengthOf(format3) > longest) longest = lengthOf(format3);
        width += (int32_t)longest;
    }
    return width;
}

// A date alone first, then a date and time, then a time alone.
int DateLiteralRewrite(const char *text, char *output, const char *picture1,
                       const char *picture2, const char *picture3) {
    output[0] = 0;
    ConvRequest request;
    SvcConvInit(&request);
    request.input = text;
    request.useDefaults = 1;
    const struct {
        int kind;
        const char *picture;
        int literal;
    } tries[] = {{1, picture1, LITERAL_DATE}, {3, picture2, LITERAL_DATE_TIME},
                 {2, picture3, LITERAL_TIME}};
    for (const auto &t : tries) {
        request.kind = t.kind;
        if (!SvcDateParse(&request)) continue;
        request.options &= ~0x04;
        request.output = output;
        if (!t.picture) return t.literal;
        LockGuard guard(&gDateLock);
        LoadLocaleFields(&request);
        setPicture(&request, t.picture);
        SvcDateFormat(&request, 0);
        return t.literal;
    }
    return 0;
}
