#pragma once

#include <QImage>
#include <array>
#include <cstdint>
#include <opencv2/core.hpp>

namespace kestrova::studio {

/// How many pixels of a picture have each value.
struct Histogram {
    using Counts = std::array<std::uint32_t, 256>;

    Counts red{}, green{}, blue{};
    Counts luminance{};  ///< 0.299 R + 0.587 G + 0.114 B, rounded
    std::uint64_t pixels = 0;
    std::uint64_t dark = 0;    ///< pixels with a channel at 0
    std::uint64_t bright = 0;  ///< pixels with a channel at `brightEnd` or above

    /// Of CV_8UC4: B, G, R, A. Alpha is ignored.
    static Histogram of(const cv::Mat& bgra, unsigned brightEnd = 255);
    /// Of any image with 8 bits a channel or fewer.
    static Histogram of(const QImage& image, unsigned brightEnd = 255);
};

}  // namespace kestrova::studio
