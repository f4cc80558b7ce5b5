/*
 * frames.cpp - how many pages are found: by libquarlo's own threshold, by the best single one, by FindFrame.
 *
 *   frames SAMPLES_FOLDER [--docs=FILE] [--list]
 *
 * Sets are scans whose page is known: the samples, and made ones. Those called "aside" have seeds that were never looked
 * at while the search was written. A frame is good if its skew is off by 0.5 degrees at most and it overlaps the page by
 * 0.95, wrong if it is off by more than 1 degree or overlaps by less than 0.9. With --docs the table of a document is
 * replaced; with --list each scan is told.
 */
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Detection.h"
#include "Quality.h"
#include "ScanMaker.h"
#include "SearchBitmapFrame.h"

namespace
{

using quarlo::Code;
using study::Quality;
using study::Scan;

/* What came of one scan. */
struct Outcome {
    std::string kind;
    bool library_found = false;
    Quality library;
    bool reachable = false; /* some threshold gives a good frame */
    bool delivered = false; /* by FindFrame */
    Quality chosen;
    double score = 0.0;
};

struct Set {
    const char* name;
    int from, count;
    Scan (*make)(int index, const std::vector<study::RealScan>& real);
};

Scan Sample(int index, const std::vector<study::RealScan>& real)
{
    const study::RealScan& from = real[static_cast<size_t>(index)];
    Scan scan;
    scan.ground = from.ground;
    scan.corners = from.corners;
    scan.angle_deg = from.angle_deg;
    scan.kind = from.name;
    if (from.bitmap.CopyTo(&scan.bitmap)) scan.kind += " (memory ran out)";
    return scan;
}

Scan Drawn(int index, const std::vector<study::RealScan>& /*real*/)
{
    return study::MakeDrawn(static_cast<std::uint64_t>(index));
}

Scan Pasted(int index, const std::vector<study::RealScan>& real)
{
    return study::MakePasted(static_cast<std::uint64_t>(index), real);
}

const Set kSets[] = {
    {"samples", 0, 11, Sample},
    {"drawn", 0, 400, Drawn},
    {"pasted", 0, 300, Pasted},
    {"drawn, aside", 40000, 600, Drawn},
    {"pasted, aside", 40000, 600, Pasted},
};

Quality JudgeFrame(const Scan& scan, const quarlo::Frame& frame)
{
    return study::Judge(scan.corners, scan.angle_deg, frame.corners, frame.angle_deg, scan.bitmap.width(),
                        scan.bitmap.height());
}

/* libquarlo alone, with the true ground. */
bool JudgeThreshold(const Scan& scan, int threshold, Quality* quality)
{
    const quarlo::Detection detection = quarlo::Detect(scan.bitmap, scan.ground, threshold, false);
    if (detection.code != Code::ok) return false;
    *quality = JudgeFrame(scan, FrameOf(detection.placement));
    return true;
}

Outcome Study(const Scan& scan)
{
    Outcome outcome;
    outcome.kind = scan.kind;
    uint8 own = 0;
    CalculateDividingPoint(scan.bitmap.rec(), &own);
    outcome.library_found = JudgeThreshold(scan, own, &outcome.library);
    for (int threshold = 0; threshold < 256 && !outcome.reachable; ++threshold) {
        Quality quality;
        outcome.reachable = JudgeThreshold(scan, threshold, &quality) && quality.IsGood();
    }
    const quarlo::Frame frame = FindFrame(scan.bitmap, {});
    outcome.delivered = !frame.problem;
    outcome.score = frame.score;
    if (frame.found) outcome.chosen = JudgeFrame(scan, frame);
    return outcome;
}

std::vector<Outcome> StudySet(const Set& set, const std::vector<study::RealScan>& real)
{
    std::vector<Outcome> outcomes(static_cast<size_t>(set.count));
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int i = next++; i < set.count; i = next++)
            outcomes[static_cast<size_t>(i)] = Study(set.make(set.from + i, real));
    };
    std::vector<std::thread> workers;
    for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) workers.emplace_back(work);
    work();
    for (std::thread& worker : workers) worker.join();
    return outcomes;
}

double Quantile(std::vector<double> values, double share)
{
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(share * static_cast<double>(values.size())))];
}

/* Median and 95th percentile of the errors of the frames in hand. */
std::string Errors(const std::vector<Quality>& frames)
{
    std::vector<double> skews, overlaps;
    for (const Quality& frame : frames) {
        skews.push_back(frame.skew_error);
        overlaps.push_back(-frame.overlap);
    }
    char text[120];
    std::snprintf(text, sizeof text, "%.3f / %.3f | %.3f / %.3f", Quantile(skews, 0.5), Quantile(skews, 0.95),
                  -Quantile(overlaps, 0.5), -Quantile(overlaps, 0.95));
    return text;
}

