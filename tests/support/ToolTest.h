/*
 * ToolTest.h - runs the real tool in a folder of its own.
 */
#ifndef QUARLO_TESTS_SUPPORT_TOOLTEST_H
#define QUARLO_TESTS_SUPPORT_TOOLTEST_H

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

#include <gtest/gtest.h>

#include "quarlo/pages.hpp"
#include "support/PageMaker.h"

namespace test
{

std::string ReadAll(const std::string& name);
void WriteAll(const std::string& name, const std::string& content);
bool Exists(const std::string& name);

/* Rows one after the other, without what pads them. */
quarlo::Bytes PixelsOf(const quarlo::Bitmap& bitmap);
/* The part of a bitmap whose top left pixel is x, y. */
quarlo::Bytes PixelsOf(const quarlo::Bitmap& bitmap, int x, int y, int width, int height);

/* All pages of a picture file; a failure is one of the test. */
std::vector<quarlo::Page> Load(const std::string& name);
void Save(const std::vector<const quarlo::Page*>& pages, const std::string& name,
          quarlo::WriteOptions options = {});

/* A drawn page with a resolution. */
quarlo::Page PageOf(const Sheet& sheet, double dpi = 300.0);

class ToolTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /* Runs the tool in the folder, through the shell; `out` and `err` hold what it said. Shows progress only where the
       arguments speak of it. Answers the exit code. */
    int Run(const std::string& arguments);
    /* Starts it without a shell, in a process group of its own; -1 leaves a stream as it is. */
    pid_t Start(const std::vector<std::string>& arguments, int input = -1, int output = -1);
    /* Its exit code, or minus the signal that ended it. */
    static int Wait(pid_t child);

    std::string Path(const std::string& name) const { return folder + name; }
    /* The drawn sheet as a file; the format by the name. */
    void Make(const std::string& name, const Sheet& sheet = {});
    /* Several of them as one document. */
    void MakeDocument(const std::string& name, const std::vector<Sheet>& sheets);
    void Remove(const std::vector<std::string>& names) const;
    /* Until there is such a file. */
    void WaitFor(const std::string& name) const;

    /* All that lies in the folder and below, with its content. */
    std::map<std::string, std::string> Tree(const std::string& subfolder) const;
    /* A report without times. */
    std::string Report(const std::string& name) const;
    /* A scan without a page. */
    void MakeBlank(const std::string& name);
    /* The files in the folder, sorted, with a space after each. */
    std::string Files(const std::string& subfolder = "") const;

    std::string folder, out, err;
};

} // namespace test

#endif
