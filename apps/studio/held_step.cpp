#include "studio/held_step.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kestrova::studio {

int HeldStep::stepFor(const ViewState& view, int finest, double pixels) {
    constexpr double kNanoseconds = 14e6;  // that a frame may take, of the 25 ms until it is painted
    if (m_step > 0 && m_finest == finest && m_view.area == view.area && m_view.zoom == view.zoom) return m_step;
    m_view = view;
    m_finest = finest;
    m_late = m_early = 0;
    m_isRead = false;
    const double times = std::sqrt(m_nanosecondsPerPixel * pixels / kNanoseconds);
    m_step = std::clamp(static_cast<int>(std::ceil(times)), finest, kCoarsest * finest);
    return m_step;
}

void HeldStep::learn(double milliseconds, double pixels) {
    constexpr double kLate = 40, kEarly = 3;  // milliseconds
    constexpr double kWeight = 0.2;           // of a frame: one may have been disturbed
    if (!std::exchange(m_isRead, true)) return;
    m_nanosecondsPerPixel += kWeight * (1e6 * milliseconds / pixels - m_nanosecondsPerPixel);
    m_late = milliseconds > kLate ? m_late + 1 : 0;
    m_early = milliseconds < kEarly ? m_early + 1 : 0;
}

void HeldStep::adapt() {
    constexpr int kLasts = 3;  // frames
    const int before = m_step;
    if (m_late >= kLasts)
        m_step = std::min(m_step + 1, kCoarsest * m_finest);
    else if (m_early >= kLasts)
        m_step = std::max(m_step - 1, m_finest);
    if (m_step != before) m_isRead = false;
    m_late = m_early = 0;
}

}  // namespace kestrova::studio
