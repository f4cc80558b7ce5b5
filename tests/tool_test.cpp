/*
 * tool_test.cpp - the command-line tool as a user runs it: exit status, messages, files.
 */
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "BitmapProcessing.h"
#include "BitmapRotate.h"
#include "QL_Interface.h"
#include "support/TestBitmap.h"

namespace
{

const std::string kSamples = QUARLO_SAMPLES_DIR "/";
const std::string kScan1 = kSamples + "s06_letter_dark_1.bmp";
const std::string kScan8 = kSamples + "s02_letter_dark_8.bmp";
const std::string kScan24 = kSamples + "s01_envelope_dark_24.bmp";

bool Exists(const std::string& name) { return access(name.c_str(), F_OK) == 0; }

std::string ReadAll(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteAll(const std::string& name, const std::string& content)
{
    std::ofstream(name, std::ios::binary) << content;
}

void Read(const std::string& name, test::Bitmap* image)
{
    std::vector<sint8> chars(name.begin(), name.end());
    chars.push_back(0);
    ASSERT_EQ(0, ReadBitmapFromFile(&image->rec, chars.data())) << name;
}

void Save(const test::Bitmap& image, const std::string& name)
{
    std::vector<sint8> chars(name.begin(), name.end());
    chars.push_back(0);
    BitmapRec rec = image.rec;
    ASSERT_EQ(0, SaveBitmapToFile(&rec, chars.data())) << name;
}

/* Runs the tool in a folder of its own. */
class Tool : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "quarlo_tool_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern.data()));
        folder = pattern + "/";
    }
    void TearDown() override { ASSERT_EQ(0, std::system(("rm -rf '" + folder + "'").c_str())); }

