/*
 * Replay.cpp - runs a fuzz target over files: replay FILE_OR_FOLDER...
 */
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "FuzzInput.h"

namespace
{

void RunFile(const std::filesystem::path& name)
{
    std::ifstream file(name, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> files;
    for (int k = 1; k < argc; ++k) {
        if (!std::filesystem::is_directory(argv[k]))
            files.push_back(argv[k]);
        else
            for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[k]))
                if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) RunFile(file);
    std::printf("%zu files replayed\n", files.size());
    return files.empty() ? 1 : 0;
}
