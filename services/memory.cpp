// Memory blocks: zeroed on allocation, each with its usable size in a small
// header in front of it.
#include <atomic>
#include <stdlib.h>
#include <string.h>

#include "services/services.h"

namespace {

struct alignas(16) BlockHeader {
    size_t size;
};

std::atomic<long> liveBlocks{0};
std::atomic<long> failCountdown{0};

// True when the armed countdown says this allocation must fail.
bool failThisOne() {
    long n = failCountdown.load(std::memory_order_relaxed);
    if (n <= 0) return false;
    return failCountdown.fetch_sub(1) == 1;
}

BlockHeader *headerOf(const void *block) {
    return (BlockHeader *)((char *)block - sizeof(BlockHeader));
}

}  // namespace

void *SvcAlloc(size_t size) {
    if (failThisOne() || size > (size_t)-1 - sizeof(BlockHeader)) return 0;
    // malloc and our own clear: calloc passes by the C library's per-thread
    // cache of small blocks, and the evaluator asks for many.
    BlockHeader *h = (BlockHeader *)malloc(sizeof(BlockHeader) + size);
    if (!h) return 0;
    memset(h + 1, 0, size);
    h->size = size;
    liveBlocks++;
    return h + 1;
}

void *SvcRealloc(void *block, size_t size) {
    if (!block) return SvcAlloc(size);
    if (failThisOne() || size > (size_t)-1 - sizeof(BlockHeader)) return 0;
    BlockHeader *old = headerOf(block);
    size_t oldSize = old->size;
    BlockHeader *h = (BlockHeader *)realloc(old, sizeof(BlockHeader) + size);
    if (!h) return 0;
    if (size > oldSize) memset((char *)(h + 1) + oldSize, 0, size - oldSize);
    h->size = size;
    return h + 1;
}

void SvcFree(void *block) {
    if (!block) return;
    liveBlocks--;
    free(headerOf(block));
}

size_t SvcSize(const void *block) { return block ? headerOf(block)->size : 0; }

void SvcFailAllocAfter(long n) { failCountdown.store(n > 0 ? n : 0); }
int SvcFailAllocPending(void) { return failCountdown.load() > 0; }
long SvcLiveBlocks(void) { return liveBlocks.load(); }

extern "C" {

ZEMAPI void *ZEMCALL ZEMMemAlloc(uint32_t size) { return SvcAlloc(size); }

ZEMAPI void *ZEMCALL ZEMMemRealloc(void *block, uint32_t size) {
    return block ? SvcRealloc(block, size) : 0;
}

ZEMAPI void ZEMCALL ZEMMemFree(void *block) {
    if (block) SvcFree(block);
}

ZEMAPI uint32_t ZEMCALL ZEMMemSize(void *block) { return block ? (uint32_t)SvcSize(block) : 0; }

}
