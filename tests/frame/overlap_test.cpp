#include "kestrova/frame/overlap.h"
#include "tests/support/rooms.h"

#include <gtest/gtest.h>

TEST(Overlap, IsThatOfTheMemoryFromTheFirstPixelToTheLast) {
    const cv::Mat around(10, 10, CV_16UC1);
    const auto overlapBothWays = [&](cv::Rect a, cv::Rect b) {
        EXPECT_EQ(overlap(around(a), around(b)), overlap(around(b), around(a))) << a << b;
        return overlap(around(a), around(b));
    };
    EXPECT_TRUE(overlapBothWays({2, 2, 4, 4}, {2, 2, 4, 4}));
    EXPECT_TRUE(overlapBothWays({2, 2, 4, 4}, {5, 5, 4, 4}));   // one pixel
    EXPECT_TRUE(overlapBothWays({2, 2, 4, 4}, {6, 2, 4, 4}));   // pixels of their own, rows in turn
    EXPECT_FALSE(overlapBothWays({2, 2, 4, 4}, {6, 5, 4, 4}));  // the last row's end is the other's beginning
    EXPECT_FALSE(overlapBothWays({0, 0, 10, 5}, {0, 5, 10, 5}));
    EXPECT_FALSE(overlap(around, around.clone()));
}

TEST(Overlap, AcrossRowsIsThatOfPlanesWhoseRowsDoNotCoincide) {
    const cv::Mat around(10, 10, CV_16UC1);
    const cv::Mat in = around(cv::Rect(2, 2, 4, 4));
    EXPECT_FALSE(overlapAcrossRows(in, in));
    EXPECT_FALSE(overlapAcrossRows(in, in.clone()));
    EXPECT_TRUE(overlapAcrossRows(in, around(cv::Rect(2, 3, 4, 4))));
    EXPECT_TRUE(overlapAcrossRows(in, around(cv::Rect(3, 2, 4, 4))));
    const cv::Mat narrow(4, 4, CV_16UC1, in.data, in.step[0] / 2);  // the same beginning, another step
    EXPECT_TRUE(overlapAcrossRows(in, narrow));
}

TEST(Overlap, NeedsPixels) {
    const cv::Mat plane(4, 4, CV_16UC1);
    EXPECT_FALSE(overlap(plane, cv::Mat()));
    EXPECT_FALSE(overlap(plane.rowRange(2, 2), plane));
    EXPECT_FALSE(overlap(plane, plane.colRange(2, 2)));
}

TEST(OutputLike, IsTheOutputItselfIfItFits) {
    const cv::Mat out(4, 5, CV_16UC1);
    EXPECT_EQ(outputLike(out, {5, 4}, CV_16UC1).data, out.data);
}

TEST(OutputLike, IsANewPlaneOtherwiseAndLeavesTheOutput) {
    const cv::Mat out(4, 5, CV_16UC1, cv::Scalar(7));
    const cv::Mat plane = outputLike(out, {5, 4}, CV_8UC1);
    EXPECT_EQ(plane.size(), cv::Size(5, 4));
    EXPECT_EQ(plane.type(), CV_8UC1);
    EXPECT_NE(plane.data, out.data);
    EXPECT_EQ(out.type(), CV_16UC1);
    EXPECT_EQ(out.at<ushort>(3, 4), 7);
}

TEST(SourceBeside, IsTheInputWhereNothingLeftToReadIsWritten) {
    const cv::Mat around(10, 10, CV_16UC1);
    const cv::Mat in = around(cv::Rect(2, 2, 4, 4)), apart = around(cv::Rect(6, 6, 4, 4));
    for (const StillRead stillRead : {StillRead::kThatPixel, StillRead::kThatRow, StillRead::kAnyRow})
        EXPECT_EQ(sourceBeside(apart, in, stillRead).data, in.data);
    EXPECT_EQ(sourceBeside(in, in, StillRead::kThatPixel).data, in.data);
    EXPECT_EQ(sourceBeside(in, in, StillRead::kThatRow).data, in.data);
}

