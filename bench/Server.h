/*
 * Server.h - the part that all measured programs share: they run what they are asked for and answer how long it took.
 *
 * Requests and answers are lines:
 *
 *   about                           what this program was made with, one line
 *   list                            OPERATION COLUMN for each that can be measured, then an empty line
 *   run OPERATION COLUMN DPI COUNT  VALUE FAULTS PIXELS   nanoseconds of processor time a call, or what else the
 *                                                         operation measures; page faults a call; pixels that it
 *                                                         makes or reads
 *
 * Processor time, not time on the wall: other programs on the machine cost it little.
 */
#ifndef QUARLO_BENCH_SERVER_H
#define QUARLO_BENCH_SERVER_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Scan.h"

namespace bench
{

/* An operation with everything that it needs laid ready. */
struct Task {
    std::function<void()> run;
    double pixels = 0;
    std::function<double()> measure; /* for what is no time: run is not used then */
};

/* One cell of the table at one resolution. */
struct Operation {
    std::string name;   /* its row, as in "RotateBitmap/24/nearest" */
    std::string column; /* a level of instructions, "floor", or a peer */
    sint32 depth;       /* of the scan that it takes */
    std::function<Task(std::shared_ptr<Scan>)> prepare;
};

/* How this program gets its memory. */
enum class Memory {
    Reused, /* what was released serves the next call; nothing goes back to the system */
    Fresh /* every large block comes from the system and has to be mapped page by page, as in a program's first call */
};

void UseMemory(Memory memory);

/* Answers requests until there are no more. */
int Serve(const std::vector<Operation>& operations, const std::string& about);

} // namespace bench

#endif
