#pragma once

#include <QImage>
#include <QString>
#include <opencv2/core.hpp>
#include <string>

namespace kestrova::studio {

/// The name of a file as the photo layer takes it, whatever bytes it has, and back.
std::string fileName(const QString& path);
QString fileName(const std::string& path);

/// A text with names of files, for what shows markup as such: tooltips and message boxes show every character of it.
QString withoutMarkup(const QString& text);

/// Packed B, G, R, A of 8 bits, CV_8UC4, as an image that shares its memory; who writes to the image gets a copy.
QImage toImage(const cv::Mat& bgra);

}  // namespace kestrova::studio
