#include "support/ToolTest.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using quarlo::Bitmap;
using quarlo::Bytes;
using quarlo::Page;

namespace test
{

std::string ReadAll(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteAll(const std::string& name, const std::string& content)
{
    std::ofstream(name, std::ios::binary) << content;
}

bool Exists(const std::string& name) { return access(name.c_str(), F_OK) == 0; }

Bytes PixelsOf(const Bitmap& bitmap, int x, int y, int width, int height)
{
    Bytes pixels;
    for (int row = y; row < y + height; ++row) {
        const std::uint8_t* line = bitmap.row(bitmap.height() - 1 - row);
        for (int col = x; col < x + width; ++col) {
            if (bitmap.depth() == 1)
                pixels.push_back((line[col / 8] >> (7 - col % 8)) & 1);
            else
                pixels.insert(pixels.end(), line + col * bitmap.depth() / 8, line + (col + 1) * bitmap.depth() / 8);
        }
    }
    return pixels;
}

Bytes PixelsOf(const Bitmap& bitmap) { return PixelsOf(bitmap, 0, 0, bitmap.width(), bitmap.height()); }

std::vector<Page> Load(const std::string& name)
{
    std::unique_ptr<quarlo::Input> input;
    quarlo::Problem problem = quarlo::Input::OpenFile(name, &input);
    EXPECT_FALSE(problem) << name << ": " << problem.reason;
    std::vector<Page> pages;
    for (int i = 0; !problem && i < input->page_count(); ++i) {
        pages.emplace_back();
        problem = input->Read(i, {}, &pages.back());
        EXPECT_FALSE(problem) << name << ": " << problem.reason;
    }
    return pages;
}

void Save(const std::vector<const Page*>& pages, const std::string& name, quarlo::WriteOptions options)
{
    if (options.format == quarlo::Format::unknown) options.format = quarlo::FormatOfName(name);
    Bytes bytes;
    std::unique_ptr<quarlo::Output> output;
    std::vector<std::string> warnings;
    ASSERT_FALSE(quarlo::Output::ToMemory(&bytes, options, &output)) << name;
    for (const Page* page : pages) ASSERT_FALSE(output->Add(*page, &warnings)) << name;
    ASSERT_FALSE(output->Finish()) << name;
    WriteAll(name, std::string(bytes.begin(), bytes.end()));
}

Page PageOf(const Sheet& sheet, double dpi)
{
    Page page;
    page.bitmap = Draw(sheet);
    page.meta.resolution = {dpi, dpi, quarlo::Resolution::Unit::inch};
    return page;
}

void ToolTest::SetUp()
{
    std::string pattern = testing::TempDir() + "quarlo_tool_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern.data()));
    folder = pattern + "/";
}

void ToolTest::TearDown() { std::filesystem::remove_all(folder); }

int ToolTest::Run(const std::string& arguments)
{
    const std::string said = folder.substr(0, folder.size() - 1);
    /* Lines of progress come after ten seconds, which a slow machine may need for anything. */
    const bool silent = arguments.find("--progress") == std::string::npos;
    const std::string options = silent ? "--progress=none " + arguments : arguments;
    const std::string command = "cd '" + folder + "' && '" QUARLO_TOOL "' " + options;
    const int status = std::system(("{ " + command + "\n} >'" + said + ".out' 2>'" + said + ".err'").c_str());
    out = ReadAll(said + ".out");
    err = ReadAll(said + ".err");
    unlink((said + ".out").c_str());
    unlink((said + ".err").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

pid_t ToolTest::Start(const std::vector<std::string>& arguments, int input, int output)
{
    std::vector<char*> argv;
    std::string tool = QUARLO_TOOL;
    std::vector<std::string> copies = arguments;
    argv.push_back(tool.data());
    for (std::string& argument : copies) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const pid_t child = fork();
    setpgid(child, 0); /* by whoever comes first */
    if (child != 0) return child;
    if (chdir(folder.c_str()) != 0) _exit(126);
    if (input >= 0) dup2(input, STDIN_FILENO);
    if (output >= 0) dup2(output, STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execv(tool.c_str(), argv.data());
    _exit(127);
}

int ToolTest::Wait(pid_t child)
{
    int status = 0;
    if (waitpid(child, &status, 0) != child) return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ToolTest::Make(const std::string& name, const Sheet& sheet)
{
    const Page page = PageOf(sheet);
    Save({&page}, Path(name));
}

void ToolTest::MakeDocument(const std::string& name, const std::vector<Sheet>& sheets)
{
    std::vector<Page> pages;
    std::vector<const Page*> list;
    for (const Sheet& sheet : sheets) pages.push_back(PageOf(sheet));
    for (const Page& page : pages) list.push_back(&page);
    Save(list, Path(name));
}

std::map<std::string, std::string> ToolTest::Tree(const std::string& subfolder) const
{
    namespace fs = std::filesystem;
    std::map<std::string, std::string> tree;
    if (!fs::exists(folder + subfolder)) return tree;
    for (const auto& entry : fs::recursive_directory_iterator(folder + subfolder))
        tree[fs::relative(entry.path(), folder + subfolder).string()] =
            entry.is_regular_file() ? ReadAll(entry.path().string()) : "";
    return tree;
}

std::string ToolTest::Report(const std::string& name) const
{
    std::istringstream lines(ReadAll(Path(name)));
    std::string report;
    for (std::string line; std::getline(lines, line);) report += line.substr(0, line.rfind(",\"ms\":")) + "\n";
    return report;
}

void ToolTest::Remove(const std::vector<std::string>& names) const
{
    for (const std::string& name : names) std::filesystem::remove_all(Path(name));
}

void ToolTest::WaitFor(const std::string& name) const
{
    /* The limit is for a tool that fails. */
    for (int k = 0; k < 60000 && !Exists(Path(name)); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(Exists(Path(name))) << name;
}

void ToolTest::MakeBlank(const std::string& name)
{
    Page page;
    page.bitmap = DrawNothing(300, 300, 8);
    Save({&page}, Path(name));
}

std::string ToolTest::Files(const std::string& subfolder) const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder + subfolder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string list;
    for (const std::string& name : names) list += name + " ";
    return list;
}

} // namespace test
