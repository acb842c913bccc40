// Block files: the context of a session saved as the library writes it and
// loaded back, and any block file told in plain words. The describer is the
// tool's own parser: it trusts nothing in the file and stops at the first
// thing that does not fit the format, saying what and where.
#include <errno.h>
#include <string.h>

#include "persist/blockformat.h"
#include "zem.h"

namespace {

struct Cursor {
    const unsigned char *bytes;
    size_t size;
    size_t pos;
    std::string error;  // set by the first failure
};

bool fail(Cursor *c, const std::string &what) {
    c->error = what + " (at byte " + std::to_string(c->pos) + ")";
    return false;
}

// A terminated text at the cursor.
bool readText(Cursor *c, const char *what, std::string *text) {
    const void *end = memchr(c->bytes + c->pos, 0, c->size - c->pos);
    if (!end) return fail(c, std::string("truncated: ") + what + " runs past the end");
    size_t length = (const unsigned char *)end - (c->bytes + c->pos);
    text->assign((const char *)c->bytes + c->pos, length);
    c->pos += length + 1;
    return true;
}

bool readWord(Cursor *c, const char *what, unsigned *word) {
    if (c->size - c->pos < 2) return fail(c, std::string("truncated: ") + what + " cut short");
    *word = blockGet16(c->bytes + c->pos);
    c->pos += 2;
    return true;
}

const char *typeWord(int type) {
    static const char *const kWords[] = {"number", "date", "string", "keyword", "any", "any (star)"};
    return type >= 0 && type <= 5 ? kWords[type] : nullptr;
}

std::string typeText(int type) {
    const char *word = typeWord(type);
    return word ? word : "type " + std::to_string(type);
}

// A section header: its count, or false. A header that ends the block is
// refused, as the library's reader refuses it.
bool readHeader(Cursor *c, const char *section, int *count) {
    unsigned word = 0;
    c->pos += 2;  // the tag, already looked at
    if (!readWord(c, "a section header", &word)) return false;
    if (c->pos == c->size) {
        c->pos -= BLOCK_HEADER_SIZE;
        return fail(c, std::string("the ") + section + " header ends the block, with nothing behind it");
    }
    *count = (int16_t)word;
    if (*count < 0) return fail(c, std::string("negative ") + section + " count " + std::to_string(*count));
    return true;
}

bool describeNames(FILE *out, Cursor *c) {
    static const char *const kTypes[] = {"Number", "DateTime", "String", "Keyword"};
    fprintf(out, "operator names:\n");
    for (int i = 0; i < BLOCK_OPERATOR_NAMES; i++) {
        std::string name;
        if (!readText(c, "an operator name", &name)) return false;
        fprintf(out, "  %-2s on %-8s  %s\n", kBlockGroupSymbol[i / BLOCK_OPERATOR_SLOTS],
                kTypes[i % BLOCK_OPERATOR_SLOTS], name.empty() ? "(none)" : cp932ToUtf8(name).c_str());
    }
    return true;
}

bool describeItem(FILE *out, Cursor *c, int index) {
    const unsigned char *head = c->bytes + c->pos;
    if (c->size - c->pos <= BLOCK_ITEM_HEAD)
        return fail(c, "truncated: input item " + std::to_string(index) + " runs past the end");
    const void *end = memchr(head + BLOCK_ITEM_NAME, 0, BLOCK_ITEM_NAME_SIZE);
    if (!end) return fail(c, "input item " + std::to_string(index) + " has an unterminated name");
    std::string name((const char *)head + BLOCK_ITEM_NAME, (const unsigned char *)end - (head + BLOCK_ITEM_NAME));
    c->pos += BLOCK_ITEM_HEAD;
    std::string function;
    if (!readText(c, "an input item's function name", &function)) return false;
    unsigned kind = blockGet16(head + BLOCK_ITEM_KIND);
    fprintf(out, "  %s: %s, subclass %u, flags 0x%04X, function %s", cp932ToUtf8(name).c_str(),
            typeText((int16_t)blockGet16(head + BLOCK_ITEM_TYPE)).c_str(),
            blockGet16(head + BLOCK_ITEM_SUBCLASS), blockGet16(head + BLOCK_ITEM_FLAGS),
            function.empty() ? "(none)" : cp932ToUtf8(function).c_str());
    if (kind != ZEM_ITEM_INPUT) fprintf(out, ", kind %d (not an input item)", (int16_t)kind);
    fputc('\n', out);
    return true;
}

bool describeItems(FILE *out, Cursor *c) {
    int count;
    if (!readHeader(c, "input item", &count)) return false;
    fprintf(out, "input items: %d\n", count);
    for (int i = 0; i < count; i++)
        if (!describeItem(out, c, i)) return false;
    return true;
}

bool describeExpressions(FILE *out, Cursor *c) {
    int count;
    if (!readHeader(c, "expression", &count)) return false;
    fprintf(out, "expressions: %d\n", count);
    for (int i = 0; i < count; i++) {
        std::string text, name;
        if (!readText(c, "an expression's text", &text) || !readText(c, "an expression's name", &name))
            return false;
        fprintf(out, "  %d %s = %s\n", i, cp932ToUtf8(name).c_str(), cp932ToUtf8(text).c_str());
    }
    return true;
}

// The tag of the next section, 0 at the end of the block.
bool nextTag(Cursor *c, unsigned *tag) {
    *tag = 0;
    if (c->pos == c->size) return true;
    if (c->size - c->pos < 2) return fail(c, "a stray byte behind the last section");
    *tag = blockGet16(c->bytes + c->pos);
    return true;
}

bool describeSections(FILE *out, Cursor *c) {
    if (c->bytes[0] != BLOCK_VERSION) {
        if (c->bytes[0] < BLOCK_VERSION)
            return fail(c, "version " + std::to_string(c->bytes[0]) +
                               ", an older format that zem does not describe");
        return fail(c, "not a block: the first byte is " + std::to_string(c->bytes[0]) +
                           ", not a version from 0 to 3");
    }
    c->pos = 1;
    fprintf(out, "version 3, %zu bytes\n", c->size);
    if (!describeNames(out, c)) return false;
    unsigned tag;
    if (!nextTag(c, &tag)) return false;
    if (tag == BLOCK_TAG_ITEMS) {
        if (!describeItems(out, c) || !nextTag(c, &tag)) return false;
    } else {
        fprintf(out, "input items: none\n");
    }
    if (tag == BLOCK_TAG_EXPRESSIONS) {
        if (!describeExpressions(out, c) || !nextTag(c, &tag)) return false;
    } else {
        fprintf(out, "expressions: none\n");
    }
    if (tag != 0) return fail(c, "unknown section tag " + std::to_string(tag));
    return true;
}

// The whole of a file; false with the reason printed.
bool readFile(const std::string &path, std::vector<unsigned char> *bytes) {
    FILE *file = fopen(path.c_str(), "rb");
    if (!file) {
        fprintf(stderr, "zem: cannot read %s: %s\n", path.c_str(), strerror(errno));
        return false;
    }
    unsigned char chunk[4096];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0) bytes->insert(bytes->end(), chunk, chunk + got);
    fclose(file);
    return true;
}

}  // namespace

