#pragma once

#include <kestrova/kestrova.h>

#include <QImage>

/// True for images of 16 bits a channel.
bool isDeep(const QImage& image);

/// The picture of an image: 8-bit pixels through the 8-bit entry, deep ones through the 16-bit entry. Alpha is dropped.
TPImage pictureOf(const QImage& image);

/// The image of three CV_16UC1 planes of one size. 8-bit images (Format_RGB32) take the library's 8-bit scale, on which
/// white is 65280; deep ones (Format_RGBX64) take the words as they are.
QImage imageOf(const cv::Mat& red, const cv::Mat& green, const cv::Mat& blue, bool deep);
