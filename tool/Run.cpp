/*
 * Run.cpp - a whole call: one input after the other.
 */
#include "Run.h"

#include <csignal>
#include <cstdio>
#include <map>

#include "FileJob.h"
#include "Reporter.h"
#include "Signals.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* Names for the drawings of each input: the stem, and a number where inputs share it. */
std::vector<std::string> DrawingStems(const std::vector<std::string>& inputs)
{
    std::vector<std::string> stems;
    std::map<std::string, int> uses;
    for (const std::string& input : inputs) {
        const std::string stem = StemOf(input);
        const int use = ++uses[stem];
        stems.push_back(use == 1 ? stem : stem + "~" + std::to_string(use));
    }
    return stems;
}

bool Prepare(const Options& options, KnownPages* known)
{
    std::string name = options.apply;
    Problem problem;
    if (!options.apply.empty()) problem = known->Load(options.apply);
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
    Claims claims(options.inputs);
    const Call call{options, known, claims};
    const std::vector<std::string> stems = DrawingStems(options.inputs);
    for (size_t i = 0; i < options.inputs.size() && StopSignal() == 0; ++i) {
        const FileRecord file = DoFile(call, options.inputs[i], stems[i]);
        reporter.Tell(file);
        if (EndsWork(options, file)) break;
    }
    if (StopSignal() != 0 && StopSignal() != SIGPIPE) std::fputs("quarlo: interrupted\n", stderr);
    return reporter.Close();
}

} // namespace tool
