#pragma once

#include <memory>
#include <opencv2/core.hpp>

#include "photo/export.h"
#include "photo/profile.h"

namespace kestrova::photo {

class Metadata;

/// A photograph in memory: upright pixels and what the file carried besides.
struct KESTROVA_PHOTO_EXPORT Photograph {
    cv::Mat pixels;         ///< CV_16UC4: B, G, R, A, not premultiplied, orientation applied; 8-bit values v are 257 v
    bool hasAlpha = false;  ///< whether A is the file's; otherwise it is 65535 throughout
    int sourceBits = 8;     ///< bits a channel of the file: 8, 16, or 32 for float
    bool grey = false;      ///< whether the file had one colour channel
    Profile profile;        ///< of the pixels
    std::shared_ptr<const Metadata> metadata;  ///< EXIF, IPTC, XMP; null if the file had none
};

}  // namespace kestrova::photo
