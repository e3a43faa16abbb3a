#pragma once

#include <QImage>
#include <cmath>
#include <functional>

#include "program.h"

/// Runs of kestrova-develop, and measures of the pictures that come out.

inline double luminance(QRgba64 p) { return 0.299 * p.red() + 0.587 * p.green() + 0.114 * p.blue(); }

/// Mean of `value` over the pixels for which `where` holds.
inline double meanOf(
    const QImage& image, const std::function<double(QRgba64)>& value,
    const std::function<bool(QRgba64)>& where = [](QRgba64) { return true; }) {
    const QImage deep = image.convertToFormat(QImage::Format_RGBX64);
    double sum = 0;
    int count = 0;
    for (int y = 0; y < deep.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgba64*>(deep.constScanLine(y));
        for (int x = 0; x < deep.width(); ++x) {
            if (!where(row[x])) continue;
            sum += value(row[x]);
            ++count;
        }
    }
    return sum / count;
}

inline double chroma(QRgba64 p) {
    const double y = luminance(p);
    return std::abs(p.red() - y) + std::abs(p.blue() - y);
}

inline double meanLuminance(const QImage& image) { return meanOf(image, luminance); }
inline double meanChroma(const QImage& image) { return meanOf(image, chroma); }
inline double meanWarmth(const QImage& image) {
    return meanOf(image, [](QRgba64 p) { return double(p.red()) - p.blue(); });
}
inline double meanMagenta(const QImage& image) {
    return meanOf(image, [](QRgba64 p) { return 0.5 * (p.red() + p.blue()) - p.green(); });
}
inline double contrastOf(const QImage& image) {
    const double mean = meanLuminance(image);
    return std::sqrt(meanOf(image, [mean](QRgba64 p) { return std::pow(luminance(p) - mean, 2); }));
}

/// Mean difference of luminance between pixels `distance` apart: how much there is of detail of that size.
inline double detailOf(const QImage& image, int distance) {
    const QImage deep = image.convertToFormat(QImage::Format_RGBX64);
    double sum = 0;
    for (int y = 0; y < deep.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgba64*>(deep.constScanLine(y));
        for (int x = 0; x + distance < deep.width(); ++x)
            sum += std::abs(luminance(row[x + distance]) - luminance(row[x]));
    }
    return sum / (deep.width() - distance) / deep.height();
}

inline QImage patch(int width, int height, QRgb colour) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

class DevelopTest : public ProgramTest {
protected:
    /// Develops the file and returns what came out.
    QImage developed(const QString& in, const QStringList& options, const QString& outName = "out.png") const {
        const QString out = scratch(outName);
        const Outcome run = runProgram(KESTROVA_DEVELOP, QStringList{in, out, "--quiet"} + options);
        EXPECT_EQ(run.code, 0) << run.err.toStdString();
        EXPECT_EQ(run.err, "");
        return QImage(out);
    }
    QImage developed(const QImage& in, const QStringList& options, const QString& outName = "out.png") const {
        return developed(saved(in, "in.png"), options, outName);
    }

    /// A region of the dandelion with deep shadow, bright hair and strong colour.
    static QImage crop() { return QImage(photo("dandelion_768x512.png")).copy(130, 130, 240, 180); }
    static QImage deepCrop() { return QImage(photo("dandelion_768x512_16bit.png")).copy(200, 100, 240, 180); }
};