std::string Share(int part, int whole)
{
    char text[60];
    std::snprintf(text, sizeof text, "%d (%.1f %%)", part, whole == 0 ? 0.0 : 100.0 * part / whole);
    return text;
}

/* Two lines of the table: the library's own threshold, and FindFrame. */
std::string Rows(const char* name, const std::vector<Outcome>& outcomes)
{
    const int scans = static_cast<int>(outcomes.size());
    std::vector<Quality> library, chosen;
    int library_good = 0, library_wrong = 0, reachable = 0, reached = 0, good = 0, wrong = 0;
    for (const Outcome& outcome : outcomes) {
        if (outcome.library_found) {
            library.push_back(outcome.library);
            library_good += outcome.library.IsGood() ? 1 : 0;
            library_wrong += outcome.library.IsWrong() ? 1 : 0;
        }
        reachable += outcome.reachable ? 1 : 0;
        if (!outcome.delivered) continue;
        chosen.push_back(outcome.chosen);
        good += outcome.chosen.IsGood() ? 1 : 0;
        wrong += outcome.chosen.IsWrong() ? 1 : 0;
        reached += outcome.reachable && outcome.chosen.IsGood() ? 1 : 0;
    }
    const int library_found = static_cast<int>(library.size()), delivered = static_cast<int>(chosen.size());
    std::ostringstream rows;
    rows << "| " << name << " (" << scans << ") | threshold 0 | " << Share(library_good, scans) << " | | "
         << Share(library_wrong, library_found) << " | " << scans - library_found << " | " << Errors(library)
         << " |\n";
    rows << "| | best single | " << Share(reachable, scans) << " | | | | | |\n";
    rows << "| | chosen | " << Share(good, scans) << " | " << Share(reached, reachable) << " | "
         << Share(wrong, delivered) << " | " << scans - delivered << " | " << Errors(chosen) << " |\n";
    return rows.str();
}

std::string Table(const char* folder, bool list)
{
    const std::vector<study::RealScan> real = study::ReadRealScans(folder);
    if (real.empty()) return "";
    std::string table =
        "| Scans | Threshold | Good frames | of the reachable | Wrong of those delivered | Refused or not "
        "found | Skew error, median / 95 % | Overlap, median / 95 % |\n"
        "|---|---|---|---|---|---|---|---|\n";
    std::vector<Outcome> aside;
    for (const Set& set : kSets) {
        const std::vector<Outcome> outcomes = StudySet(set, real);
        table += Rows(set.name, outcomes);
        if (std::strstr(set.name, "aside") != nullptr) aside.insert(aside.end(), outcomes.begin(), outcomes.end());
        std::fprintf(stderr, "%s\n", set.name);
        for (size_t i = 0; list && i < outcomes.size(); ++i)
            std::printf("%s\t%zu\t%d\t%d\t%.3f\t%.3f\t%.4f\t%s\n", set.name, static_cast<size_t>(set.from) + i,
                        outcomes[i].reachable, outcomes[i].delivered, outcomes[i].score,
                        outcomes[i].chosen.skew_error, outcomes[i].chosen.overlap, outcomes[i].kind.c_str());
    }
    return table + Rows("all aside", aside);
}

/* Puts the table between the marks of a document. */
bool WriteInto(const std::string& name, const std::string& table)
{
    std::ifstream in(name);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    const std::string begin = "<!-- table -->\n", end = "<!-- end -->";
    const size_t from = text.find(begin), to = text.find(end);
    if (from == std::string::npos || to == std::string::npos) return false;
    text.replace(from + begin.size(), to - from - begin.size(), table);
    std::ofstream out(name);
    out << text;
    return static_cast<bool>(out.flush());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return 2;
    std::string docs;
    bool list = false;
    for (int i = 2; i < argc; ++i) {
        if (std::strncmp(argv[i], "--docs=", 7) == 0) docs = argv[i] + 7;
        if (std::strcmp(argv[i], "--list") == 0) list = true;
    }
    const std::string table = Table(argv[1], list);
    if (table.empty()) {
        std::fprintf(stderr, "frames: no samples in %s\n", argv[1]);
        return 1;
    }
    if (!list) std::fputs(table.c_str(), stdout);
    if (!docs.empty() && !WriteInto(docs, table)) {
        std::fprintf(stderr, "frames: %s has no place for the table\n", docs.c_str());
        return 1;
    }
    return 0;
}
