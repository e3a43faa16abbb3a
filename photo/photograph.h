#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

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
    Profile profile;        ///< of the pixels, RGB always
    /// What a file made of this is in and carries: `writePhotograph` converts from `profile`. As read it is `profile`,
    /// but for grey files with a profile (that grey one, of whose curve `profile` is made) and RAW files (Display P3).
    Profile outputProfile;
    std::shared_ptr<const Metadata> metadata;  ///< EXIF, IPTC, XMP; null if the file had none
    std::vector<std::string> notes;  ///< what of the file is not here, such as further pages or values beyond white
};

}  // namespace kestrova::photo
