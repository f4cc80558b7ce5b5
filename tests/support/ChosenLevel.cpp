#include "support/ChosenLevel.h"

#include <atomic>

static std::atomic<Level> chosen_level{HighestLevel()};

Level ChosenLevel() { return chosen_level; }

void ChooseLevel(Level level) { chosen_level = level; }

std::vector<Level> Levels()
{
    std::vector<Level> levels;
    for (Level level : {Level::Plain, Level::Sse41, Level::Avx2, Level::Avx512})
        if (level <= HighestLevel()) levels.push_back(level);
    return levels;
}

std::string NameOf(Level level)
{
    static const char* const names[] = {"plain", "sse41", "avx2", "avx512"};
    return names[static_cast<int>(level)];
}
