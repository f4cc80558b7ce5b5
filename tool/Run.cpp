/*
 * Run.cpp - a whole call: one input after the other.
 */
#include "Run.h"

#include <csignal>
#include <cstdio>

#include "FileJob.h"
#include "Reporter.h"
#include "Signals.h"

using namespace quarlo;

namespace tool
{

namespace
{

bool Prepare(const Options& options, KnownPages* known)
{
    std::string name = options.apply;
    Problem problem;
    if (!options.apply.empty()) problem = known->Load(options.apply, options.inputs.size() == 1);
    if (!problem && !options.folder.empty() && !options.dry_run) {
        name = options.folder;
        problem = MakeFolder(name);
    }
    if (problem) Say(name, WordsOf(problem));
    return !problem;
}

bool EndsWork(const Options& options, const FileRecord& file)
{
    for (const PageRecord& page : file.pages)
        if (EndsWork(options, page.result)) return true;
    return StopSignal() != 0;
}

} // namespace

int Run(const Options& options)
{
    CatchSignals();
    KnownPages known;
    Reporter reporter(options);
    if (!Prepare(options, &known) || !reporter.Open()) return kFailed;
    Claims claims(options);
    claims.ClaimReports(options); /* the command line was refused where that cannot be */
    const Call call{options, known, claims};
    for (size_t i = 0; i < options.inputs.size() && StopSignal() == 0; ++i) {
        const FileRecord file = DoFile(call, options.inputs[i]);
        reporter.Tell(file);
        if (EndsWork(options, file)) break;
    }
    if (StopSignal() != 0 && StopSignal() != SIGPIPE) std::fputs("quarlo: interrupted\n", stderr);
    return reporter.Close();
}

} // namespace tool
