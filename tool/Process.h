/*
 * Process.h - processes of a call, and messages between them.
 */
#ifndef QUARLO_TOOL_PROCESS_H
#define QUARLO_TOOL_PROCESS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "Files.h"

namespace tool
{

/**
 * fork(), with the child getting `death_signal` when its parent ends. Negative: there is no process to be had, errno
 * says why.
 */
pid_t Fork(int death_signal);

/** The exit code of a process that found no memory. */
constexpr int kNoMemory = 5;

/** Waits for a child to end and says why it did not finish its work. */
quarlo::Problem WhyEnded(pid_t child);
/** What a process that a signal told to end, while the call goes on, has not done. */
quarlo::Problem ToldToEnd();

/** Waits until there is something to read, or the other end is gone; false: we were asked to stop meanwhile. */
bool WaitFor(int descriptor);

/** Reads or writes all of it; false: the other end is gone. */
bool Receive(int descriptor, void* data, size_t size);
bool Transmit(int descriptor, const void* data, size_t size);

/** What a message is about. */
enum class Topic : std::uint32_t {
    work,  /**< to a worker: an input */
    claim, /**< to the foreman: the names that the input's results are to have */
    grant, /**< to a worker: which of them it may write */
    ready, /**< to the foreman: the input's first file may be put in its place */
    go,    /**< to a worker: it may; with a body: it may not */
    line,  /**< to the foreman: lines of the report about a file that is to be put in its place */
    noted, /**< to a worker: they are written down */
    want,  /**< to the foreman: more pages could be worked on */
    slot,  /**< to a worker: one more page may be worked on */
    free,  /**< to the foreman: one page less will be worked on */
    done   /**< to the foreman: the input's record */
};

struct Message {
    Topic topic = Topic::done;
    std::string body;
};

bool SendMessage(int descriptor, Topic topic, std::string_view body = {});
bool ReceiveMessage(int descriptor, Message* message);

} // namespace tool

#endif
