#include "studio/widgets/histogram.h"

namespace kestrova::studio {

Histogram Histogram::of(const cv::Mat& bgra) {
    CV_Assert(bgra.empty() || bgra.type() == CV_8UC4);
    Histogram histogram;
    for (int r = 0; r < bgra.rows; ++r) {
        const uchar* p = bgra.ptr<uchar>(r);
        for (int x = 0; x < bgra.cols; ++x, p += 4) {
            const unsigned b = p[0], g = p[1], red = p[2];
            ++histogram.blue[b];
            ++histogram.green[g];
            ++histogram.red[red];
            ++histogram.luminance[(299 * red + 587 * g + 114 * b + 500) / 1000];
            histogram.dark += b == 0 || g == 0 || red == 0;
            histogram.bright += b == 255 || g == 255 || red == 255;
        }
    }
    histogram.pixels = bgra.total();
    return histogram;
}

Histogram Histogram::of(const QImage& image) {
    const QImage argb = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
                            ? image
                            : image.convertToFormat(QImage::Format_ARGB32);
    return of(cv::Mat(argb.height(), argb.width(), CV_8UC4, const_cast<uchar*>(argb.constBits()),
                      static_cast<std::size_t>(argb.bytesPerLine())));
}

}  // namespace kestrova::studio