TEST(SourceBeside, IsACopyOtherwise) {
    const cv::Mat around(10, 10, CV_16UC1, cv::Scalar(7));
    const cv::Mat in = around(cv::Rect(2, 2, 4, 4)), lower = around(cv::Rect(2, 3, 4, 4));
    const cv::Mat bytes(4, 4, CV_8UC1, in.data, in.step[0]);
    EXPECT_NE(sourceBeside(in, in, StillRead::kAnyRow).data, in.data);
    EXPECT_NE(sourceBeside(bytes, in, StillRead::kThatPixel).data, in.data);
    EXPECT_EQ(sourceBeside(bytes, in, StillRead::kThatRow).data, in.data);
    for (const StillRead stillRead : {StillRead::kThatPixel, StillRead::kThatRow, StillRead::kAnyRow}) {
        const cv::Mat copy = sourceBeside(lower, in, stillRead);
        EXPECT_NE(copy.data, in.data);
        EXPECT_EQ(copy.at<ushort>(3, 3), 7);
    }
}

TEST(ApartOutput, FillsTheOutputItselfWhereItFitsAndLiesOverNoSource) {
    const cv::Mat source(4, 5, CV_8UC1);
    cv::Mat out(4, 5, CV_16UC1);
    const uchar* const pixels = out.data;
    const ApartOutput output(out, {5, 4}, CV_16UC1, {source});
    EXPECT_EQ(output.filled.data, pixels);
    output.assignTo(out);
    EXPECT_EQ(out.data, pixels);
}

TEST(ApartOutput, ReplacesAnOutputOfAnotherSizeOrTypeWhenItIsAssigned) {
    const cv::Mat source(4, 5, CV_16UC1);
    for (cv::Mat out : {cv::Mat(), cv::Mat(4, 6, CV_16UC1, cv::Scalar(9)), cv::Mat(4, 5, CV_8UC1, cv::Scalar(9))}) {
        const cv::Mat before = out.clone();
        ApartOutput output(out, {5, 4}, CV_16UC1, {source});
        output.filled.setTo(7);
        EXPECT_EQ(out.size(), before.size());
        output.assignTo(out);
        EXPECT_EQ(cv::countNonZero(out != cv::Mat(4, 5, CV_16UC1, cv::Scalar(7))), 0);
    }
}

TEST(ApartOutput, KeepsTheSourceThatTheOutputLiesOverUntilItIsAssigned) {
    cv::Mat around(10, 10, CV_16UC1, cv::Scalar(3));
    const cv::Mat source = around(cv::Rect(2, 2, 4, 4)), apart(4, 4, CV_16UC1);
    cv::Mat out = around(cv::Rect(2, 3, 4, 4));
    const uchar* const pixels = out.data;
    ApartOutput output(out, {4, 4}, CV_16UC1, {apart, source});
    output.filled.setTo(7);
    EXPECT_EQ(cv::countNonZero(source != 3), 0);
    output.assignTo(out);
    EXPECT_EQ(out.data, pixels);
    EXPECT_EQ(cv::countNonZero(out != 7), 0);
    EXPECT_EQ(around.at<ushort>(2, 2), 3);
}

TEST(AssignCopy, FillsAnOutputThatFitsAndReplacesAnother) {
    const cv::Mat in(4, 5, CV_16UC1, cv::Scalar(7));
    cv::Mat fitting(4, 5, CV_16UC1), other(2, 3, CV_8UC1, cv::Scalar(9));
    const cv::Mat before = other;
    const uchar* const pixels = fitting.data;
    assignCopy(in, fitting);
    assignCopy(in, other);
    EXPECT_EQ(fitting.data, pixels);
    EXPECT_EQ(cv::countNonZero(fitting != in), 0);
    EXPECT_EQ(cv::countNonZero(other != in), 0);
    EXPECT_NE(other.data, in.data);
    EXPECT_EQ(before.at<uchar>(1, 2), 9);
}

TEST(AssignCopy, ReadsAnInputThatTheOutputLiesAcrossBeforeItChanges) {
    cv::Mat around(10, 10, CV_16UC1);
    for (int i = 0; i < 100; ++i) around.at<ushort>(i / 10, i % 10) = static_cast<ushort>(i);
    const cv::Mat in = around(cv::Rect(2, 2, 4, 4)), expected = in.clone();
    cv::Mat out = around(cv::Rect(2, 3, 4, 4));
    assignCopy(in, out);
    EXPECT_EQ(cv::countNonZero(out != expected), 0);
}
