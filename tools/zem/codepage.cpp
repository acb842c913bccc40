// UTF-8 to the library's code page and back, for the tool only: the command
// line and the terminal speak UTF-8, the library its code page (932 unless
// the system says otherwise). glibc's iconv does the mapping; on Windows the
// system's own conversions do.
#include "zem.h"

#ifndef _WIN32
#include <errno.h>
#include <iconv.h>

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

const char *libraryCharset() { return ZEMGetSystemCodePage() == 1252 ? "CP1252" : "CP932"; }

}  // namespace

int utf8To932(const std::string &utf8, std::string *out) {
    return convert(libraryCharset(), "UTF-8", utf8, out, false);
}

std::string cp932ToUtf8(const std::string &text) {
    std::string out;
    if (!convert("UTF-8", libraryCharset(), text, &out, true)) return text;
    return out;
}

std::vector<std::string> utf8Arguments(int argc, char **argv) {
    return std::vector<std::string>(argv, argv + argc);
}

#else
#include <windows.h>
#include <shellapi.h>

namespace {

// The text as UTF-16 from code page `from`; false when a byte is no
// character there.
bool toWide(UINT from, DWORD flags, const std::string &in, std::wstring *out) {
    out->clear();
    if (in.empty()) return true;
    int n = MultiByteToWideChar(from, flags, in.data(), (int)in.size(), 0, 0);
    if (n <= 0) return false;
    out->resize((size_t)n);
    return MultiByteToWideChar(from, flags, in.data(), (int)in.size(), out->data(), n) == n;
}

// UTF-16 to code page `to`; with `exact` set, false when a character has no
// place there rather than a stand-in ('?' or a look-alike).
bool fromWide(UINT to, const std::wstring &in, std::string *out, bool exact) {
    out->clear();
    if (in.empty()) return true;
    BOOL lost = FALSE;
    bool utf8 = to == CP_UTF8;
    DWORD flags = exact && !utf8 ? WC_NO_BEST_FIT_CHARS : 0;
    BOOL *lostAt = utf8 ? 0 : &lost;
    int n = WideCharToMultiByte(to, flags, in.data(), (int)in.size(), 0, 0, 0, lostAt);
    if (n <= 0) return false;
    out->resize((size_t)n);
    if (WideCharToMultiByte(to, flags, in.data(), (int)in.size(), out->data(), n, 0, lostAt) != n)
        return false;
    return !(exact && lost);
}

}  // namespace

int utf8To932(const std::string &utf8, std::string *out) {
    std::wstring wide;
    return toWide(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, &wide) && fromWide(CP_ACP, wide, out, true);
}

std::string cp932ToUtf8(const std::string &text) {
    std::wstring wide;
    std::string out;
    if (!toWide(CP_ACP, 0, text, &wide) || !fromWide(CP_UTF8, wide, &out, false)) return text;
    return out;
}

// The C runtime hands a program its arguments in the system's code page,
// where a character outside it is lost; the wide command line keeps them.
std::vector<std::string> utf8Arguments(int argc, char **argv) {
    std::vector<std::string> args(argv, argv + argc);
    int count = 0;
    LPWSTR *wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!wide) return args;
    if (count == argc)
        for (int i = 0; i < count; i++) fromWide(CP_UTF8, wide[i], &args[(size_t)i], false);
    LocalFree(wide);
    return args;
}

#endif
