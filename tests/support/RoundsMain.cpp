#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "support/Rounds.h"

static uint32 given_rounds = 0;
static uint32 first_seed = 1;

uint32 test::Rounds(uint32 number) { return given_rounds != 0 ? given_rounds : number; }
uint32 test::FirstSeed() { return first_seed; }

/* Takes the number from an argument "NAME=NUMBER". */
static void TakeNumber(const char* argument, const char* name, uint32* number)
{
    const size_t length = std::strlen(name);
    if (std::strncmp(argument, name, length) == 0 && argument[length] == '=')
        *number = static_cast<uint32>(std::strtoul(argument + length + 1, nullptr, 10));
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        TakeNumber(argv[i], "--rounds", &given_rounds);
        TakeNumber(argv[i], "--first", &first_seed);
    }
    return RUN_ALL_TESTS();
}
