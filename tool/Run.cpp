/*
 * Run.cpp - a whole call.
 */
#include "Run.h"

#include <csignal>
#include <cstdio>

#include "Batch.h"
#include "Progress.h"
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
    if (options.inputs.empty() && options.talk != Talk::quiet)
        std::fputs("quarlo: there is no picture to work on\n", stderr);
    const Part part = PartOf(options.shard, options.inputs.size());
    Progress progress(options, part.end - part.begin);
    const auto tell = [&](const FileRecord& file) { reporter.Tell(file); };
    const auto announce = [&](const std::string& lines) { reporter.Announce(lines); };
    const auto watch = [&](const FileRecord* file) {
        if (file != nullptr) progress.Count(*file);
        progress.Tick();
    };
    Batch(options, known, &claims).Run(part, tell, announce, watch);
    progress.Finish();
    if (StopSignal() != 0 && StopSignal() != SIGPIPE) std::fputs("quarlo: interrupted\n", stderr);
    return reporter.Close();
}

} // namespace tool
