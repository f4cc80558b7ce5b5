#include "Child.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>

#include "Fail.h"

namespace bench
{

/* Both pipes are closed on exec, so that no later child holds this one's open. */
Child::Child(const std::string& program, const char* memory) : name(program)
{
    int requests[2], answers[2];
    if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) Fail("no pipe");
    process = fork();
    if (process < 0) Fail("no process");
    if (process == 0) {
        dup2(requests[0], STDIN_FILENO);
        dup2(answers[1], STDOUT_FILENO);
        execl(program.c_str(), program.c_str(), memory, nullptr);
        _exit(127);
    }
    close(requests[0]);
    close(answers[1]);
    to = fdopen(requests[1], "w");
    from = fdopen(answers[0], "r");
    std::signal(SIGPIPE, SIG_IGN);
}

/* Without requests it ends by itself. */
Child::~Child()
{
    std::fclose(to);
    std::fclose(from);
    waitpid(process, nullptr, 0);
}

void Child::Ask(const std::string& request)
{
    std::fprintf(to, "%s\n", request.c_str());
    std::fflush(to);
}

std::string Child::Line()
{
    char line[512];
    if (std::fgets(line, sizeof line, from) == nullptr) Fail(name + " has ended");
    std::string text = line;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

std::string Child::About()
{
    Ask("about");
    return Line();
}

std::vector<Cell> Child::List()
{
    std::vector<Cell> cells;
    Ask("list");
    for (std::string line = Line(); !line.empty(); line = Line()) {
        Cell cell;
        std::istringstream(line) >> cell.operation >> cell.column;
        cells.push_back(cell);
    }
    return cells;
}

Answer Child::Run(const Cell& cell, int dpi, int count)
{
    Answer answer;
    Ask("run " + cell.operation + ' ' + cell.column + ' ' + std::to_string(dpi) + ' ' + std::to_string(count));
    if (!(std::istringstream(Line()) >> answer.value >> answer.faults >> answer.pixels))
        Fail(name + " gave no answer");
    return answer;
}

} // namespace bench
