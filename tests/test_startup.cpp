// Start-up state, thread blocks, the string table and the error codes.
#include <string.h>

#include <string>
#include <thread>

#include "context/startup.h"
#include "context/threadblock.h"
#include "errors/errors.h"
#include "support.h"

TEST(Startup, LoadedState) {
    EXPECT_NE(FUNModuleHandle(), nullptr);
    EXPECT_NE(defaultContext(), nullptr);
    ThreadBlock *tb = threadBlock();
    ASSERT_NE(tb, nullptr);
    EXPECT_EQ(tb, threadBlock()) << "one block a thread";
    EXPECT_EQ(tb->defaultContext, defaultContext());
    EXPECT_STREQ(tb->formulaLabel, "Formula");
    EXPECT_STREQ(tb->numberLabel, "Number");
    EXPECT_STREQ(tb->keywordLabel, "Keyword");
    EXPECT_STREQ(tb->rangeLabel, "\x94\xcd\x88\xcd");  // 範囲
    EXPECT_EQ(gParserLock.depth, 0);
    EXPECT_EQ(gDateLock.depth, 0);
}

TEST(Startup, EveryThreadGetsAFilledZeroedBlock) {
    ThreadBlock *mine = threadBlock();
    std::thread other([mine] {
        ThreadBlock *tb = threadBlock();
        ASSERT_NE(tb, nullptr);
        EXPECT_NE(tb, mine);
        EXPECT_STREQ(tb->formulaLabel, "Formula") << "labels on every thread";
        EXPECT_STREQ(tb->setLabel, "\x90\xdd\x92\xe8");  // 設定
        EXPECT_EQ(tb->defaultContext, defaultContext());
        EXPECT_EQ(tb->repairMode, 0);
        EXPECT_EQ(tb->editedExpression, nullptr);
        EXPECT_EQ(tb->lastError.code, 0u);
    });
    other.join();
}

TEST(Startup, ThreadBlockOutOfMemoryTriesAgain) {
    long before = SvcLiveBlocks();
    std::thread other([] {
        SvcFailAllocAfter(1);
        EXPECT_EQ(threadBlock(), nullptr);
        EXPECT_NE(threadBlock(), nullptr) << "the next call tries again";
    });
    other.join();
    EXPECT_EQ(SvcLiveBlocks(), before) << "the block goes with its thread";
}

TEST(Startup, RecursiveLocksCountDepth) {
    {
        LockGuard outer(&gParserLock);
        LockGuard inner(&gParserLock);
        EXPECT_EQ(gParserLock.depth, 2);
        std::thread other([] {
            // Another thread waits; the date lock is free to it.
            LockGuard date(&gDateLock);
            EXPECT_EQ(gDateLock.depth, 1);
        });
        other.join();
    }
    EXPECT_EQ(gParserLock.depth, 0);
}

static std::string load(unsigned id, int size = 256) {
    char buf[256];
    LoadStringA(ModuleHandle(), id, buf, size);
    return buf;
}

TEST(Strings, TableUnderBothCodePages) {
    struct Row {
        unsigned id;
        const char *cp932, *cp1252;
    } rows[] = {
        {109, "ERR_SYNTAX:\x95\x73\x8a\xae\x91\x53\x82\xe0\x82\xb5\x82\xad\x82\xcd\x96\xb3\x8c\xf8"
              "\x82\xcc\x8c\x76\x8e\x5a\x8e\xae\x82\xc5\x82\xb7\x81\x42",
         "ERR_SYNTAX:????????????????"},
        {126, "ERR_DUPNAME: \x95\xa1\x90\xbb\x82\xcc\x92\xe8\x90\x94\x96\xbc", "ERR_DUPNAME: ??????"},
        {101, "ERR_PARM: \xca\xdf\xd7\xd2\xb0\xc0\x82\xcd\x93\xfc\x97\xcd\xb1\xb2\xc3\xd1\x82\xc5\x82"
              "\xc8\x82\xaf\x82\xea\x82\xce\x82\xc8\x82\xe8\x82\xdc\x82\xb9\x82\xf1\x81\x42",
         "ERR_PARM: ????????????????????????"},
        {205, "Delete Permission Denied.", "Delete Permission Denied."},
        {226, " Warning", " Warning"},
        {240, "S&how Set Text...", "S&how Set Text..."},
        {20000, "FUNDateAddDay,1,2,1,0", "FUNDateAddDay,1,2,1,0"},
        {20045, "FUNDateQuarter,0,1,1", "FUNDateQuarter,0,1,1"},
        {20010, "FUNDateConstruct,1,6,0,0,0,0,0,0", "FUNDateConstruct,1,6,0,0,0,0,0,0"},
    };
    for (const Row &r : rows) {
        EXPECT_EQ(load(r.id), r.cp932) << r.id;
        ASSERT_EQ(ZEMSetSystemCodePage(1252), 1);
        EXPECT_EQ(load(r.id), r.cp1252) << r.id;
        ZEMSetSystemCodePage(932);
    }
    for (unsigned absent : {0u, 104u, 138u, 200u, 247u, 19999u, 20046u}) {
        char buf[8] = "x";
        EXPECT_EQ(LoadStringA(ModuleHandle(), absent, buf, sizeof(buf)), 0) << absent;
        EXPECT_STREQ(buf, "");
    }
}

TEST(Strings, CutToTheBufferWithoutSplittingACharacter) {
    // 範囲ｴﾃﾞｨﾀ: two double-byte characters, then single-byte ones.
    EXPECT_EQ(load(212, 4), "\x94\xcd") << "a lone lead byte is not delivered";
    EXPECT_EQ(load(212, 3), "\x94\xcd");
    EXPECT_EQ(load(212, 2), "");
    EXPECT_EQ(load(212, 6), "\x94\xcd\x88\xcd\xb4");
    EXPECT_EQ(load(208, 4), "For");
}

TEST(Errors, CodesSymbolsAndMessages) {
    for (unsigned code = ERROR_FIRST; code <= ERROR_LAST; code++) {
        char msg[MESSAGE_BUFFER];
        int n = ErrorMessage(code, msg, sizeof(msg));
        if (code == 104) {
            EXPECT_EQ(ErrorSymbol(code), nullptr);
            EXPECT_EQ(n, 0);
            continue;
        }
        ASSERT_NE(ErrorSymbol(code), nullptr) << code;
        EXPECT_GT(n, 0) << code;
        EXPECT_LT(n, MESSAGE_BUFFER) << "every message fits the dialog's buffer";
        // Each message begins with its own symbol.
        EXPECT_EQ(strncmp(msg, ErrorSymbol(code), strlen(ErrorSymbol(code))), 0) << msg;
    }
    char msg[8] = "x";
    EXPECT_EQ(ErrorMessage(99, msg, sizeof(msg)), 0);
    EXPECT_EQ(ErrorMessage(138, msg, sizeof(msg)), 0);
    EXPECT_STREQ(msg, "");
    EXPECT_STREQ(ErrorSymbol(ERR_SYNTAX), "ERR_SYNTAX");
    EXPECT_STREQ(ErrorSymbol(ERR_SUBCLASS), "ERR_SUBCLASS");
}
