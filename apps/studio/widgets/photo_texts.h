#pragma once

#include <vector>

namespace kestrova::studio {

/// The texts of the photo layer that the window shows, in English: what the tools collect for translation.
const std::vector<const char*>& sliderTexts();
const std::vector<const char*>& presetTexts();

}  // namespace kestrova::studio
