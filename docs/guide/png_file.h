#pragma once

#include <opencv2/core.hpp>

#include <string>

/// The pixels of a PNG file, CV_8UC4 in the order B, G, R, A. Throws std::runtime_error.
cv::Mat readPng(const std::string& path);

/// Writes CV_8UC4 pixels in the order B, G, R, A, without alpha, or a CV_8UC1 plane. Throws std::runtime_error.
void writePng(const cv::Mat& pixels, const std::string& path);
