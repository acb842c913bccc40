// The service operations beneath the library: memory, growable arrays,
// per-thread slots, text and characters. Everything above this layer calls
// these names and nothing of the platform.
#ifndef ZEM_SERVICES_H
#define ZEM_SERVICES_H

#include <stddef.h>
#include <stdint.h>

#include "zemi40.h"

// ---- Memory: zeroed blocks with a known usable size.
void *SvcAlloc(size_t size);
void *SvcRealloc(void *block, size_t size);  // 0 keeps the old block valid
void SvcFree(void *block);
size_t SvcSize(const void *block);

// Test hooks: make the allocation that is `n` calls from now fail (1 is the
// very next one; 0 disarms), and count the blocks that are alive.
void SvcFailAllocAfter(long n);
int SvcFailAllocPending(void);  // armed and not yet fired
long SvcLiveBlocks(void);

// The per-thread cache of small freed blocks: started when the library is
// loaded, stopped when it is unloaded; without it every block is the C
// library's.
void SvcMemoryStart(void);
void SvcMemoryStop(void);

// ---- HandleArray: a growable array of fixed-size elements behind a handle.
// An element pointer holds only between SvcArrayLock and SvcArrayUnlock.
typedef uintptr_t HARRAY;
enum { SVC_ARRAY_MAX = 65535 };

HARRAY SvcArrayCreate(size_t elementSize, unsigned count);
void SvcArrayDestroy(HARRAY array);
void *SvcArrayLock(HARRAY array, unsigned index);
void SvcArrayUnlock(HARRAY array);
HARRAY SvcArrayGrow(HARRAY array, int position);  // appends one zeroed element; position is -1
uint32_t SvcArrayInfo(HARRAY array);              // element count in the high 16 bits
HARRAY SvcArrayRemove(HARRAY array, unsigned index);
unsigned SvcArrayCount(HARRAY array);             // the high half of SvcArrayInfo

// ---- Per-thread slots.
typedef void (*SvcTlsDestructor)(void *value);
uint32_t _TLS_AllocIndex(void);
void _TLS_FreeIndex(uint32_t slot);
void *SvcTlsGet(uint32_t slot);
void SvcTlsSet(uint32_t slot, void *value, SvcTlsDestructor destructor);
// Runs the calling thread's destructors and drops its entries: the Windows
// loader's thread-exit notice calls it. Elsewhere the threads library does
// that by itself and this does nothing.
void SvcTlsThreadExit(void);

// ---- Text. Counts are characters of the system code page unless named bytes.
size_t SvcStrLen(const char *text);   // bytes; null gives 0
// An owned copy of text (null gives the empty text), or 0 when memory ran out.
char *SvcStrCopy(const char *text);
size_t SvcCharLen(const char *text);  // characters
void SvcCopyChars(char *dest, const char *src, long count);
void SvcStrLeft(char *dest, const char *src, long count);
void SvcStrMid(char *dest, const char *src, long start, long count);
void SvcStrRight(char *dest, const char *src, long count);
void SvcStrReplace(char *dest, const char *src, const char *replacement, long start, long count);
void SvcStrProper(char *dest, const char *src);
void SvcStrTrim(char *dest, const char *src);
void SvcStrRTrim(char *dest, const char *src);
const char *SvcStrLTrim(const char *text);
void SvcStrUpper(char *text);
void SvcStrLower(char *text);
long SvcStrScan(const char *text, const char *pattern);
const char *SvcStrChr(const char *text, int ch);
int SvcStrEqual(const char *a, const char *b);
int SvcStrStartsWith(const char *text, const char *prefix, long count);
const char *SvcStrSkip(const char *text, long count);
void SvcStrNormalise(char *text);
size_t SvcNextToken(char *token, const char *text, const char *delims1, const char *delims2,
                    int zero1, int quote, int zero2);

// ---- Characters of the system code page.
int SvcIsDoubleByte(void);
int SvcIsLead(int ch);
int SvcIsLeadAt(const char *at);
int SvcIsWordChar(int ch);

// ---- Controls.
void SvcListFit(void *list);

#endif
