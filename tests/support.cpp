#include "support.h"

#include <string.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

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

#ifdef _WIN32
static DWORD WINAPI runBody(void *body) {
#else
static void *runBody(void *body) {
#endif
    (*(const std::function<void()> *)body)();
    return 0;
}

void RunWithStack(size_t bytes, const std::function<void()> &body) {
#ifdef _WIN32
    HANDLE thread = CreateThread(nullptr, bytes, runBody, (void *)&body, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    ASSERT_NE(thread, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
#else
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, bytes);
    ASSERT_EQ(0, pthread_create(&thread, &attributes, runBody, (void *)&body));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
#endif
}
