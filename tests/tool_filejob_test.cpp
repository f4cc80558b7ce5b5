/*
 * tool_filejob_test.cpp - what one input's work makes of files that other calls write at the same time.
 */
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "FileJob.h"
#include "support/PageMaker.h"

using namespace quarlo;

namespace tool
{

namespace
{

/* Grants all names. Asked to take down a line, which is the last thing before a result is placed, it does as it is told. */
class OnlyForeman : public Foreman
{
public:
    bool Claim(const Wishes& wishes, Grants* grants) override
    {
        grants->complaints.assign(wishes.targets.size(), "");
        grants->drawings = wishes.drawings;
        return true;
    }
    bool MayWrite() override { return true; }
    bool Announce(const std::string& lines) override
    {
        announced = lines;
        if (!rival.empty()) std::ofstream(rival) << "of another call";
        return true;
    }
    void WantSlots(int) override {}
    void FreeSlots(int) override {}
    int TakeSlots() override { return 0; }
    int descriptor() const override { return -1; }

    std::string rival; /* a file that another call places just then */
    std::string announced;
};

class FileJobTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "quarlo_filejob_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        folder = pattern + "/";
        Page page;
        page.bitmap = test::Draw({});
        Bytes bytes;
        std::unique_ptr<Output> output;
        WriteOptions write;
        write.format = Format::png;
        std::vector<std::string> warnings;
        ASSERT_FALSE(Output::ToMemory(&bytes, write, &output));
        ASSERT_FALSE(output->Add(page, &warnings));
        ASSERT_FALSE(output->Finish());
        std::ofstream(folder + "scan.png", std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        options.existing = Existing::skip;
        options.json = folder + "report";
        foreman.rival = folder + "scan_q.png";
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    FileRecord Do() { return DoFile(options, {}, {folder + "scan.png", ""}, &foreman); }
    std::string Result() const
    {
        std::ifstream file(folder + "scan_q.png", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string folder;
    Options options;
    OnlyForeman foreman;
};

TEST_F(FileJobTest, ResultThatAnotherCallPlacesFirstIsLeftWhereExistingOnesAre)
{
    const FileRecord record = Do();
    ASSERT_EQ(1u, record.pages.size());
    EXPECT_TRUE(record.pages[0].exists);
    EXPECT_EQ(Status::ok, record.pages[0].result.report.status);
    EXPECT_NE("", foreman.announced);
    EXPECT_EQ("of another call", Result());
}

TEST_F(FileJobTest, ResultThatAnotherCallPlacesFirstIsAnErrorElse)
{
    options.existing = Existing::refuse;
    foreman.rival.clear();
    FileRecord record = Do();
    EXPECT_EQ(Status::ok, record.pages.at(0).result.report.status);
    EXPECT_EQ("", foreman.announced);
    const std::string result = Result();
    record = Do();
    EXPECT_FALSE(record.pages.at(0).exists);
    EXPECT_EQ(Code::exists, record.pages[0].result.report.problem.code);
    EXPECT_TRUE(result == Result());
}

} // namespace

} // namespace tool
