// zem: evaluate formulas from the command line, or run the built-in
// example when given no arguments.
#include <string.h>

#include "zem.h"

namespace {

const char kHelp[] =
    "zem - evaluate formulas with the zemi40 expression engine\n"
    "\n"
    "Usage:\n"
    "  zem                        run the built-in example\n"
    "  zem [options] [items] formula...\n"
    "  zem [options] [items] --save FILE [formula...]\n"
    "  zem --load FILE [options] [items] [formula...]\n"
    "  zem --describe FILE\n"
    "  zem [options] [items] --build   (Windows)\n"
    "\n"
    "Items, anywhere among the arguments:\n"
    "  name=value                 an input item; its type is inferred: a number\n"
    "                             if the value reads as one, else a date, else\n"
    "                             a string\n"
    "  name:number=value          the type given: number, date or string\n"
    "  name:date=value\n"
    "  name:string=value\n"
    "\n"
    "Options:\n"
    "  -d, --define Name=text     a named formula, used in formulas as Name();\n"
    "                             repeatable, each may use the ones before it\n"
    "  --save FILE                after the formulas, write the context (input\n"
    "                             items, named formulas) as a block file, the\n"
    "                             bytes a host stores in its documents\n"
    "  --load FILE                first fill the context from a block file;\n"
    "                             its input items take their values from the\n"
    "                             items given, its formulas are used as Name().\n"
    "                             A stored formula that no longer parses is\n"
    "                             shown on standard error and its corrected\n"
    "                             text read from standard input, one line; an\n"
    "                             empty line gives up the load\n"
    "  --describe FILE            tell a block file in plain words: version,\n"
    "                             operator names, input items, expressions\n"
    "  --build                    open the formula builder dialog on the\n"
    "                             items and named formulas (the example's when\n"
    "                             none are given); print the formula saved\n"
    "                             with its name, text and value\n"
    "  -h, --help                 this text\n"
    "\n"
    "The 46 built-in functions are there (StrUpper, NumberRound, DateToStr, ...).\n"
    "Each formula is printed with its value: numbers with all their digits,\n"
    "dates in the default date-and-time text, strings as they are. A formula\n"
    "that does not parse is shown with a caret line under the offending part\n"
    "and the message of its error code. Texts are UTF-8 on the command line\n"
    "and code page 932 inside the library.\n"
    "\n"
    "Exit status: 0 when every formula had a value, 1 when one did not parse\n"
    "or evaluate, 2 for a mistake on the command line or a file that cannot be\n"
    "read or written. --describe exits with 1 for a malformed block, --load for\n"
    "a block that did not load.\n"
    "\n"
    "Examples:\n"
    "  zem Price=12.50 Qty=3 'Price * Qty'\n"
    "  zem -d 'Total=Price * Qty' Price=12.50 Qty=3 'Total() * 1.08'\n"
    "  zem Due=1/31/2001 'Due + 1 MONTH' 'DateToStr(Due - 30)'\n"
    "  zem Name=Ann \"'Dear ' || StrUpper(Name)\"\n"
    "  zem -d 'Total=Price * Qty' Price=12.50 Qty=3 --save order.blk\n"
    "  zem --describe order.blk\n"
    "  zem --load order.blk Price=9 Qty=4 'Total() * 1.08'\n";

struct Request {
    std::vector<std::string> items, defines, formulas;
    std::string save, describe, load;  // block files
    bool build = false;
};

// The file of an option that takes one, as "--opt FILE" or "--opt=FILE";
// 0 when the argument is not that option, -1 when the file is missing.
int fileOption(const char *option, int argc, char **argv, int *i, std::string *file) {
    std::string a = argv[*i], prefix = std::string(option) + "=";
    if (a.rfind(prefix, 0) == 0) {
        *file = a.substr(prefix.size());
    } else if (a == option && *i + 1 < argc) {
        *file = argv[++*i];
    } else if (a != option) {
        return 0;
    }
    if (file->empty()) {
        fprintf(stderr, "zem: %s wants a file name\n", option);
        return -1;
    }
    return 1;
}

// Sorts the arguments; 0 on a mistake, with its message printed.
int readArguments(int argc, char **argv, Request *r) {
    for (int i = 1; i < argc; i++) {
        std::string a = argv[i];
        int file = fileOption("--save", argc, argv, &i, &r->save);
        if (!file) file = fileOption("--describe", argc, argv, &i, &r->describe);
        if (!file) file = fileOption("--load", argc, argv, &i, &r->load);
        if (file < 0) return 0;
        if (file > 0) continue;
        if (a == "--build") {
            r->build = true;
        } else if (a == "-d" || a == "--define") {
            if (i + 1 == argc) {
                fprintf(stderr, "zem: %s wants Name=text\n", a.c_str());
                return 0;
            }
            r->defines.push_back(argv[++i]);
        } else if (a.rfind("--define=", 0) == 0) {
            r->defines.push_back(a.substr(9));
        } else if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
            fprintf(stderr, "zem: unknown option %s (zem --help for usage)\n", a.c_str());
            return 0;
        } else if (looksLikeItem(a)) {
            r->items.push_back(a);
        } else {
            r->formulas.push_back(a);
        }
    }
    if (!r->describe.empty()) {
        if (r->items.empty() && r->defines.empty() && r->formulas.empty() && r->save.empty() &&
            r->load.empty())
            return 1;
        fprintf(stderr, "zem: --describe takes a file and nothing else\n");
        return 0;
    }
    if (r->formulas.empty() && r->save.empty() && r->load.empty() && !r->build) {
        fprintf(stderr, "zem: no formula to evaluate (zem --help for usage)\n");
        return 0;
    }
    return 1;
}

