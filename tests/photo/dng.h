#pragma once

#include <string>

namespace kestrova::photo {

/// Writes a DNG of a Bayer sensor of 128 x 96 pixels that saw grey of two levels, left and right.
void makeDng(const std::string& path, int orientation);

}  // namespace kestrova::photo
