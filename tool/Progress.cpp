/*
 * Progress.cpp - how far the work is.
 */
#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

using namespace quarlo;

namespace tool
{

namespace
{

constexpr double kBarPause = 0.2; /* seconds between two bars */
constexpr double kLinePause = 10.0;
constexpr int kShortestBar = 6;
constexpr int kLongestBar = 40;

bool bar_is_shown = false;

/* "4:03" or "1:04:03" */
std::string Duration(double seconds)
{
    const long whole = std::lround(std::min(seconds, 359999.0));
    char text[32];
    if (whole >= 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

double Share(const Stand& stand)
{
    return stand.inputs == 0 ? 1.0 : static_cast<double>(stand.done) / static_cast<double>(stand.inputs);
}

std::string Percent(const Stand& stand)
{
    return std::to_string(stand.inputs == 0 ? 100 : 100 * stand.done / stand.inputs);
}

double Rate(const Stand& stand)
{
    return stand.seconds > 0.0 ? static_cast<double>(stand.pages) / stand.seconds : 0.0;
}

/* Inputs that were left cost next to nothing, so that they tell nothing about the rest. Empty: not known. */
std::string TimeLeft(const Stand& stand)
{
    if (stand.worked == 0) return "";
    const double each = stand.seconds / static_cast<double>(stand.worked);
    return Duration(each * static_cast<double>(stand.inputs - stand.done));
}

std::string Pages(const Stand& stand)
{
    return std::to_string(stand.pages) + (stand.pages == 1 ? " page" : " pages");
}

/* How wide the text is on the screen: an escape sequence takes no room, a character of several bytes one column. */
int Width(const std::string& text)
{
    int width = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\033')
            i = text.find('m', i);
        else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            ++width;
    }
    return width;
}

std::string Bar(double share, int width, const BarStyle& style)
{
    const int full = static_cast<int>(share * width);
    std::string bar = style.colour ? "\033[32m" : "";
    for (int i = 0; i < full; ++i) bar += style.unicode ? "\u2501" : "=";
    if (style.colour) bar += "\033[2;39m";
    for (int i = full; i < width; ++i) bar += style.unicode ? "\u2500" : "-";
    return bar + (style.colour ? "\033[0m" : "");
}

std::string Failed(const Stand& stand) { return std::to_string(stand.failed) + " failed"; }

/* Share, pages, rate, time left and failures, in words or short. */
std::string Facts(const Stand& stand, bool words, const char* separator, bool colour)
{
    const std::string left = TimeLeft(stand), failed = Failed(stand);
    std::vector<std::string> facts = {Percent(stand) + (words ? " %" : "%"),
                                      words ? Pages(stand) : std::to_string(stand.pages) + "p",
                                      NumberText("%.1f", Rate(stand)) + (words ? " pages/s" : "/s")};
    if (!left.empty()) facts.push_back(left + (words ? " left" : ""));
    if (stand.failed > 0) facts.push_back(colour ? "\033[31m" + failed + "\033[0m" : failed);
    std::string text;
    for (const std::string& fact : facts) text += (text.empty() ? "" : separator) + fact;
    return text;
}

/* The value of an environment variable; empty where it is not set. */
std::string Variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool HasUnicode()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const std::string locale = LowerCase(Variable(name));
        if (locale.empty()) continue;
        return locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
    }
    return false;
}

bool IsTerminal()
{
    const std::string kind = Variable("TERM");
    return isatty(STDERR_FILENO) && !kind.empty() && kind != "dumb";
}

int Columns()
{
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

ProgressStyle Chosen(const Options& options, size_t inputs)
{
    if (options.talk == Talk::quiet) return ProgressStyle::none;
    if (options.progress != ProgressStyle::automatic) return options.progress;
    if (!IsTerminal()) return ProgressStyle::lines;
    return inputs > 1 ? ProgressStyle::bar : ProgressStyle::none;
}

} // namespace

std::string ProgressLine(const Stand& stand) { return Facts(stand, true, ", ", false); }

std::string LastLine(const Stand& stand)
{
    std::string text =
        Pages(stand) + " in " + Duration(stand.seconds) + ", " + NumberText("%.1f", Rate(stand)) + " pages/s";
    const size_t left = stand.done - stand.worked;
    if (left > 0) text += ", " + std::to_string(left) + " left from earlier";
    if (stand.done < stand.inputs) text += ", " + std::to_string(stand.inputs - stand.done) + " not done";
    return stand.failed == 0 ? text : text + ", " + Failed(stand);
}

std::string ProgressBar(const Stand& stand, const BarStyle& style)
{
    const int columns = style.columns - 1;
    std::string facts = Facts(stand, true, "  ", style.colour);
    if (Width(facts) + 2 + kShortestBar > columns) facts = Facts(stand, false, " ", style.colour);
    const int room = columns - Width(facts) - 2;
    if (room >= kShortestBar) return Bar(Share(stand), std::min(room, kLongestBar), style) + "  " + facts;
    if (Width(facts) <= columns) return facts;
    return (Percent(stand) + "%").substr(0, static_cast<size_t>(std::max(columns, 0)));
}

Progress::Progress(const Options& options, size_t inputs)
    : style_(Chosen(options, inputs)), talks_(options.progress == ProgressStyle::lines)
{
    stand_.inputs = inputs;
    bar_.colour = Variable("NO_COLOR").empty();
    bar_.unicode = HasUnicode();
    next_ = style_ == ProgressStyle::lines ? kLinePause : kBarPause;
}

/* What was interrupted is neither done nor failed. */
void Progress::Count(const FileRecord& file)
{
    bool worked = false, interrupted = false;
    for (const PageRecord& page : file.pages) {
        interrupted = interrupted || page.result.report.problem.code == Code::interrupted;
        if (page.exists || interrupted) continue;
        worked = true;
        ++stand_.pages;
        if (!page.result.delivers()) ++stand_.failed;
    }
    if (interrupted) return;
    ++stand_.done;
    if (worked) ++stand_.worked;
}

void Progress::Tick()
{
    stand_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    if (style_ == ProgressStyle::none || stand_.seconds < next_) return;
    const bool lines = style_ == ProgressStyle::lines;
    next_ = stand_.seconds + (lines ? kLinePause : kBarPause);
    if (lines) {
        talks_ = true;
        std::fprintf(stderr, "quarlo: %s\n", ProgressLine(stand_).c_str());
        return;
    }
    bar_.columns = Columns();
    std::fprintf(stderr, "\r%s\033[K", ProgressBar(stand_, bar_).c_str());
    std::fflush(stderr);
    bar_is_shown = true;
}

void Progress::Finish()
{
    EraseBar();
    stand_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    if (style_ == ProgressStyle::bar || (style_ == ProgressStyle::lines && talks_))
        std::fprintf(stderr, "quarlo: %s\n", LastLine(stand_).c_str());
}

void EraseBar()
{
    if (!bar_is_shown) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    bar_is_shown = false;
}

} // namespace tool
