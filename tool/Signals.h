/*
 * Signals.h - stopping in good order: a signal is noted, and the work looks for it between its steps.
 */
#ifndef QUARLO_TOOL_SIGNALS_H
#define QUARLO_TOOL_SIGNALS_H

namespace tool
{

/** From here on SIGINT, SIGTERM and SIGHUP are noted; writing to a closed pipe or over a limit is a failed write. */
void CatchSignals();

/** The signal that asked to stop; 0: none. */
int StopSignal();

/** Nobody reads standard output any more: the same as the signal that would have ended the program. */
void NoteClosedPipe();

} // namespace tool

#endif
