#pragma once

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

/// A plane of pseudo-random pixels over the whole range of its type (ints and floats: -1000..1000), the same for the
/// same seed on every machine. Every depth but half floats, which are refused.
cv::Mat randomPlane(int rows, int cols, int type, std::uint32_t seed = 1);

/// The same over [low, high].
cv::Mat randomPlane(int rows, int cols, int type, double low, double high, std::uint32_t seed = 1);

/// The plane as a sub-plane of a larger one: the same pixels, a wide step, and a margin of other pixels around it.
cv::Mat asSubPlane(const cv::Mat& plane);

/// The sizes that every plane operation is tested at: 1x1, one row, one column, odd, even, and one large enough for
/// several threads.
const std::vector<cv::Size>& testSizes();

/// Success if size, type and every bit are equal; else names the first and the worst pixel and prints the
/// neighbourhood of the worst. For use in EXPECT_TRUE.
testing::AssertionResult samePixels(const cv::Mat& expected, const cv::Mat& actual);

/// Success if size and type are equal and no pixel differs by more than `tolerance`.
testing::AssertionResult closePixels(const cv::Mat& expected, const cv::Mat& actual, double tolerance);
