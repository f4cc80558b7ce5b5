/*
 * write_examples.cpp - writes reports, drawings and a contact sheet into a folder, for check_examples.py.
 */
#include <cstdio>
#include <fstream>
#include <string>

#include "pages/TestFrame.h"

namespace
{

using namespace quarlo;

/* Characters that have a meaning in JSON, XML, HTML or addresses, and bytes that are no text. */
const std::string kHostile = "<x y=\"1\">&amp;'%#? \x01\x7F\xFF\xC3\n]]>--\\u0000 \xF0\x9F\x98\x80.tif";

struct Example {
    std::string name;
    Frame frame;
    Status status;
};

std::vector<Example> Examples()
{
    Frame found = test::UprightFrame();
    found.trace = test::UprightTrace();
    found.prepared = "without specks";
    Frame refused = found;
    refused.problem = {Code::not_trusted, "trust", kHostile};
    refused.score = 0.25;
    Frame known = test::UprightFrame();
    known.ground = Ground::automatic;
    Frame early;
    early.problem = {Code::bad_argument, "threshold", "the picture is too narrow"};
    return {{"found", found, Status::ok},     {"refused", refused, Status::refused},
            {"known", known, Status::ok},     {"failed", test::FailedFrame(), Status::no_frame},
            {"early", early, Status::copied}, {kHostile, found, Status::error}};
}

PageReport ReportOf(const Example& example)
{
    PageReport report;
    report.file = example.name;
    report.status = example.status;
    report.problem = example.frame.problem;
    report.frame = &example.frame;
    report.width_in = 400;
    report.height_in = 500;
    report.has_result = example.status == Status::ok;
    report.width_out = 201;
    report.height_out = 301;
    report.depth = 24;
    report.resolution = {118.11, 118.11, Resolution::Unit::centimetre};
    report.out = example.name;
    report.warnings = {example.name};
    report.ms = {{"read", 0.1}, {"find", 12.0}};
    return report;
}

bool Write(const std::string& name, const std::string& text)
{
    std::ofstream file(name, std::ios::binary);
    file << text;
    return file.good();
}

bool WriteAll(const std::string& folder)
{
    std::string report;
    ContactSheet sheet;
    int number = 0;
    bool good = true;
    for (const Example& example : Examples()) {
        report += ReportLine(ReportOf(example)) + '\n';
        OverlayOptions options;
        options.title = example.name;
        for (const auto& [width, height] : {std::pair(400, 500), {503, 401}, {1, 1}}) {
            std::string svg;
            const std::string name = std::to_string(++number) + ".svg";
            good = !OverlaySvg(test::Plain(width, height, 24, 200), example.frame, options, &svg) && good;
            good = Write(folder + "/" + name, svg) && good;
            sheet.Add({example.name, name, example.status, example.frame.score, 1.0, kHostile, "", number == 2});
        }
    }
    sheet.Add({kHostile, kHostile, Status::ok, 1.0, 1.0, "", kHostile, false});
    sheet.Add({"not read", "", Status::error, 0.0, 0.0, "", "", false});
    for (const int code : AllCodes()) {
        PageReport unread;
        unread.file = kHostile;
        unread.status = Status::error;
        unread.problem = {static_cast<Code>(code), "read", "no such file"};
        report += ReportLine(unread) + '\n';
    }
    report += SummaryLine({7, 7, 2, 1, 1, 1, 2, 3, false, 88.5}) + '\n';
    return Write(folder + "/report.jsonl", report) && Write(folder + "/index.html", sheet.Page(1)) && good;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && WriteAll(argv[1])) return 0;
    std::fputs("usage: write_examples FOLDER\n", stderr);
    return 1;
}
