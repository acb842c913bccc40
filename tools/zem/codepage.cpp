// UTF-8 to code page 932 and back, for the tool only: the command line and
// the terminal speak UTF-8, the library its code page. glibc's iconv does
// the mapping.
#include <errno.h>
#include <iconv.h>

#include "zem.h"

namespace {

// Converts all of in; 0 when iconv refuses a character. With lenient set a
// refused byte becomes '?' and the conversion goes on.
int convert(const char *to, const char *from, const std::string &in, std::string *out,
            bool lenient) {
    iconv_t cd = iconv_open(to, from);
    if (cd == (iconv_t)-1) return 0;
    out->clear();
    char *src = (char *)in.data();
    size_t left = in.size();
    int ok = 1;
    while (left > 0) {
        char chunk[256];
        char *dst = chunk;
        size_t room = sizeof chunk;
        size_t r = iconv(cd, &src, &left, &dst, &room);
        out->append(chunk, (size_t)(dst - chunk));
        if (r != (size_t)-1 || errno == E2BIG) continue;
        if (!lenient) {
            ok = 0;
            break;
        }
        out->push_back('?');  // skip the byte that is no character
        src++;
        left--;
    }
    iconv_close(cd);
    return ok;
}

}  // namespace

int utf8To932(const std::string &utf8, std::string *out) {
    return convert("CP932", "UTF-8", utf8, out, false);
}

std::string cp932ToUtf8(const std::string &text) {
    std::string out;
    if (!convert("UTF-8", "CP932", text, &out, true)) return text;
    return out;
}
