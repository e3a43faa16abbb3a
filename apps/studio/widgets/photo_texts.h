#pragma once

#include <QString>
#include <string>
#include <vector>

namespace kestrova::studio {

/// The texts of the photo layer that the window shows, in English: what the tools collect for translation.
const std::vector<const char*>& sliderTexts();
const std::vector<const char*>& presetTexts();

constexpr const char* kNoPreset = "none";
/// The translated title of a preset, or of `kNoPreset`: "Black and white" for "black-and-white".
QString presetTitle(const std::string& name);

}  // namespace kestrova::studio
