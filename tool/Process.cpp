/*
 * Process.cpp - processes of a call, and messages between them.
 */
#include "Process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "PageJob.h"
#include "Signals.h"

using quarlo::Code;
using quarlo::Problem;

namespace tool
{

namespace
{

constexpr const char* kStage = "page";
constexpr std::uint64_t kLongestMessage = 1 << 30; /* a longer one is none of ours */

struct Head {
    Topic topic;
    std::uint32_t unused;
    std::uint64_t size;
};

} // namespace

pid_t Fork(int death_signal)
{
    /* What is still to be printed would be printed twice. */
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, death_signal);
    if (getppid() != parent) _exit(0); /* it ended before it could be told */
    return 0;
}

Problem WhyEnded(pid_t child)
{
    int status = 0;
    pid_t ended = -1;
    do ended = waitpid(child, &status, 0);
    while (ended < 0 && errno == EINTR);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoMemory) return MemoryRanOut(kStage);
    if (ended != child || !WIFSIGNALED(status))
        return {Code::crashed, kStage, "the process working on it broke off"};
    const int number = WTERMSIG(status);
    return {Code::crashed, kStage,
            "the process working on it was ended by signal " + std::to_string(number) + " (" + strsignal(number) +
                ")"};
}

Problem ToldToEnd() { return {Code::crashed, kStage, "the process working on it was told to end"}; }

bool WaitFor(int descriptor)
{
    pollfd waiting = {descriptor, POLLIN, 0};
    while (StopSignal() == 0)
        if (poll(&waiting, 1, -1) >= 0 || errno != EINTR) return true;
    return false;
}

bool Receive(int descriptor, void* data, size_t size)
{
    auto* at = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t count = read(descriptor, at, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        at += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

bool Transmit(int descriptor, const void* data, size_t size)
{
    const auto* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t count = write(descriptor, at, size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        at += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

bool SendMessage(int descriptor, Topic topic, std::string_view body)
{
    const Head head = {topic, 0, body.size()};
    std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
    bytes += body;
    return Transmit(descriptor, bytes.data(), bytes.size());
}

bool ReceiveMessage(int descriptor, Message* message)
{
    Head head = {};
    if (!Receive(descriptor, &head, sizeof head) || head.size > kLongestMessage) return false;
    message->topic = head.topic;
    message->body.resize(head.size);
    return Receive(descriptor, message->body.data(), message->body.size());
}

} // namespace tool
