/*
 * ResultFile.cpp - one result in the making.
 */
#include "ResultFile.h"

#include <unistd.h>

#include "Files.h"

using namespace quarlo;

namespace tool
{

Problem ResultFile::Begin(const Bitmap& first)
{
    /* Pages of a document are alike. */
    options_.raw_bytes = static_cast<std::uint64_t>(first.rec()->bfSize) * page_count_;
    if (name_ == "-") return Output::ToMemory(&memory_, options_, &output_);
    Problem problem = SafeFile::Create(name_, existing_, &file_);
    if (!problem) problem = Output::ToDescriptor(file_->descriptor(), options_, &output_);
    return problem;
}

Problem ResultFile::Add(const Page& page, std::vector<std::string>* warnings)
{
    const Problem problem = output_ ? Problem{} : Begin(page.bitmap);
    return problem ? problem : output_->Add(page, warnings);
}

Problem ResultFile::Finish()
{
    Problem problem = output_->Finish();
    if (problem) return problem;
    return file_ ? file_->Commit() : WriteAll(STDOUT_FILENO, ViewOf(memory_));
}

Problem ResultFile::FinishWith(const Bytes& bytes)
{
    output_.reset();
    file_.reset();
    return name_ == "-" ? WriteAll(STDOUT_FILENO, ViewOf(bytes)) : WriteFile(name_, existing_, ViewOf(bytes));
}

} // namespace tool
