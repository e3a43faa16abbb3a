#pragma once

#include <atomic>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace kestrova::photo {

/// What libjpeg needs to know of a picture.
struct JpegRequest {
    cv::Size size;
    int channels = 3;  ///< 1 grey, 3 RGB
    int quality = 92;
    bool fullChroma = true;          ///< 4:4:4, otherwise 4:2:0
    std::vector<unsigned char> icc;  ///< none if empty
    float dotsX = 0, dotsY = 0;      ///< resolution; none if 0
    bool dotsPerCentimetre = false;
    int threads = 1;
    const std::atomic<bool>* cancel = nullptr;
};

/// Fills `rows` rows of packed bytes from row `top` on; called from several threads at once, for different rows.
using JpegRows = std::function<void(int top, int rows, unsigned char* out)>;

/// The picture as a JPEG file. Strips of it are encoded side by side; restart markers between them make one scan, the
/// same bytes with any number of threads. Throws `Error` of kind cancelled or memory.
std::vector<unsigned char> encodeJpeg(const JpegRequest& request, const JpegRows& rows);

}  // namespace kestrova::photo
