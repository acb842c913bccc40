// The host side of zem: one context with the built-in functions, input
// items whose values the tool keeps, named formulas, and the printing of
// values and parse reports.
#include <string.h>

#include "errors/errors.h"
#include "eval/convert.h"
#include "services/values.h"
#include "zem.h"

namespace {

// The table of input items travels with the context in its user word.
int ZEMCALL itemValue(HEC ec, HEXP, int32_t size, void **value, const char *name) {
    Session *s = (Session *)ZEMGetUserLong(ec);
    for (const InputItem &item : s->items) {
        if (item.name != name) continue;
        if (item.type == ZEM_TYPE_STRING) return FUNStrVarResult(value, size, item.text.c_str());
        memcpy(*value, &item.value, sizeof item.value);
        return 1;
    }
    return 0;
}

// The names a loaded block asks for: its input items' value functions and
// its operators' functions. zem knows one, the empty name of the items it
// writes itself.
std::string unresolved;

ZEMProc ZEMCALL resolve(const char *name) {
    if (!*name) return (ZEMProc)itemValue;
    unresolved = name;
    return 0;
}

int typeFromWord(const std::string &word) {
    if (word == "number") return ZEM_TYPE_NUMBER;
    if (word == "date") return ZEM_TYPE_DATETIME;
    if (word == "string") return ZEM_TYPE_STRING;
    return -2;
}

// The value of an item's text under its type; an inferred type is a
// number if the text reads as one, else a date, else a string.
int readValue(InputItem *item, int type) {
    if (type == TypeInferred || type == ZEM_TYPE_NUMBER) {
        if (TextToNumber(&item->value, item->text.c_str())) {
            item->type = ZEM_TYPE_NUMBER;
            return 1;
        }
        if (type != TypeInferred) return 0;
    }
    if (type == TypeInferred || type == ZEM_TYPE_DATETIME) {
        memset(&item->value, 0, sizeof item->value);
        if (TextToDate(&item->value, item->text.c_str())) {
            item->type = ZEM_TYPE_DATETIME;
            return 1;
        }
        if (type != TypeInferred) return 0;
    }
    item->type = ZEM_TYPE_STRING;
    return 1;
}

// A Number with all its digits and no exponent.
std::string numberText(const Number &n) {
    NumDigits d;
    if (!NumDecode(&n, &d)) return "(null)";
    if (d.count == 0) return "0";
    std::string digits(d.digits, (size_t)d.count), out = d.negative ? "-" : "";
    if (d.exponent >= 0) return out + digits + std::string((size_t)d.exponent, '0');
    int point = d.count + d.exponent;  // digits before the point
    if (point <= 0) return out + "0." + std::string((size_t)-point, '0') + digits;
    return out + digits.substr(0, (size_t)point) + "." + digits.substr((size_t)point);
}

std::string dateText(const DateTime &d) {
    if (!d.bytes[0]) return "(null)";
    char out[100];
    DateToText(&d, out);
    return cp932ToUtf8(out);
}

// The value of an expression as text, or 0 when the evaluation failed.
int valueText(Session *s, HEXP exp, uint16_t type, std::string *text) {
    if (type == ZEM_TYPE_STRING) {
        void *block = 0;
        uint32_t length = 0;
        int ok = ZEMEvaluateExpressionExt(s->ec, exp, &length, &block);
        if (ok) *text = cp932ToUtf8((const char *)block);
        ZEMMemFree(block);
        return ok;
    }
    Number value = {};
    if (!ZEMEvaluateExpression(s->ec, exp, sizeof value, &value)) return 0;
    *text = type == ZEM_TYPE_DATETIME ? dateText(value) : numberText(value);
    return 1;
}

// A parse of text under name (0 for a generated one); the report printed on
// failure.
HEXP parse(Session *s, const std::string &utf8, const char *name, uint16_t *type) {
    std::string text;
    if (!utf8To932(utf8, &text)) {
        fprintf(s->out, "  %s\n  the text has characters outside code page 932\n", utf8.c_str());
        return 0;
    }
    ExpError report = {};
    HEXP exp = ZEMParseString(s->ec, text.c_str(), name, &report, type);
    if (!exp) printReport(s->out, utf8, text, report);
    return exp;
}

}  // namespace

// In code page 932 a character's bytes are its width on the terminal, so
// byte offsets are columns. A length of 1000 runs to the end.
void printReport(FILE *out, const std::string &utf8, const std::string &text, const ExpError &report) {
    size_t start = report.start < text.size() ? report.start : text.size();
    size_t length = report.length == 1000 ? text.size() - start : report.length;
    if (start + length > text.size()) length = text.size() - start;
    if (length == 0) length = 1;
    char message[MESSAGE_BUFFER];
    if (!ErrorMessage(report.code, message, sizeof message)) strcpy(message, "unknown error");
    fprintf(out, "  %s\n  %s%s\n  %s (code %u)\n", utf8.c_str(), std::string(start, ' ').c_str(),
            std::string(length, '^').c_str(), cp932ToUtf8(message).c_str(), report.code);
}

