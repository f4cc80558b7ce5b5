/*
 * Run.cpp - a whole call.
 */
#include "Run.h"

#include <csignal>
#include <cstdio>

#include "Batch.h"
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

} // namespace

int Run(const Options& options)
{
    CatchSignals();
    KnownPages known;
    Reporter reporter(options);
    if (!Prepare(options, &known) || !reporter.Open()) return kFailed;
    Claims claims(options);
    claims.ClaimReports(options); /* the command line was refused where that cannot be */
    {
        Batch batch(options, known, &claims);
        batch.Run(
            PartOf(options.shard, options.inputs.size()), [&](const FileRecord& file) { reporter.Tell(file); },
            [](const FileRecord*) {});
    }
    if (StopSignal() != 0 && StopSignal() != SIGPIPE) std::fputs("quarlo: interrupted\n", stderr);
    return reporter.Close();
}

} // namespace tool
