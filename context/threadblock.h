// The working state of one thread: builder, dialogs, extended text, the
// labels of generated names and the last errors.
#ifndef ZEM_THREADBLOCK_H
#define ZEM_THREADBLOCK_H

#include "services/platform.h"
#include "zemi40.h"

struct ExpNode;

struct ThreadBlock {
    ExpNode *bestNode;
    int32_t repairMode;
    char *repairText;
    char *repairName;
    void *pendingList;
    int32_t pendingCount;
    const char **pendingNames;  // the records' names in byte order while a load reads them, or 0
    void *repairResult;
    WNDPROC viewEditProc;
    WNDPROC sideDialogProc;
    WNDPROC editProc, statusProc, formsProc, varsProc, funcsProc;
    HEC context;
    HWND textView;
    HWND showTextButton;
    HWND valuesView;
    TEXTMETRICA textMetrics;
    HBITMAP formulaBitmap, rangeBitmap, setBitmap;
    int32_t bitmapWidth, bitmapHeight;
    char expressionWord[128];
    char anyTail[40];
    char expressionTail[40];
    int32_t valuesEnabled;
    HEC defaultContext;
    HEXP editedExpression;
    int32_t mode;
    char titleFormula[128], titleRange[128], titleSet[128];
    char formulaLabel[128], rangeLabel[128], setLabel[128];
    char generatedName[128];
    char startItem[129];
    char numberLabel[40], dateTimeLabel[40], stringLabel[40], anyLabel[40], keywordLabel[40];
    ExpError lastError;
    ExpError dialogError;
    char *dialogErrorText;
    WNDPROC errorDialogProc;
    WNDPROC errorEditProc;
};

// The calling thread's block, made zeroed at first use with the labels
// filled in; 0 when memory ran out (the next call tries again).
ThreadBlock *threadBlock(void);

// The context made at load, shared by every thread.
HEC defaultContext(void);

#endif
