#pragma once

#include <vector>

namespace kestrova::photo {

/// Puts a WebP picture into a container with a profile, EXIF and XMP, each left out if empty. By libwebpmux: Exiv2
/// writes a profile's chunk under a wrong name. Throws `Error` of kind memory.
void wrapWebp(std::vector<unsigned char>& encoded, const std::vector<unsigned char>& icc,
              const std::vector<unsigned char>& exif, const std::vector<unsigned char>& xmp);

}  // namespace kestrova::photo
