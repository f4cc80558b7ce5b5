/*
 * straighten.cpp - a picture file in, the page upright in a picture file out, in whatever formats.
 *
 *   c++ -std=c++17 straighten.cpp $(pkg-config --cflags --libs quarlopages)
 */
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <quarlo/pages.hpp>

using namespace quarlo;

namespace
{

Problem Write(const Page& page, const std::string& name)
{
    std::unique_ptr<SafeFile> file;
    Problem problem = SafeFile::Create(name, SafeFile::Existing::refuse, &file);
    if (problem) return problem;
    WriteOptions options;
    options.format = FormatOfName(name);
    std::unique_ptr<Output> output;
    problem = Output::ToDescriptor(file->descriptor(), options, &output);
    std::vector<std::string> warnings;
    if (!problem) problem = output->Add(page, &warnings);
    if (!problem) problem = output->Finish();
    return problem ? problem : file->Commit();
}

Problem Run(const std::string& scan_name, const std::string& page_name)
{
    std::unique_ptr<Input> input;
    Problem problem = Input::OpenFile(scan_name, &input);
    if (problem) return problem;
    Page scan;
    problem = input->Read(0, {}, &scan);
    if (problem) return problem;
    const Frame frame = FindFrame(scan.bitmap, {});
    if (frame.problem) return frame.problem;
    Result result;
    problem = Straighten(scan, frame, {}, &result);
    if (problem) return problem;
    std::printf("%d x %d pixels\n", result.page.bitmap.width(), result.page.bitmap.height());
    return Write(result.page, page_name);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    const Problem problem = Run(argv[1], argv[2]);
    if (problem) std::fprintf(stderr, "%s: %s\n", argv[1], problem.reason.c_str());
    return problem ? 1 : 0;
}
