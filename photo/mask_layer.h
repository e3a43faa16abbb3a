#pragma once

#include <memory>

#include "photo/engine.h"
#include "photo/reduced.h"
#include "photo/settings.h"
#include "photo/source.h"

namespace kestrova::photo {

/// The photograph at the size of its masks, as the brush reads it for strokes with a tolerance.
struct MaskPicture {
    cv::Mat Y, dr, db;  ///< CV_8UC1, CV_16UC1, CV_16UC1
    int n = 2;          ///< pixels of the photograph to one of the mask
};

/// Half the size of the photograph, and less for those of more than some 25 megapixels. `steps` gets 1 in all.
std::shared_ptr<const MaskPicture> computeMaskPicture(const Source& source, Steps& steps);

/// Paints a mask: CV_8UC1 at the size of the picture, 255 inside.
cv::Mat paintMask(const MaskPicture& picture, cv::Size photograph, const Mask& mask, Steps& steps);

}  // namespace kestrova::photo
