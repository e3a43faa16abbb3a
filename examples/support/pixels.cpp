#include "pixels.h"

#include <algorithm>
#include <new>

namespace {

/// As the library does on its way out: divided by 256 and rounded.
uint toByte(ushort value) { return static_cast<uint>(std::min(255, (value + 128) >> 8)); }

}  // namespace

bool isDeep(const QImage& image) { return image.depth() == 64 || image.format() == QImage::Format_Grayscale16; }

TPImage pictureOf(const QImage& image) {
    TPImage picture;
    if (isDeep(image)) {
        // In memory an RGBA64 pixel is R, G, B, A; the library's entry takes B, G, R, A.
        const QImage bgra = image.convertToFormat(QImage::Format_RGBA64).rgbSwapped();
        if (bgra.isNull()) throw std::bad_alloc();
        picture.convertFrom(reinterpret_cast<const ushort*>(bgra.constBits()), bgra.width(), bgra.height(),
                            static_cast<int>(bgra.bytesPerLine() / sizeof(ushort)));
    } else {
        // In memory an ARGB32 pixel is B, G, R, A already, and so is an RGB32 one.
        const bool fits = image.format() == QImage::Format_RGB32;
        const QImage bgra = fits ? image : image.convertToFormat(QImage::Format_ARGB32);
        if (bgra.isNull()) throw std::bad_alloc();
        picture.convertFrom(bgra.constBits(), bgra.width(), bgra.height(), static_cast<int>(bgra.bytesPerLine()));
    }
    return picture;
}

QImage imageOf(const cv::Mat& red, const cv::Mat& green, const cv::Mat& blue, bool deep) {
    QImage image(red.cols, red.rows, deep ? QImage::Format_RGBX64 : QImage::Format_RGB32);
    if (image.isNull()) throw std::bad_alloc();
    for (int y = 0; y < red.rows; ++y) {
        const auto* r = red.ptr<ushort>(y);
        const auto* g = green.ptr<ushort>(y);
        const auto* b = blue.ptr<ushort>(y);
        if (deep) {
            auto* out = reinterpret_cast<QRgba64*>(image.scanLine(y));
            for (int x = 0; x < red.cols; ++x) out[x] = qRgba64(r[x], g[x], b[x], 65535);
        } else {
            auto* out = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < red.cols; ++x)
                out[x] = 0xff000000u | toByte(r[x]) << 16 | toByte(g[x]) << 8 | toByte(b[x]);
        }
    }
    return image;
}
