// The context block, version 3: the bytes the writer lays out and the
// readers take apart. The block has no alignment; 16-bit words are
// little-endian; texts are terminated bytes of the system code page.
//
//   version byte 3
//   twenty operator names in table order, each terminated (absent: one 0)
//   optional input item section: tag 250, count, then per item an 85-byte
//     head and its terminated function name
//   optional expression section: tag 252, count, then per expression its
//     terminated text and its terminated name
//
// Nothing follows the last section; the block's end is its size.
#ifndef ZEM_BLOCKFORMAT_H
#define ZEM_BLOCKFORMAT_H

#include <stdint.h>

enum {
    BLOCK_VERSION = 3,
    BLOCK_TAG_ITEMS = 250,
    BLOCK_TAG_OLD_EXPRESSIONS = 251,  // version 0 blocks only
    BLOCK_TAG_EXPRESSIONS = 252,
    BLOCK_HEADER_SIZE = 4,  // tag word, count word
    BLOCK_OPERATOR_GROUPS = 5,
    BLOCK_OPERATOR_SLOTS = 4,  // by data type 0..3
    BLOCK_OPERATOR_NAMES = BLOCK_OPERATOR_GROUPS * BLOCK_OPERATOR_SLOTS,
};

// The input item head in the block. It is the packed item record of a
// 32-bit host, whatever the width of pointers in the writer: the two
// pointer words are always 4 bytes and always zero.
enum {
    BLOCK_ITEM_KIND = 0,
    BLOCK_ITEM_TYPE = 2,
    BLOCK_ITEM_FUNCTION = 4,  // 4 zero bytes
    BLOCK_ITEM_CALLBACK = 8,  // 4 zero bytes
    BLOCK_ITEM_NAME = 12,     // 65 bytes, bytes behind the terminator kept
    BLOCK_ITEM_NAME_SIZE = 65,
    BLOCK_ITEM_PARAMS = 77,
    BLOCK_ITEM_SUBCLASS = 79,
    BLOCK_ITEM_OPTIONAL = 81,
    BLOCK_ITEM_FLAGS = 83,
    BLOCK_ITEM_HEAD = 85,
};

// The block keeps the groups in the context's field order + - * / ||,
// while operator codes run + - / * ||: group g holds code kBlockGroupCode[g].
constexpr int kBlockGroupCode[BLOCK_OPERATOR_GROUPS] = {0, 1, 3, 2, 4};
constexpr const char *kBlockGroupSymbol[BLOCK_OPERATOR_GROUPS] = {"+", "-", "*", "/", "||"};

inline void blockPut16(unsigned char *at, unsigned value) {
    at[0] = (unsigned char)(value & 0xFF);
    at[1] = (unsigned char)((value >> 8) & 0xFF);
}

inline unsigned blockGet16(const unsigned char *at) { return at[0] | (unsigned)at[1] << 8; }

#endif