// The block, items, then named formulas, then the formulas. 2 for a bad
// item, 1 when a formula failed, else 0, or what loading the block gave.
int run(Session *s, const Request &r) {
    int loaded = r.load.empty() ? 0 : loadBlock(s, r.load);
    if (loaded) return loaded;
    for (const std::string &item : r.items) {
        std::string why;
        if (!sessionAddItem(s, item, &why)) {
            fprintf(stderr, "zem: item %s: %s\n", item.c_str(), why.c_str());
            return 2;
        }
    }
    int failed = 0;
    for (const std::string &define : r.defines) failed |= !sessionDefine(s, define);
    for (const std::string &formula : r.formulas) failed |= !sessionEvaluate(s, formula);
    if (!r.save.empty() && !saveBlock(s, r.save)) return 2;
    if (r.build && !sessionBuild(s)) return 1;
    return failed ? 1 : 0;
}

// The built-in example: numbers, dates, strings, built-ins, a named
// formula, and a formula that does not parse. The failure is part of the
// show, so the example itself ends with 0.
const std::vector<std::string> kExampleItems = {"Price=12.50", "Qty=3", "Due=1/31/2001",
                                                "Name:string=山田"};
const std::vector<std::string> kExampleDefines = {"Total=Price * Qty"};

int demo(Session *s) {
    Request r;
    r.items = kExampleItems;
    r.defines = kExampleDefines;
    r.formulas = {
        "Total()",
        "Total() * 1.08",
        "Price / 7",
        "NumberRound(Price / 7, 2)",
        "Due + 1 MONTH",
        "Due - 1/1/2001",
        "DateToStr(Due + 30 DAYS)",
        "'Dear ' || Name || ' san, please pay ' || NumberToStr(Total(), 2)",
        "StrUpper('it''s due on ') || DateToStr(Due)",
        "Price * Quantity",
    };
    fprintf(s->out, "zem: the built-in example (zem --help for usage)\n\nInput items:\n");
    for (const std::string &item : r.items) fprintf(s->out, "  %s\n", item.c_str());
    fprintf(s->out, "Named formula:\n  %s, used as Total()\nFormulas:\n", r.defines[0].c_str());
    int status = run(s, r);
    fprintf(s->out, "\nThe last formula names an input item that does not exist.\n");
    return status == 2 ? 2 : 0;
}

}  // namespace

int main(int argc, char **rawArgv) {
    std::vector<std::string> args = utf8Arguments(argc, rawArgv);
    std::vector<char *> pointers;
    for (std::string &a : args) pointers.push_back(a.data());
    pointers.push_back(0);
    char **argv = pointers.data();
    for (int i = 1; i < argc; i++) {
        if (!strcmp(argv[i], "-h") || !strcmp(argv[i], "--help")) {
            fputs(kHelp, stdout);
            return 0;
        }
    }
    Request request;
    if (argc > 1 && !readArguments(argc, argv, &request)) return 2;
    if (request.build && request.items.empty() && request.defines.empty() && request.load.empty()) {
        request.items = kExampleItems;
        request.defines = kExampleDefines;
    }
    if (!request.describe.empty()) return describeBlockFile(stdout, request.describe);
    Session session;
    if (!sessionOpen(&session)) {
        fprintf(stderr, "zem: the library could not make a context\n");
        sessionClose(&session);
        return 2;
    }
    int status = argc > 1 ? run(&session, request) : demo(&session);
    sessionClose(&session);
    return status;
}
