// The repair of a loaded block's formula on the terminal: the library hands
// over a stored text that no longer parses, the user types its correction.
// The dialogue runs on standard error and reads standard input, a pipe as
// well as a terminal, so that stdout keeps only the values.
#include "zem.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

// One line without its end; false at the end of input with nothing read.
bool readLine(FILE *in, std::string *line) {
    line->clear();
    int c;
    while ((c = getc(in)) != EOF && c != '\n') line->push_back((char)c);
    if (!line->empty() && line->back() == '\r') line->pop_back();
    return c != EOF || !line->empty();
}

}  // namespace

const char *ZEMCALL repairOnTerminal(HEC ec, const char *text, const char *name,
                                     const ExpError *error) {
    Session *s = (Session *)ZEMGetUserLong(ec);
    std::string shown = cp932ToUtf8(name);
    fflush(s->out);
    fprintf(stderr, "zem: the formula %s of the block does not parse:\n", shown.c_str());
    printReport(stderr, cp932ToUtf8(text), text, *error);
    for (;;) {
        fprintf(stderr, "corrected text of %s (empty to give up): ", shown.c_str());
        fflush(stderr);
        std::string line;
        bool got = readLine(stdin, &line);
        // Typed input has echoed already; piped input is shown here.
        if (!isatty(fileno(stdin))) fprintf(stderr, "%s\n", line.c_str());
        if (!got || line.empty()) {
            s->refused = name;
            return 0;
        }
        if (utf8To932(line, &s->fix)) return s->fix.c_str();
        fprintf(stderr, "  the text has characters outside code page 932\n");
    }
}

void ZEMCALL reportLoadError(HEC ec, const char *text, const ExpError *error) {
    Session *s = (Session *)ZEMGetUserLong(ec);
    fflush(s->out);
    fprintf(stderr, "zem: a formula of the block failed to load:\n");
    printReport(stderr, cp932ToUtf8(text), text, *error);
}
