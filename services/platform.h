// The platform calls the library makes by their Win32 names. On Windows
// they are the real calls; elsewhere services/ supplies them.
#ifndef ZEM_PLATFORM_H
#define ZEM_PLATFORM_H

#include <stdint.h>

#ifdef _WIN32
#include <windows.h>
#else

typedef void *HINSTANCE;
typedef int BOOL;
typedef uint32_t DWORD;
typedef char CHAR;
typedef unsigned char BYTE;
typedef void *HWND;
typedef void *HBITMAP;
typedef void *WNDPROC;

// Font metrics of a window, as the builder keeps them.
typedef struct TEXTMETRICA {
    int32_t tmHeight, tmAscent, tmDescent, tmInternalLeading, tmExternalLeading;
    int32_t tmAveCharWidth, tmMaxCharWidth, tmWeight, tmOverhang;
    int32_t tmDigitizedAspectX, tmDigitizedAspectY;
    BYTE tmFirstChar, tmLastChar, tmDefaultChar, tmBreakChar;
    BYTE tmItalic, tmUnderlined, tmStruckOut, tmPitchAndFamily, tmCharSet;
} TEXTMETRICA;

// A recursive lock.
typedef struct CRITICAL_SECTION {
    void *impl;
} CRITICAL_SECTION;

void InitializeCriticalSection(CRITICAL_SECTION *cs);
void EnterCriticalSection(CRITICAL_SECTION *cs);
void LeaveCriticalSection(CRITICAL_SECTION *cs);
void DeleteCriticalSection(CRITICAL_SECTION *cs);

// Loads string `id` of the string table into buffer (size bytes, cut and
// terminated), in the active code page. The count of bytes, 0 when absent.
int LoadStringA(HINSTANCE module, unsigned id, char *buffer, int size);

// The code page and its characters.
unsigned GetACP(void);
BOOL IsDBCSLeadByte(BYTE ch);
char *CharNextA(const char *at);
DWORD CharUpperBuffA(char *text, DWORD length);
DWORD CharLowerBuffA(char *text, DWORD length);
BOOL IsCharAlphaA(CHAR ch);
BOOL IsCharAlphaNumericA(CHAR ch);
int lstrcmpA(const char *a, const char *b);
int lstrcmpiA(const char *a, const char *b);

#endif

// Selects the stand-in code page (932 or 1252); 0 when not possible.
int SvcSelectCodePage(unsigned codePage);

#endif
