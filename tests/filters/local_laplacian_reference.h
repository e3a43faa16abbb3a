#pragma once

#include <opencv2/core.hpp>

#include <vector>

/// The local Laplacian filter as it is defined, step by step on whole planes, K channels together. The reference of the
/// tests.

/// The 65536 entries of the remap table.
std::vector<ushort> expectedRemap(float alpha, float blur);

/// The filter with `k` references at distance `step`, `perStep` being its reciprocal.
cv::Mat expectedLaplacian(const cv::Mat& in, int k, int step, float perStep, const std::vector<ushort>& remap,
                          int levels);

/// The filter with 10, 16 or 24 references.
cv::Mat expectedLaplacian(int k, const cv::Mat& in, float alpha, float blur, int levels);
