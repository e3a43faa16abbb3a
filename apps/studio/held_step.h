#pragma once

#include "studio/frame.h"

namespace kestrova::studio {

/// How coarse frames have to be to follow a slider: estimated for a new view, then learned from the time they take.
class HeldStep {
public:
    static constexpr int kCoarsest = 4;  ///< times the finest step

    /// `pixels` of the photograph are in the view, `finest` of them at most to a pixel of the screen.
    int stepFor(const ViewState& view, int finest, double pixels);
    /// Takes note of the time that a frame took. The first one of a step, for which the photograph is read, does not
    /// count.
    void learn(double milliseconds, double pixels);
    /// Uses what has been learned: another step has the photograph read again, for which a slider should be at rest.
    void adapt();

private:
    ViewState m_view;  ///< what `m_step` is for
    int m_step = 0, m_finest = 1;
    bool m_isRead = false;
    int m_late = 0, m_early = 0;  ///< frames in a row
    double m_nanosecondsPerPixel = 15;
};

}  // namespace kestrova::studio
