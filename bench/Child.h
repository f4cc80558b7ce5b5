/*
 * Child.h - a measured program that runs beside the harness and does what it is asked, see Server.h.
 */
#ifndef QUARLO_BENCH_CHILD_H
#define QUARLO_BENCH_CHILD_H

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace bench
{

/* What a program can measure: an operation, in a column of the table. */
struct Cell {
    std::string operation;
    std::string column;
};

struct Answer {
    double value = 0; /* nanoseconds a call, or what else the operation measures */
    double faults = 0;
    double pixels = 0;
};

/* Trouble with the program ends the harness with a message. */
class Child
{
public:
    Child(const std::string& program, const char* memory);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    std::string About();
    std::vector<Cell> List();
    Answer Run(const Cell& cell, int dpi, int count);

private:
    void Ask(const std::string& request);
    std::string Line();

    std::string name;
    pid_t process = -1;
    FILE* to = nullptr;
    FILE* from = nullptr;
};

} // namespace bench

#endif
