#pragma once

#include <vector>

#include "photo/settings.h"

namespace kestrova::photo {

/// What the tone curve makes of `count` tones (2 or more) at even distances from black, 0, to white, 1: for a window to
/// draw. These are tones without detail and colour. Throws `Error` of kind programming for fewer.
KESTROVA_PHOTO_EXPORT std::vector<float> toneCurve(const Light& light, int count);

}  // namespace kestrova::photo
