/*
 * Signals.cpp - stopping in good order.
 */
#include "Signals.h"

#include <csignal>
#include <initializer_list>

namespace tool
{

namespace
{

volatile std::sig_atomic_t stop_signal = 0;

extern "C" void NoteSignal(int number) { stop_signal = number; }

void Handle(int number, void (*handler)(int))
{
    struct sigaction action = {};
    /* What the caller chose to ignore, as nohup does, stays ignored. */
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;
    action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

} // namespace

void CatchSignals()
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) Handle(number, NoteSignal);
    for (const int number : {SIGPIPE, SIGXFSZ}) Handle(number, SIG_IGN);
}

int StopSignal() { return stop_signal; }

void NoteClosedPipe() { stop_signal = SIGPIPE; }

} // namespace tool
