/*
 * Limits_test.cpp - what a caller does not expect of a page.
 */
#include <gtest/gtest.h>

#include "quarlo/pages.hpp"

namespace
{

using quarlo::Check;
using quarlo::Code;
using quarlo::Frame;
using quarlo::Problem;

/* A page of 30 x 20 pixels in a scan of 100 x 60: a tenth of it. */
Frame TurnedFrame(double angle_deg)
{
    Frame frame;
    frame.found = true;
    frame.angle_deg = angle_deg;
    frame.width = 30;
    frame.height = 20;
    frame.placement.scan_width = 100;
    frame.placement.scan_height = 60;
    return frame;
}

TEST(Check, WithoutLimitsEverythingPasses) { EXPECT_EQ(Code::ok, Check(TurnedFrame(179.0), {}).code); }

TEST(Check, AngleBeyondTheLimitIsRefusedInBothDirectionsWithBothNumbers)
{
    for (const double angle : {7.25, -7.25}) {
        const Problem problem = Check(TurnedFrame(angle), {7.0, 0.0});
        EXPECT_EQ(Code::angle_limit, problem.code);
        EXPECT_EQ("limits", problem.stage);
        EXPECT_EQ("the page is turned by 7.25 degrees, more than the 7 that are allowed", problem.reason);
    }
}

TEST(Check, AngleAtTheLimitPasses)
{
    EXPECT_EQ(Code::ok, Check(TurnedFrame(7.0), {7.0, 0.0}).code);
    EXPECT_EQ(Code::ok, Check(TurnedFrame(-7.0), {7.0, 0.0}).code);
}

TEST(Check, SmallerPartOfTheScanThanRequiredIsRefusedWithBothNumbers)
{
    const Problem problem = Check(TurnedFrame(0.0), {0.0, 0.125});
    EXPECT_EQ(Code::area_limit, problem.code);
    EXPECT_EQ("limits", problem.stage);
    EXPECT_EQ("the page covers 10 percent of the scan, less than the 12.5 that are required", problem.reason);
}

TEST(Check, PartOfTheScanAsRequiredPasses) { EXPECT_EQ(Code::ok, Check(TurnedFrame(0.0), {0.0, 0.1}).code); }

TEST(Check, AngleIsToldBeforeTheArea) { EXPECT_EQ(Code::angle_limit, Check(TurnedFrame(9.0), {7.0, 0.5}).code); }

TEST(Check, HugePageDoesNotWrap)
{
    Frame frame = TurnedFrame(0.0);
    frame.width = frame.height = 2000000000;
    frame.placement.scan_width = frame.placement.scan_height = 2000000000;
    EXPECT_EQ(Code::ok, Check(frame, {0.0, 1.0}).code);
}

TEST(Check, FrameThatWasNotFoundHasItsOwnProblem)
{
    Frame frame = TurnedFrame(90.0);
    frame.found = false;
    EXPECT_EQ(Code::ok, Check(frame, {7.0, 0.5}).code);
}

} // namespace
