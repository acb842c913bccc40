// Memory blocks: zeroed on allocation, each with its usable size in a small
// header in front of it. Small blocks come in two rooms and freed ones wait
// in a per-thread cache for the next request of their room: evaluation asks
// for one such block per input value.
#include <atomic>
#include <new>
#include <stdlib.h>
#include <string.h>

#include "services/services.h"

namespace {

struct alignas(16) BlockHeader {
    size_t size;  // what the caller asked for
    size_t room;  // what there is behind the header
};

enum { ROOMS = 2, CACHE_DEPTH = 64 };
constexpr size_t ROOM_SIZE[ROOMS] = {32, 64};

// Under the address checker every block is the C library's, of its exact
// size, so that a write past the end or a use after free is still seen.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kRooms = false;
#else
constexpr bool kRooms = true;
#endif

// Freed blocks of each room, chained through their first bytes, and what
// gives the thread's share of the live count: the blocks it took from the
// C library less those it gave back and those waiting here. A block that
// goes through the cache changes only the count of its room. Only its own
// thread writes these, with a plain load and store rather than a locked
// instruction; the caches of running threads are chained in a list that
// the count reads and a thread's exit leaves, handing its share on.
struct BlockCache {
    void *head[ROOMS];
    std::atomic<int> count[ROOMS];
    std::atomic<long> taken, given;
    BlockCache *next;
};

// A change by the one thread that writes n.
template <typename T>
void ownAdd(std::atomic<T> &n, T by) {
    n.store(n.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
}

long shareOf(const BlockCache *cache) {
    long n = cache->taken.load(std::memory_order_relaxed) - cache->given.load(std::memory_order_relaxed);
    for (int r = 0; r < ROOMS; r++) n -= cache->count[r].load(std::memory_order_relaxed);
    return n;
}

uint32_t cacheSlot = (uint32_t)-1;
#ifndef _WIN32
// The slot's value for this thread again, where a read costs one load.
thread_local BlockCache *fastCache __attribute__((tls_model("initial-exec")));
#endif
std::atomic<long> liveBlocks{0};  // of threads without a cache, and of those gone
std::atomic<long> failCountdown{0};
BlockCache *runningCaches;
std::atomic_flag runningBusy = ATOMIC_FLAG_INIT;

// Holds the list of running threads' caches; only thread starts and exits
// and the count take it, so a short spin does.
struct RunningGuard {
    RunningGuard() {
        while (runningBusy.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~RunningGuard() { runningBusy.clear(std::memory_order_release); }
};

// True when the armed countdown says this allocation must fail.
bool failThisOne() {
    long n = failCountdown.load(std::memory_order_relaxed);
    if (n <= 0) return false;
    return failCountdown.fetch_sub(1) == 1;
}

BlockHeader *headerOf(const void *block) {
    return (BlockHeader *)((char *)block - sizeof(BlockHeader));
}

// The room a request of size bytes gets, or -1 for a block of its own size.
int roomFor(size_t size) {
    for (int r = 0; kRooms && r < ROOMS; r++)
        if (size <= ROOM_SIZE[r]) return r;
    return -1;
}

// The room a block was made with, or -1 for a block of its own size.
int roomOf(const BlockHeader *h) {
    for (int r = 0; kRooms && r < ROOMS; r++)
        if (h->room == ROOM_SIZE[r]) return r;
    return -1;
}

void freeCache(void *p) {
    BlockCache *cache = (BlockCache *)p;
    {
        RunningGuard guard;
        BlockCache **at = &runningCaches;
        while (*at && *at != cache) at = &(*at)->next;
        if (*at) *at = cache->next;
        liveBlocks += shareOf(cache);
    }
    for (int r = 0; r < ROOMS; r++)
        while (void *block = cache->head[r]) {
            cache->head[r] = *(void **)block;
            free(headerOf(block));
        }
#ifndef _WIN32
    if (fastCache == cache) fastCache = 0;
#endif
    free(cache);
}

// The calling thread's cache, made on first use; 0 when there is none and
// none can be made. Only allocation makes one, so that a free at thread
// exit, after the cache went, cannot bring it back.
BlockCache *threadCache(bool make) {
#ifndef _WIN32
    if (fastCache) return fastCache;
#endif
    if (cacheSlot == (uint32_t)-1) return 0;
    BlockCache *cache = (BlockCache *)SvcTlsGet(cacheSlot);
    if (cache || !make) return cache;
    void *room = calloc(1, sizeof *cache);
    if (!room) return 0;
    cache = new (room) BlockCache{};
    SvcTlsSet(cacheSlot, cache, freeCache);
    if (SvcTlsGet(cacheSlot) != cache) {
        free(cache);
        return 0;
    }
    {
        RunningGuard guard;
        cache->next = runningCaches;
        runningCaches = cache;
    }
#ifndef _WIN32
    fastCache = cache;
#endif
    return cache;
}

BlockHeader *takeCached(BlockCache *cache, int room) {
    void *block = cache ? cache->head[room] : 0;
    if (!block) return 0;
    cache->head[room] = *(void **)block;
    ownAdd(cache->count[room], -1);
    return headerOf(block);
}

bool putCached(BlockCache *cache, BlockHeader *h) {
    int room = roomOf(h);
    if (room < 0 || !cache || cache->count[room].load(std::memory_order_relaxed) >= CACHE_DEPTH) return false;
    *(void **)(h + 1) = cache->head[room];
    cache->head[room] = h + 1;
    ownAdd(cache->count[room], 1);
    return true;
}

}  // namespace

void SvcMemoryStart(void) { cacheSlot = _TLS_AllocIndex(); }

void SvcMemoryStop(void) {
    uint32_t slot = cacheSlot;
    cacheSlot = (uint32_t)-1;
    _TLS_FreeIndex(slot);
}

void *SvcAlloc(size_t size) {
    if (failThisOne() || size > (size_t)-1 - sizeof(BlockHeader)) return 0;
    int room = roomFor(size);
    BlockCache *cache = threadCache(true);
    BlockHeader *h = room >= 0 ? takeCached(cache, room) : 0;
    if (!h) {
        size_t want = room >= 0 ? ROOM_SIZE[room] : size;
        // malloc and our own clear: calloc passes by the C library's
        // per-thread cache of small blocks.
        if (!(h = (BlockHeader *)malloc(sizeof(BlockHeader) + want))) return 0;
        h->room = want;
        if (cache)
            ownAdd(cache->taken, 1L);
        else
            liveBlocks++;
    }
    // A room is cleared whole: its size is known here, which is quicker.
    if (room == 0)
        memset(h + 1, 0, ROOM_SIZE[0]);
    else if (room == 1)
        memset(h + 1, 0, ROOM_SIZE[1]);
    else
        memset(h + 1, 0, size);
    h->size = size;
    return h + 1;
}

void *SvcRealloc(void *block, size_t size) {
    if (!block) return SvcAlloc(size);
    if (failThisOne() || size > (size_t)-1 - sizeof(BlockHeader)) return 0;
    BlockHeader *h = headerOf(block);
    size_t oldSize = h->size;
    // A small block keeps its room as long as the size fits it.
    if (size > h->room || roomOf(h) < 0) {
        if (!(h = (BlockHeader *)realloc(h, sizeof(BlockHeader) + size))) return 0;
        h->room = size;
    }
    if (size > oldSize) memset((char *)(h + 1) + oldSize, 0, size - oldSize);
    h->size = size;
    return h + 1;
}

void SvcFree(void *block) {
    if (!block) return;
    BlockCache *cache = threadCache(false);
    BlockHeader *h = headerOf(block);
    if (putCached(cache, h)) return;
    free(h);
    if (cache)
        ownAdd(cache->given, 1L);
    else
        liveBlocks--;
}

size_t SvcSize(const void *block) { return block ? headerOf(block)->size : 0; }

void SvcFailAllocAfter(long n) { failCountdown.store(n > 0 ? n : 0); }
int SvcFailAllocPending(void) { return failCountdown.load() > 0; }
long SvcLiveBlocks(void) {
    RunningGuard guard;
    long n = liveBlocks.load();
    for (BlockCache *c = runningCaches; c; c = c->next) n += shareOf(c);
    return n;
}

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