int saveBlock(Session *s, const std::string &path) {
    uint32_t size = ZEMGetECBlockSize(s->ec, 1);
    std::vector<unsigned char> block(size);
    uint32_t written = ZEMGetECBlock(s->ec, (int32_t)size, block.data());
    FILE *file = fopen(path.c_str(), "wb");
    if (!file) {
        fprintf(stderr, "zem: cannot write %s: %s\n", path.c_str(), strerror(errno));
        return 0;
    }
    bool ok = fwrite(block.data(), 1, written, file) == written;
    ok = fclose(file) == 0 && ok;
    if (!ok) {
        fprintf(stderr, "zem: writing %s failed\n", path.c_str());
        return 0;
    }
    fprintf(s->out, "saved the context in %s (%u bytes)\n", path.c_str(), written);
    return 1;
}

int loadBlock(Session *s, const std::string &path) {
    std::vector<unsigned char> bytes;
    if (!readFile(path, &bytes)) return 2;
    const char *why = "the library refused it (zem --describe tells what it holds)";
    int loaded = 0;
    if (bytes.empty() || bytes.size() > INT32_MAX) {
        why = "not a block";
    } else {
        ZEMSetRepairCallback(s->ec, repairOnTerminal);
        loaded = ZEMSetECContents(s->ec, (int32_t)bytes.size(), bytes.data(), 1, reportLoadError);
        ZEMSetRepairCallback(s->ec, 0);
    }
    if (loaded) {
        fprintf(s->out, "loaded the context from %s (%zu bytes)\n", path.c_str(), bytes.size());
        return 0;
    }
    std::string reason = why;
    if (!s->refused.empty()) reason = "the repair of " + cp932ToUtf8(s->refused) + " was given up";
    else if (!unresolvedName().empty())
        reason = "it names a function zem does not have: " + cp932ToUtf8(unresolvedName());
    fprintf(stderr, "zem: %s: not loaded: %s\n", path.c_str(), reason.c_str());
    return 1;
}

int describeBlockFile(FILE *out, const std::string &path) {
    std::vector<unsigned char> bytes;
    if (!readFile(path, &bytes)) return 2;
    fprintf(out, "block file %s\n", path.c_str());
    Cursor c = {bytes.data(), bytes.size(), 0, ""};
    if (bytes.empty()) {
        fail(&c, "empty file, not a block");
    } else if (describeSections(out, &c)) {
        return 0;
    }
    fflush(out);
    fprintf(stderr, "zem: %s: malformed block: %s\n", path.c_str(), c.error.c_str());
    return 1;
}
