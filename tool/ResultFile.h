/*
 * ResultFile.h - one result in the making.
 */
#ifndef QUARLO_TOOL_RESULTFILE_H
#define QUARLO_TOOL_RESULTFILE_H

#include <memory>
#include <string>
#include <vector>

#include "quarlo/pages.hpp"

namespace tool
{

/** A file, or standard output for "-", that gets its content when all of it is there. */
class ResultFile
{
public:
    ResultFile(std::string name, quarlo::SafeFile::Existing existing, const quarlo::WriteOptions& options,
               size_t page_count)
        : name_(std::move(name)), existing_(existing), options_(options), page_count_(page_count)
    {
    }

    quarlo::Problem Add(const quarlo::Page& page, std::vector<std::string>* warnings);
    /** The pages that were added. */
    quarlo::Problem Finish();
    /** These bytes, whatever was added. */
    quarlo::Problem FinishWith(const quarlo::Bytes& bytes);

private:
    quarlo::Problem Begin(const quarlo::Bitmap& first);

    std::string name_;
    quarlo::SafeFile::Existing existing_;
    quarlo::WriteOptions options_;
    size_t page_count_;
    quarlo::Bytes memory_;
    std::unique_ptr<quarlo::SafeFile> file_;
    std::unique_ptr<quarlo::Output> output_; /* writes to the two above, so it goes first */
};

} // namespace tool

#endif
