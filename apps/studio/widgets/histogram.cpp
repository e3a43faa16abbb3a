#include "studio/widgets/histogram.h"

namespace kestrova::studio {

Histogram Histogram::of(const cv::Mat& bgra, unsigned brightEnd) {
    CV_Assert(bgra.empty() || bgra.type() == CV_8UC4);
    // Neighbours often have the same values: two sets of counters in turn do not wait for each other.
    std::array<std::array<Counts, 4>, 2> sets{};
    Histogram histogram;
    for (int r = 0; r < bgra.rows; ++r) {
        const uchar* p = bgra.ptr<uchar>(r);
        for (int x = 0; x < bgra.cols; ++x, p += 4) {
            const unsigned blue = p[0], green = p[1], red = p[2];
            auto& counts = sets[static_cast<std::size_t>(x & 1)];
            ++counts[0][red];
            ++counts[1][green];
            ++counts[2][blue];
            ++counts[3][(299 * red + 587 * green + 114 * blue + 500) / 1000];
            histogram.dark += (blue == 0) | (green == 0) | (red == 0);
            histogram.bright += (blue >= brightEnd) | (green >= brightEnd) | (red >= brightEnd);
        }
    }
    for (const auto& counts : sets)
        for (std::size_t v = 0; v < 256; ++v) {
            histogram.red[v] += counts[0][v];
            histogram.green[v] += counts[1][v];
            histogram.blue[v] += counts[2][v];
            histogram.luminance[v] += counts[3][v];
        }
    histogram.pixels = bgra.total();
    return histogram;
}

Histogram Histogram::of(const QImage& image, unsigned brightEnd) {
    const QImage argb = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
                            ? image
                            : image.convertToFormat(QImage::Format_ARGB32);
    return of(cv::Mat(argb.height(), argb.width(), CV_8UC4, const_cast<uchar*>(argb.constBits()),
                      static_cast<std::size_t>(argb.bytesPerLine())),
              brightEnd);
}

}  // namespace kestrova::studio
