/*
 * samples_test.cpp - the library on real scans: what it answers, exactly, and how far that is from the truth.
 *
 * Each sample runs with the automatic threshold (0) and with the one that suits it best; samples/README.md tells where
 * the two differ and why. An angle is pinned to its last bit; the distance from the true skew is stated beside it.
 */
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "BitmapProcessing.h"
#include "Detection.h"
#include "QL_Interface.h"
#include "SearchBitmapFrame.h"
#include "support/TestBitmap.h"

namespace
{

struct SampleCase {
    const char* file;
    sint32 ground;
    sint32 threshold;
    sint32 code;
    const char* failed_stage;
    Real64 angle; /* radians */
    PointRec center;
    sint32 width;
    sint32 height;
    double skew_error; /* degrees off the true skew, to two places */
};

const SampleCase kCases[] = {
    {"s01_envelope_dark_24.bmp", 1, 0, 0, "", 0x1.91734613810f5p+2, {472, 387}, 914, 726, 0.25},
    {"s01_envelope_dark_24.bmp", 1, 13, 0, "", 0x1.911cf1078d481p+2, {466, 390}, 899, 718, 0.05},
    {"s02_letter_dark_8.bmp", 1, 0, 0, "", 0x1.92146c3c6aa3p+2, {586, 826}, 1172, 1615, 0.43},
    {"s02_letter_dark_8.bmp", 1, 90, 0, "", 0x1.919d078c4a6aep+2, {594, 818}, 1097, 1557, 0.01},
    {"s03_receipt_corner_8.bmp", 1, 0, 0, "", 0x0p+0, {1048, 1484}, 455, 538, 0.05},
    {"s03_receipt_corner_8.bmp", 1, 136, 0, "", 0x0p+0, {1048, 1484}, 455, 538, 0.05},
    {"s04_register_film_8.bmp", 1, 0, 0, "", 0x1.91d1fc64798fp+2, {531, 730}, 1015, 1368, 0.24},
    {"s04_register_film_8.bmp", 1, 28, 0, "", 0x1.91d7f97d60114p+2, {530, 730}, 1016, 1369, 0.26},
    {"s05_parchment_dark_24.bmp", 1, 0, 0, "", 0x1.028584d051565p-9, {381, 579}, 759, 1068, 0.12},
    {"s05_parchment_dark_24.bmp", 1, 38, 0, "", 0x1.028584d051565p-9, {381, 579}, 760, 1070, 0.12},
    {"s06_letter_dark_1.bmp", 1, 0, 0, "", 0x1.91934e89e9cfdp+2, {849, 1174}, 1621, 2277, 0.00},
    {"s06_letter_dark_1.bmp", 1, 128, 0, "", 0x1.91934e89e9cfdp+2, {849, 1174}, 1621, 2277, 0.00},
    {"s07_receipt_board_8.bmp", 1, 0, 0, "", 0x1.91dbaf33313b2p+2, {660, 881}, 1230, 1742, 0.51},
    {"s07_receipt_board_8.bmp", 1, 205, 0, "", 0x1.7153da670f6dcp-7, {1020, 1115}, 399, 1260, 0.38},
    {"s08_letter_light_24.bmp", 255, 0, 0, "", 0x0p+0, {347, 450}, 662, 895, 0.22},
    {"s08_letter_light_24.bmp", 255, 233, 0, "", 0x1.920af7a399e25p+2, {347, 459}, 661, 876, 0.15},
    {"s09_tilt_receipt_8.bmp", 1, 0, 9, "borders", 0.0, {0, 0}, 0, 0, 0.0},
    {"s09_tilt_receipt_8.bmp", 1, 146, 0, "", 0x1.ba5386c884915p-3, {584, 757}, 518, 1187, 0.03},
    {"s10_tilt_fax_1.bmp", 1, 0, 0, "", 0x1.89f51ba0b4b24p+2, {841, 1092}, 1100, 1485, 0.01},
    {"s10_tilt_fax_1.bmp", 1, 128, 0, "", 0x1.89f51ba0b4b24p+2, {841, 1092}, 1100, 1485, 0.01},
    {"s11_light_lid_8.bmp", 255, 0, 0, "", 0x1.8ea3d818bd9e9p+2, {498, 645}, 432, 1114, 0.02},
    {"s11_light_lid_8.bmp", 255, 232, 0, "", 0x1.8ea3d818bd9e9p+2, {498, 645}, 432, 1114, 0.02},
};

/* The true skew of each sample in degrees, from the table that came with the scans. */
std::map<std::string, double> ReadTrueSkews()
{
    std::map<std::string, double> skews;
    std::ifstream table(QUARLO_SAMPLES_DIR "/scans.tsv");
    size_t skew_column = 0;
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields;
        std::istringstream stream(line);
        for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
        if (fields[0] == "file") {
            while (fields.at(skew_column) != "skew_deg") ++skew_column;
        } else {
            skews[fields[0]] = std::stod(fields.at(skew_column));
        }
    }
    return skews;
}

class Sample : public testing::TestWithParam<SampleCase>
{
protected:
    void SetUp() override
    {
        std::string name = std::string(QUARLO_SAMPLES_DIR "/") + GetParam().file;
        ASSERT_EQ(0, ReadBitmapFromFile(scan.rec(), reinterpret_cast<sint8*>(name.data())));
    }
    quarlo::Bitmap scan;
};

TEST_P(Sample, FrameIsExactlyAsPinned)
{
    const SampleCase& expected = GetParam();
    uint8 threshold = static_cast<uint8>(expected.threshold);
    if (expected.threshold == 0) {
        ASSERT_EQ(0, CalculateDividingPoint(scan.rec(), &threshold));
    }
    const quarlo::Ground ground = static_cast<quarlo::Ground>(expected.ground);
    const quarlo::Detection detection = quarlo::Detect(scan, ground, threshold, false);
    ASSERT_EQ(expected.code, static_cast<int>(detection.code));
    if (expected.code != 0) {
        EXPECT_STREQ(expected.failed_stage, detection.stage);
        return;
    }
    const quarlo::Placement& frame = detection.placement;
    EXPECT_EQ(expected.angle, frame.angle);
    EXPECT_EQ(expected.center.x, frame.center.x);
    EXPECT_EQ(expected.center.y, frame.center.y);
    EXPECT_EQ(expected.width, frame.width);
    EXPECT_EQ(expected.height, frame.height);

    const double true_skew = ReadTrueSkews().at(expected.file);
    EXPECT_EQ(std::lround(expected.skew_error * 100),
              std::lround(std::fabs(std::remainder(frame.angle * 180.0 / 3.1415926, 360.0) - true_skew) * 100));
}

TEST_P(Sample, PipelineGivesThePinnedSize)
{
    const SampleCase& expected = GetParam();
    test::Bitmap page;
    ASSERT_EQ(expected.code, ImageQuarlo(scan.rec(), 3, expected.threshold, expected.ground, &page.rec));
    EXPECT_EQ(expected.width, page.rec.biWidth);
    EXPECT_EQ(expected.height, page.rec.biHeight);
    EXPECT_EQ(expected.code == 0 ? scan.depth() : 0, page.rec.biBitCount);
}

INSTANTIATE_TEST_SUITE_P(Scans, Sample, testing::ValuesIn(kCases), [](const auto& sample) {
    const std::string file = sample.param.file;
    return file.substr(0, file.find('.')) + (sample.param.threshold == 0 ? "_auto" : "_best");
});

} // namespace
