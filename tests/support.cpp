#include "support.h"

#include <stdio.h>
#include <string.h>

#include "eval/convert.h"
#include "services/values.h"

std::vector<ExpParam> Params(std::initializer_list<int> types) {
    std::vector<ExpParam> out;
    for (int t : types) out.push_back(ExpParam{0, (uint16_t)t, 0});
    return out;
}

int AddItem(HEC ec, int kind, const char *name, int type, const ItemSpec &shape) {
    std::vector<unsigned char> bytes(ZEM_EXPITEM_SIZE(shape.params.size() + 1));
    ExpItem *item = (ExpItem *)bytes.data();
    item->kind = (int16_t)kind;
    item->dataType = (int16_t)type;
    item->functionName = shape.functionName;
    item->callback = shape.callback;
    strcpy(item->name, name);
    item->paramCount = (int16_t)shape.paramCount.value_or((int)shape.params.size());
    item->required = (uint16_t)shape.required;
    item->optional = (uint16_t)shape.optional;
    item->flags = (uint16_t)shape.flags;
    for (size_t i = 0; i < shape.params.size(); i++) item->params[i] = shape.params[i];
    int added = ZEMAddExpressionItem(ec, item);
    if (!shape.mayFail) {
        EXPECT_EQ(1, added) << name;
    }
    return added;
}

HEXP ParseOk(HEC ec, const char *text, const char *name) {
    ExpError report = {};
    uint16_t type = 0;
    HEXP exp = ZEMParseString(ec, text, name, &report, &type);
    EXPECT_NE(nullptr, exp) << text << ": error " << report.code << " at " << report.start;
    return exp;
}

ExpError ParseFails(HEC ec, const char *text, const char *name) {
    ExpError report = {};
    uint16_t type = 0;
    EXPECT_EQ(nullptr, ZEMParseString(ec, text, name, &report, &type)) << text;
    return report;
}

int PutText(void **value, int32_t size, const char *text) {
    size_t need = strlen(text) + 1;
    if ((size_t)size < need) {
        void *grown = SvcRealloc(*value, need);
        if (!grown) return 0;
        *value = grown;
    }
    memcpy(*value, text, need);
    return 1;
}

std::map<std::string, std::string> gInputValues;
std::vector<InputCall> gInputCalls;

int ZEMCALL TableInput(HEC ec, HEXP current, int32_t size, void **value, const char *name) {
    gInputCalls.push_back({current, size, name});
    auto found = gInputValues.find(name);
    ExpItem item = {};
    if (found == gInputValues.end() || found->second == "fail") return 0;
    if (found->second == "null") return 1;
    if (!ZEMGetExpressionVariable(ec, &item, name)) return 0;
    const char *text = found->second.c_str();
    if (item.dataType == ZEM_TYPE_NUMBER) return SvcNumFromText((Number *)*value, text), 1;
    if (item.dataType == ZEM_TYPE_DATETIME) return TextToDate((DateTime *)*value, text);
    return PutText(value, size, text);
}

std::string EvalText(HEC ec, HEXP exp) {
    void *block = nullptr;
    uint32_t length = 0;
    std::string out = "(fail)";
    if (ZEMEvaluateExpressionExt(ec, exp, &length, &block)) out = (const char *)block;
    ZEMMemFree(block);
    return out;
}

std::string NumberText(const void *number) {
    NumDigits d;
    if (!NumDecode((const Number *)number, &d)) return "null";
    std::string digits = d.count ? std::string(d.digits, d.count) : "0";
    while ((int)digits.size() <= -d.exponent) digits.insert(0, "0");
    if (d.exponent < 0) digits.insert(digits.size() + d.exponent, ".");
    return (d.negative ? "-" : "") + digits + std::string(d.exponent > 0 ? d.exponent : 0, '0');
}

std::string DateText(const void *date) {
    const DateTime *v = (const DateTime *)date;
    DateFields f = {};
    if (!v->bytes[0]) return "null";
    SvcDateUnpack(v->bytes + 1, v->bytes[0], &f);
    char text[80];
    snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d", f.year, f.month, f.day, f.hour, f.minute, f.second);
    return text;
}

#include <fstream>
#include <sstream>

int EachReferenceLine(const char *path, char sep,
                      const std::function<std::string(const CaseFields &)> &check) {
    std::ifstream in(path);
    EXPECT_TRUE(in.good()) << path;
    int count = 0, bad = 0;
    for (std::string line; bad < 10 && std::getline(in, line); count++) {
        CaseFields fields;
        std::istringstream split(line);
        for (std::string field; std::getline(split, field, sep);) fields.push_back(field);
        std::string wrong = check(fields);
        if (!wrong.empty()) ADD_FAILURE() << line << ": " << wrong, bad++;
    }
    return count;
}
