#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "photo/file_format.h"

namespace kestrova::photo {

/// A JPEG that a file carries of its own picture.
struct EmbeddedPreview {
    std::vector<unsigned char> bytes;  ///< empty if there is none
    int longSide = 0;                  ///< in pixels
};

/// Whether a preview of that size may stand for its picture: with bars, cropped or left from before the picture was
/// turned it would show something else.
bool sameShape(cv::Size preview, cv::Size picture);

/// The smallest one in a JPEG or RAW file whose longer side has at least `longEdge` pixels and that has the shape of
/// the picture. Throws `Error` of kind input for damaged metadata.
EmbeddedPreview findEmbeddedPreview(const std::string& path, const FileFacts& facts, int longEdge);

}  // namespace kestrova::photo
