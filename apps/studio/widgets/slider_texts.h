#pragma once

#include <QString>

#include "photo/settings.h"

namespace kestrova::studio {

/// What a person reads of a slider, in the language of the program.
QString sliderLabel(const photo::Slider& slider);     ///< "Shadows", which stands under the title of its group
QString sliderRowLabel(const photo::Slider& slider);  ///< likewise, short: "threshold" under the strength that it is of
QString sliderFullName(const photo::Slider& slider);  ///< "Fine detail: Shadows", which stands alone
QString sliderTip(const photo::Slider& slider);
QString sliderGroupTitle(const QString& group);  ///< "Fine detail" for "small"

}  // namespace kestrova::studio
