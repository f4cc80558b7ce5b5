/*
 * peers.cpp - what OpenCV and Leptonica take for the same work on the same scan, as far as they have it.
 *
 *   bench_peers reused|fresh
 *
 * On one thread, and in the way that suits them best: pictures are converted to their own form beforehand, and OpenCV
 * writes into pictures that it has already. Their results are like the library's, not equal to them. What is not like:
 *
 *   OpenCV      has no pictures of one bit: black and white has a byte for each pixel. Its way to gray has no tone
 *               curve, which is a further step here; "opencv-bare" leaves that out. Its way to find the page is a
 *               threshold, the outer contours, and the smallest rectangle around the largest of them.
 *   Leptonica   holds colour in four bytes. Its rotations keep the picture's size, so that they get a part of the scan
 *               as large as the page. "bilinear" is its area mapping; one bit is rotated by shearing, its fastest way.
 */
#include <allheaders.h>

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "BitmapConversionTable.h"
#include "Server.h"

namespace
{

using namespace bench;

/* ---- OpenCV ---- */

cv::Mat MatOf(const BitmapRec& rec)
{
    return cv::Mat(rec.biHeight, rec.biWidth, rec.biBitCount == 24 ? CV_8UC3 : CV_8UC1, rec.buffer,
                   static_cast<size_t>(rec.BytesPerLine));
}

/* From a dot of the page back to the scan, as RotateBitmap has it. */
cv::Matx23d RotationOf(cv::Point2d source_center, double angle, cv::Size size)
{
    const double cosine = std::cos(angle), sine = std::sin(angle);
    const double x = (size.width - 1) / 2, y = (size.height - 1) / 2;
    return {cosine, sine,   source_center.x - x * cosine - y * sine,
            -sine,  cosine, source_center.y + x * sine - y * cosine};
}

void Warp(const cv::Mat& source, cv::Mat* dest, const cv::Matx23d& rotation, cv::Size size, int flags)
{
    cv::warpAffine(source, *dest, rotation, size, flags | cv::WARP_INVERSE_MAP, cv::BORDER_CONSTANT,
                   cv::Scalar(255, 0, 0));
}

/* Pictures that the steps of a task write, kept from call to call. */
struct Steps {
    cv::Mat gray, mask, dest;
};

cv::RotatedRect FindPage(const cv::Mat& scan, Steps* steps)
{
    if (scan.channels() == 3)
        cv::cvtColor(scan, steps->gray, cv::COLOR_BGR2GRAY);
    else
        steps->gray = scan;
    cv::threshold(steps->gray, steps->mask, kThreshold, 255, cv::THRESH_BINARY);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(steps->mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    Require(!contours.empty(), "findContours");
    const auto smaller = [](const std::vector<cv::Point>& a, const std::vector<cv::Point>& b) {
        return cv::contourArea(a) < cv::contourArea(b);
    };
    return cv::minAreaRect(*std::max_element(contours.begin(), contours.end(), smaller));
}

/* The rectangle's angle is that of any of its sides; the page's is the one near 0. */
void Crop(const cv::Mat& scan, Steps* steps, int flags)
{
    const cv::RotatedRect page = FindPage(scan, steps);
    const bool lies = page.angle > 45;
    const cv::Size size(static_cast<int>(lies ? page.size.height : page.size.width),
                        static_cast<int>(lies ? page.size.width : page.size.height));
    const double angle = -(page.angle - (lies ? 90 : 0)) * CV_PI / 180;
    Warp(scan, &steps->dest, RotationOf(page.center, angle, size), size, flags);
}

cv::Mat ToneCurve()
{
    cv::Mat curve(1, 256, CV_8UC1);
    for (int k = 0; k < 256; ++k) curve.at<uint8>(k) = static_cast<uint8>(GrayChangeTable[k]);
    return curve;
}

typedef std::function<void(const cv::Mat&, Steps*)> CvCall;

void Add(std::vector<Operation>* all, const std::string& name, sint32 depth, const CvCall& call,
         const char* column = "opencv")
{
    all->push_back({name, column, depth, [=](std::shared_ptr<Scan> scan) {
                        const auto steps = std::make_shared<Steps>();
                        Task task;
                        task.run = [=] { call(MatOf(scan->bitmap.rec), steps.get()); };
                        return task;
                    }});
}

void AddOpenCvWarps(std::vector<Operation>* all, sint32 depth)
{
    const std::pair<const char*, int> interpolations[] = {
        {"nearest", cv::INTER_NEAREST}, {"bilinear", cv::INTER_LINEAR}, {"cubic", cv::INTER_CUBIC}};
    for (const auto& [name, flags] : interpolations) {
        const std::string detail = '/' + std::to_string(depth) + '/' + name;
        all->push_back({"RotateBitmap" + detail, "opencv", depth, [=, warp = flags](std::shared_ptr<Scan> scan) {
                            const auto dest = std::make_shared<cv::Mat>();
                            const Detection& page = scan->page;
                            const cv::Size size(page.biWidth, page.biHeight);
                            const auto rotation = RotationOf({static_cast<double>(page.SourceCenter.x),
                                                              static_cast<double>(page.SourceCenter.y)},
                                                             page.angle, size);
                            Task task;
                            task.run = [=] { Warp(MatOf(scan->bitmap.rec), dest.get(), rotation, size, warp); };
                            return task;
                        }});
        Add(all, "ImageQuarlo" + detail, depth,
            [warp = flags](const cv::Mat& scan, Steps* steps) { Crop(scan, steps, warp); });
    }
}

/* OpenCV and Leptonica turn as seen from above, where row 0 is the top one. */
void AddOpenCvTurns(std::vector<Operation>* all, sint32 depth)
{
    const std::pair<const char*, int> turns[] = {
        {"90", cv::ROTATE_90_COUNTERCLOCKWISE}, {"180", cv::ROTATE_180}, {"270", cv::ROTATE_90_CLOCKWISE}};
    for (const auto& [name, code] : turns)
        Add(all, "imageRotate/" + std::to_string(depth) + '/' + name, depth,
            [turn = code](const cv::Mat& scan, Steps* steps) { cv::rotate(scan, steps->dest, turn); });
    Add(all, "Bitmap_Copy/" + std::to_string(depth), depth,
        [](const cv::Mat& scan, Steps* steps) { scan.copyTo(steps->dest); });
}

void AddOpenCvConversions(std::vector<Operation>* all)
{
    const cv::Mat curve = ToneCurve();
    Add(all, "GetGrayBitmap/24", 24, [=](const cv::Mat& scan, Steps* steps) {
        cv::cvtColor(scan, steps->gray, cv::COLOR_BGR2GRAY);
        cv::LUT(steps->gray, curve, steps->dest);
    });
    const CvCall to_gray = [](const cv::Mat& scan, Steps* steps) {
        cv::cvtColor(scan, steps->gray, cv::COLOR_BGR2GRAY);
    };
    Add(all, "GetGrayBitmap/24", 24, to_gray, "opencv-bare");
    Add(all, "GetColorBitmap/8", 8,
        [](const cv::Mat& scan, Steps* steps) { cv::cvtColor(scan, steps->dest, cv::COLOR_GRAY2BGR); });
    Add(all, "GetBWBitmap/8", 8, [](const cv::Mat& scan, Steps* steps) {
        cv::threshold(scan, steps->dest, kThreshold, 255, cv::THRESH_BINARY);
    });
    Add(all, "GetBWBitmap/24", 24, [=](const cv::Mat& scan, Steps* steps) {
        cv::cvtColor(scan, steps->gray, cv::COLOR_BGR2GRAY);
        cv::LUT(steps->gray, curve, steps->mask);
        cv::threshold(steps->mask, steps->dest, kThreshold, 255, cv::THRESH_BINARY);
    });
    Add(
        all, "GetBWBitmap/24", 24,
        [](const cv::Mat& scan, Steps* steps) {
            cv::cvtColor(scan, steps->gray, cv::COLOR_BGR2GRAY);
            cv::threshold(steps->gray, steps->dest, kThreshold, 255, cv::THRESH_BINARY);
        },
        "opencv-bare");
}

/* ---- Leptonica ---- */

class Picture
{
public:
    explicit Picture(PIX* made) : pix(made) { Require(pix != nullptr, "a call of Leptonica"); }
    ~Picture() { pixDestroy(&pix); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    PIX* pix;
};

l_uint32 ValueAt(const BitmapRec& rec, sint32 row, sint32 col)
{
    const uint8* line = rec.ScanLine[row];
    if (rec.biBitCount == 8) return line[col];
    if (rec.biBitCount == 1)
        return (line[col >> 3] & 0x80 >> (col & 7)) != 0 ? 0 : 1; /* a set bit is black there */
    l_uint32 value = 0;
    composeRGBPixel(line[3 * col + 2], line[3 * col + 1], line[3 * col], &value);
    return value;
}

std::shared_ptr<Picture> PixOf(const BitmapRec& rec, sint32 left, sint32 top, sint32 width, sint32 height)
{
    const auto picture =
        std::make_shared<Picture>(pixCreate(width, height, rec.biBitCount == 24 ? 32 : rec.biBitCount));
    for (sint32 row = 0; row < height; ++row)
        for (sint32 col = 0; col < width; ++col)
            pixSetPixel(picture->pix, col, row, ValueAt(rec, top + row, left + col));
    return picture;
}

std::shared_ptr<Picture> WholeScan(const Scan& scan)
{
    const BitmapRec& rec = scan.bitmap.rec;
    return PixOf(rec, 0, 0, rec.biWidth, rec.biHeight);
}

std::shared_ptr<Picture> PartAsLargeAsPage(const Scan& scan)
{
    const BitmapRec& rec = scan.bitmap.rec;
    const Detection& page = scan.page;
    return PixOf(rec, (rec.biWidth - page.biWidth) / 2, (rec.biHeight - page.biHeight) / 2, page.biWidth,
                 page.biHeight);
}

void AddLeptonicaRotation(std::vector<Operation>* all, sint32 depth, const char* interpolation, l_int32 method)
{
    all->push_back({"RotateBitmap/" + std::to_string(depth) + '/' + interpolation, "leptonica", depth,
                    [=](std::shared_ptr<Scan> scan) {
                        const auto source = PartAsLargeAsPage(*scan);
                        const auto angle = static_cast<l_float32>(std::remainder(scan->page.angle, 2 * CV_PI));
                        Task task;
                        task.run = [=] { Picture(pixRotate(source->pix, angle, method, L_BRING_IN_WHITE, 0, 0)); };
                        return task;
                    }});
}

void AddLeptonicaTurns(std::vector<Operation>* all, sint32 depth)
{
    for (const l_int32 quarters : {1, 2, 3})
        all->push_back({"imageRotate/" + std::to_string(depth) + '/' + std::to_string(90 * quarters), "leptonica",
                        depth, [=](std::shared_ptr<Scan> scan) {
                            const auto source = WholeScan(*scan);
                            Task task;
                            task.run = [=] { Picture(pixRotateOrth(source->pix, 4 - quarters)); };
                            return task;
                        }});
}

void AddLeptonica(std::vector<Operation>* all)
{
    for (const sint32 depth : {24, 8}) {
        AddLeptonicaRotation(all, depth, "nearest", L_ROTATE_SAMPLING);
        AddLeptonicaRotation(all, depth, "bilinear", L_ROTATE_AREA_MAP);
    }
    AddLeptonicaRotation(all, 1, "nearest", L_ROTATE_SHEAR);
    for (const sint32 depth : {24, 8, 1}) AddLeptonicaTurns(all, depth);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string memory = argc == 2 ? argv[1] : "";
    Require(memory == "reused" || memory == "fresh", "usage: bench_peers reused|fresh;");
    UseMemory(memory == "fresh" ? Memory::Fresh : Memory::Reused);
    cv::setNumThreads(1);
    std::vector<Operation> all;
    for (const sint32 depth : {24, 8}) {
        AddOpenCvWarps(&all, depth);
        AddOpenCvTurns(&all, depth);
    }
    AddOpenCvConversions(&all);
    AddLeptonica(&all);
    return Serve(all, "OpenCV " CV_VERSION ", Leptonica " + std::to_string(LIBLEPT_MAJOR_VERSION) + '.' +
                          std::to_string(LIBLEPT_MINOR_VERSION) + '.' + std::to_string(LIBLEPT_PATCH_VERSION));
}
