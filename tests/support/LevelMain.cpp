/*
 * LevelMain.cpp - the main program of tests that run once at every level: --level=NAME chooses it. A level that the
 * processor lacks ends with 77, which the runner counts as skipped.
 */
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "support/ChosenLevel.h"

static bool TakeLevel(const char* name)
{
    for (Level level : Levels()) {
        if (NameOf(level) != name) continue;
        ChooseLevel(level);
        return true;
    }
    return false;
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    static const char option[] = "--level=";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], option, sizeof option - 1) != 0) continue;
        if (TakeLevel(argv[i] + sizeof option - 1)) continue;
        std::printf("this processor has no %s\n", argv[i] + sizeof option - 1);
        return 77;
    }
    return RUN_ALL_TESTS();
}
