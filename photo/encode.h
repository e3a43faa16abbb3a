#pragma once

#include <string>
#include <vector>

#include "photo/write.h"

namespace kestrova::photo {

/// The photograph as a file of the format, with its profile unless that is WebP, without metadata; what it cannot hold
/// is added to `notes`. `bits` is 8 or 16; `profile` becomes the one that the file is to carry.
std::vector<unsigned char> encode(const Photograph& photograph, FileFormat format, int bits,
                                  const WriteOptions& options, Profile& profile, std::vector<std::string>& notes);

}  // namespace kestrova::photo