    int Run(const std::string& arguments)
    {
        const std::string command =
            std::string("'") + QUARLO_TOOL + "' " + arguments + " >'" + folder + "stdout' 2>'" + folder + "stderr'";
        const int status = std::system(command.c_str());
        out = ReadAll(folder + "stdout");
        err = ReadAll(folder + "stderr");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /* Crops a scan with the given options and reads the result. */
    void Crop(const std::string& options, const std::string& scan, test::Bitmap* page)
    {
        ASSERT_EQ(0, Run(options + " --overwrite -o " + folder + "page.bmp " + scan)) << err;
        Read(folder + "page.bmp", page);
    }

    std::string folder, out, err;
};

void ExpectSamePixels(const test::Bitmap& expected, const test::Bitmap& got)
{
    EXPECT_EQ(expected.rec.biWidth, got.rec.biWidth);
    EXPECT_EQ(expected.rec.biHeight, got.rec.biHeight);
    EXPECT_EQ(expected.rec.biBitCount, got.rec.biBitCount);
    EXPECT_TRUE(test::PackedPixels(expected.rec) == test::PackedPixels(got.rec));
}

TEST_F(Tool, ResultIsThatOfTheLibraryForAllDepthsAndInterpolations)
{
    const char* const words[] = {"cubic", "linear", "nearest"};
    for (const std::string& name : {kScan1, kScan8, kScan24}) {
        test::Bitmap scan;
        Read(name, &scan);
        for (sint32 code = 1; code <= 3; ++code) {
            test::Bitmap expected, page;
            ASSERT_EQ(0, ImageQuarlo(&scan.rec, code, 13, 1, &expected.rec));
            Crop(std::string("--threshold 13 --interpolate ") + words[code - 1], name, &page);
            ExpectSamePixels(expected, page);
        }
    }
}

TEST_F(Tool, DefaultsAreLinearDarkAndAutomaticThreshold)
{
    test::Bitmap scan, expected, page, named;
    Read(kScan8, &scan);
    ASSERT_EQ(0, ImageQuarlo(&scan.rec, 2, 0, 1, &expected.rec));
    Crop("", kScan8, &page);
    ExpectSamePixels(expected, page);
    Crop("--interpolate linear --ground dark --threshold auto --depth same", kScan8, &named);
    ExpectSamePixels(expected, named);
}

TEST_F(Tool, LightGroundIsPassedOn)
{
    const std::string name = kSamples + "s11_light_lid_8.bmp";
    test::Bitmap scan, expected, page;
    Read(name, &scan);
    ASSERT_EQ(0, ImageQuarlo(&scan.rec, 2, 0, 255, &expected.rec));
    Crop("--ground light", name, &page);
    ExpectSamePixels(expected, page);
}

TEST_F(Tool, RotateTurnsThePageAfterwards)
{
    test::Bitmap scan, upright;
    Read(kScan1, &scan);
    ASSERT_EQ(0, ImageQuarlo(&scan.rec, 2, 0, 1, &upright.rec));
    for (const sint32 turn : {90, 180, 270}) {
        test::Bitmap expected, page;
        ASSERT_EQ(0, imageRotate(&upright.rec, &expected.rec, turn));
        Crop("--rotate " + std::to_string(turn), kScan1, &page);
        ExpectSamePixels(expected, page);
    }
}

TEST_F(Tool, DepthConvertsThePageAfterwards)
{
    test::Bitmap scan, upright;
    Read(kScan24, &scan);
    ASSERT_EQ(0, ImageQuarlo(&scan.rec, 2, 13, 1, &upright.rec));
    test::Bitmap bw, gray, color, page1, page8, page24, same;
    ASSERT_EQ(0, GetBWBitmap(&upright.rec, &bw.rec, 128));
    ASSERT_EQ(0, GetGrayBitmap(&upright.rec, &gray.rec));
    ASSERT_EQ(0, GetColorBitmap(&upright.rec, &color.rec));
    Crop("--threshold 13 --depth 1", kScan24, &page1);
    Crop("--threshold 13 --depth 8", kScan24, &page8);
    Crop("--threshold 13 --depth 24", kScan24, &page24);
    Crop("--threshold 13 --depth same", kScan24, &same);
    ExpectSamePixels(bw, page1);
    ExpectSamePixels(gray, page8);
    ExpectSamePixels(color, page24);
    ExpectSamePixels(upright, same);
}

TEST_F(Tool, FileStoredFromTheTopDownComesOutTheSameWayUp)
{
    test::Bitmap scan, expected, page;
    Read(kScan8, &scan);
    Crop("", kScan8, &expected);

    /* The same picture, stored the other way round. */
    const sint32 height = scan.rec.biHeight;
    test::Bitmap turned(scan.rec.biWidth, height, 8, 0, 1);
    for (sint32 row = 0; row < height; ++row)
        std::memcpy(turned.rec.ScanLine[row], scan.rec.ScanLine[height - 1 - row],
                    static_cast<size_t>(scan.rec.BytesPerLine));
    const std::string name = folder + "top_down.bmp";
    Save(turned, name);
    std::string content = ReadAll(name);
    const sint32 negative = -height;
    std::memcpy(&content[22], &negative, 4);
    WriteAll(name, content);

    Crop("", name, &page);
    ExpectSamePixels(expected, page);
}

TEST_F(Tool, VerboseTellsWhereThePageLies)
{
    EXPECT_EQ(0, Run("--verbose --threshold 90 -o " + folder + "page.bmp " + kScan8));
    EXPECT_EQ(kScan8 + ": 1097 x 1557 pixels, skewed by -0.457 degrees, centre at 594,818, threshold 90\n", out);
    EXPECT_EQ("", err);
}

TEST_F(Tool, SaysNothingOnSuccess)
{
    EXPECT_EQ(0, Run("-o " + folder + "page.bmp " + kScan1));
    EXPECT_EQ("", out);
    EXPECT_EQ("", err);
}

TEST_F(Tool, HelpAndVersionEndWith0)
{
    EXPECT_EQ(0, Run("--help"));
    EXPECT_NE(std::string::npos, out.find("--interpolate nearest|linear|cubic")) << out;
    EXPECT_EQ(0, Run("--version"));
    EXPECT_EQ("quarlo 1.0.0\n", out);
}

TEST_F(Tool, WrongUsageEndsWith2AndMakesNoFile)
{
    const std::string good = "-o " + folder + "page.bmp " + kScan1 + " ";
    for (const char* bad :
         {"--threshold 0", "--threshold 256", "--threshold ten", "--threshold 12x", "--interpolate bilinear",
          "--ground grey", "--rotate 45", "--rotate 0", "--depth 16", "--no-such-option"}) {
        EXPECT_EQ(2, Run(good + bad)) << bad;
        EXPECT_NE("", err) << bad;
    }
    EXPECT_EQ(2, Run(""));
    EXPECT_EQ(2, Run(kScan1));
    EXPECT_EQ(2, Run("-o " + folder + "page.bmp"));
    EXPECT_FALSE(Exists(folder + "page.bmp"));
}

TEST_F(Tool, NoPageEndsWith3AndMakesNoFile)
{
    Save(test::Bitmap(300, 300, 8, 0), folder + "black.bmp");
    EXPECT_EQ(3, Run("-o " + folder + "page.bmp " + folder + "black.bmp"));
    EXPECT_EQ("quarlo: " + folder +
                  "black.bmp: no page found: fewer than two rows hold more than 150 page pixels\n",
              err);
    Save(test::Bitmap(1, 300, 8, 0), folder + "thin.bmp");
    EXPECT_EQ(3, Run("-o " + folder + "page.bmp " + folder + "thin.bmp"));
    EXPECT_NE(std::string::npos, err.find("the image is too narrow")) << err;
    EXPECT_FALSE(Exists(folder + "page.bmp"));
}

TEST_F(Tool, UnreadableInputEndsWith1AndSaysWhy)
{
    EXPECT_EQ(1, Run("-o " + folder + "page.bmp " + folder + "missing.bmp"));
    EXPECT_EQ("quarlo: " + folder + "missing.bmp: cannot be opened for reading: No such file or directory\n", err);

    const std::string name = folder + "bad.bmp";
    WriteAll(name, "no picture at all, but longer than a header of fourteen bytes");
    EXPECT_EQ(1, Run("-o " + folder + "page.bmp " + name));
    EXPECT_NE(std::string::npos, err.find("is not a BMP file")) << err;
    WriteAll(name, "BM");
    EXPECT_EQ(1, Run("-o " + folder + "page.bmp " + name));
    EXPECT_NE(std::string::npos, err.find("cannot be read to its end")) << err;

    std::string content = ReadAll(kScan1);
    content[28] = 4; /* bits per pixel */
    WriteAll(name, content);
    EXPECT_EQ(1, Run("-o " + folder + "page.bmp " + name));
    EXPECT_NE(std::string::npos, err.find("has neither 1, 8 nor 24 bits")) << err;

    content = ReadAll(kScan8);
    content[30] = 1; /* compression */
    WriteAll(name, content);
    EXPECT_EQ(1, Run("-o " + folder + "page.bmp " + name));
    EXPECT_NE(std::string::npos, err.find("is compressed")) << err;
    EXPECT_FALSE(Exists(folder + "page.bmp"));
}

TEST_F(Tool, ExistingFileIsKeptWithoutOverwrite)
{
    const std::string name = folder + "page.bmp";
    WriteAll(name, "precious");
    EXPECT_EQ(1, Run("-o " + name + " " + kScan1));
    EXPECT_EQ("quarlo: " + name + ": exists already; --overwrite replaces it\n", err);
    EXPECT_EQ("precious", ReadAll(name));
    EXPECT_EQ(0, Run("--overwrite -o " + name + " " + kScan1));
    EXPECT_EQ("BM", ReadAll(name).substr(0, 2));
}

TEST_F(Tool, FailedRunLeavesTheExistingFileAlone)
{
    const std::string name = folder + "page.bmp";
    WriteAll(name, "precious");
    Save(test::Bitmap(300, 300, 8, 0), folder + "black.bmp");
    EXPECT_EQ(3, Run("--overwrite -o " + name + " " + folder + "black.bmp"));
    EXPECT_EQ("precious", ReadAll(name));
}

TEST_F(Tool, InputMayBeReplacedByItsOwnPage)
{
    const std::string name = folder + "scan.bmp";
    WriteAll(name, ReadAll(kScan1));
    test::Bitmap expected, page;
    Crop("", kScan1, &expected);
    EXPECT_EQ(0, Run("--overwrite -o " + name + " " + name)) << err;
    Read(name, &page);
    ExpectSamePixels(expected, page);
}

TEST_F(Tool, DeviceIsNeverReplaced)
{
    EXPECT_EQ(1, Run("--overwrite -o /dev/null " + kScan1));
    EXPECT_EQ("quarlo: /dev/null: is no ordinary file and is not replaced\n", err);
    struct stat status;
    ASSERT_EQ(0, stat("/dev/null", &status));
    EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(Tool, NoTemporaryFileIsLeftBehind)
{
    const std::string name = folder + "page.bmp";
    EXPECT_EQ(0, Run("-o " + name + " " + kScan1));
    EXPECT_EQ(1, Run("-o " + name + " " + kScan1));
    EXPECT_EQ(1, Run("-o " + folder + "no/such/folder/page.bmp " + kScan1));
    EXPECT_NE(std::string::npos, err.find("cannot be created: No such file or directory")) << err;
    EXPECT_EQ(
        0, std::system(("test \"$(ls '" + folder + "')\" = \"$(printf 'page.bmp\\nstderr\\nstdout')\"").c_str()));
}

TEST_F(Tool, ResultHasTheRightsOfAnOrdinaryNewFile)
{
    const std::string name = folder + "page.bmp";
    const mode_t mask = umask(027);
    EXPECT_EQ(0, Run("-o " + name + " " + kScan1));
    umask(mask);
    struct stat status;
    ASSERT_EQ(0, stat(name.c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 07777);
}

} // namespace