bool looksLikeItem(const std::string &argument) {
    size_t equals = argument.find('=');
    if (equals == 0 || equals == std::string::npos) return false;
    return argument.find_first_of(" \t'\"`()+-*/|,%", 0) >= equals;
}

int sessionOpen(Session *s) {
    s->ec = ZEMCreateEC(0, resolve, 0, 0);
    if (!s->ec) return 0;
    ZEMSetUserLong(s->ec, (intptr_t)s);
    return FUNDefineFunctions(s->ec);
}

const std::string &unresolvedName() { return unresolved; }

void sessionClose(Session *s) {
    ZEMDestroyEC(s->ec);
    s->ec = 0;
}

int sessionAddItem(Session *s, const std::string &argument, std::string *why) {
    size_t equals = argument.find('=');
    std::string head = argument.substr(0, equals), value = argument.substr(equals + 1);
    size_t colon = head.find(':');
    int type = TypeInferred;
    if (colon != std::string::npos) {
        type = typeFromWord(head.substr(colon + 1));
        head.resize(colon);
        if (type == -2) {
            *why = "the type must be number, date or string";
            return 0;
        }
    }
    InputItem item = {};
    if (!utf8To932(head, &item.name) || !utf8To932(value, &item.text)) {
        *why = "characters outside code page 932";
        return 0;
    }
    if (item.name.size() > 64 || !ZEMValidName(s->ec, item.name.c_str(), 0)) {
        *why = "not a name the language can use";
        return 0;
    }
    // An item the context has already, from a loaded block or an earlier
    // argument, keeps its type and takes the value.
    ExpItem record = {};
    bool known = ZEMGetExpressionVariable(s->ec, &record, item.name.c_str());
    if (known && (record.dataType < ZEM_TYPE_NUMBER || record.dataType > ZEM_TYPE_STRING)) {
        *why = "the item has a type that zem gives no values";
        return 0;
    }
    if (known && type != TypeInferred && type != record.dataType) {
        *why = "the item has another type already";
        return 0;
    }
    if (known) type = record.dataType;
    if (!readValue(&item, type)) {
        *why = type == ZEM_TYPE_NUMBER ? "the value does not read as a number"
                                       : "the value does not read as a date";
        return 0;
    }
    s->items.push_back(item);
    if (known) return 1;
    record.kind = ZEM_ITEM_INPUT;
    record.dataType = (int16_t)item.type;
    record.callback = (ZEMProc)itemValue;
    memcpy(record.name, item.name.c_str(), item.name.size() + 1);
    if (!ZEMAddExpressionItem(s->ec, &record)) {
        *why = "the context refused it";
        return 0;
    }
    return 1;
}

int sessionDefine(Session *s, const std::string &argument) {
    size_t equals = argument.find('=');
    if (equals == 0 || equals == std::string::npos) {
        fprintf(s->out, "  --define wants Name=text, not %s\n", argument.c_str());
        return 0;
    }
    std::string name;
    if (!utf8To932(argument.substr(0, equals), &name)) {
        fprintf(s->out, "  %s: the name has characters outside code page 932\n", argument.c_str());
        s->failures++;
        return 0;
    }
    uint16_t type = 0;
    if (parse(s, argument.substr(equals + 1), name.c_str(), &type)) return 1;
    fprintf(s->out, "  in the named formula %s\n", argument.substr(0, equals).c_str());
    s->failures++;
    return 0;
}

int sessionEvaluate(Session *s, const std::string &formula) {
    uint16_t type = 0;
    HEXP exp = parse(s, formula, 0, &type);
    std::string text;
    if (exp && valueText(s, exp, type, &text)) {
        fprintf(s->out, "  %s = %s\n", formula.c_str(), text.c_str());
        ZEMDestroyEXP(s->ec, exp);
        return 1;
    }
    if (exp) {
        fprintf(s->out, "  %s: no value\n", formula.c_str());
        ZEMDestroyEXP(s->ec, exp);
    }
    s->failures++;
    return 0;
}

int sessionBuild(Session *s) {
#ifndef _WIN32
    (void)s;
    fprintf(stderr, "zem: --build opens a dialog, which only the Windows build has\n");
    return 0;
#else
    HEXP exp = ZEMBuildExpression(0, s->ec, 0, 0);
    if (!exp) {
        fprintf(s->out, "  (nothing saved)\n");
        return 0;
    }
    char name[65] = "", text[4096] = "";
    ZEMGetExpressionName(s->ec, exp, sizeof name, name);
    ZEMGetExpressionText(s->ec, exp, sizeof text, text);
    std::string value;
    if (!valueText(s, exp, (uint16_t)ZEMGetExpressionDataType(s->ec, exp), &value)) value = "no value";
    fprintf(s->out, "  %s: %s = %s\n", cp932ToUtf8(name).c_str(), cp932ToUtf8(text).c_str(),
            value.c_str());
    return 1;
#endif
}
