#pragma once

#include <kestrova/kestrova.h>

#include "photo/settings.h"

namespace kestrova::photo {

/// The core's colour adjustment with a table made for eyes. Its nodes are filled by the core's own tables, of which
/// only the difference to neutral counts, so that a slider at 0.01 differs from one at 0 by as little:
///
/// - temperature T: the core's, faded out towards black and white, so that both stay.
/// - tint: the core's way to green (its scale halved), faded out likewise; towards magenta the same way back.
/// - saturation S: the core's gain of up to 4.
/// - vibrance V: the core's gain of saturation 0.6 V, in full where chroma is a fifth of the largest, fading out to
///   greys, which stay, and to vivid colours. Below 0 muted colours are taken back by up to 0.9.
///
/// The core's own vibrance lifts every chroma below a threshold to it, greys above all.
class ColourTable : public TColorAdjVL {
public:
    /// Neutral.
    ColourTable();

    /// Makes the table for `colour`; nothing is done if it is that already.
    void set(const Colour& colour);
    bool isOf(const Colour& colour) const;

private:
    Colour m_colour;
};

}  // namespace kestrova::photo
