#pragma once

#include <atomic>
#include <opencv2/core.hpp>
#include <vector>

namespace kestrova::photo {

/// CV_8UC4 (B, G, R, A) as WebP without a profile, lossless at quality 100. By libwebp, which unlike OpenImageIO can be
/// stopped in the middle. Throws `Error` of kind memory or cancelled.
std::vector<unsigned char> encodeWebp(const cv::Mat& pixels, bool alpha, int quality, int threads,
                                      const std::atomic<bool>* cancel);

}  // namespace kestrova::photo
