#include "studio/held_step.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kestrova::studio {

namespace {

constexpr double kLate = 40, kEarly = 3;  // milliseconds
constexpr int kLasts = 3;                 // frames until something is done about it

bool sameView(const ViewState& a, const ViewState& b) { return a.area == b.area && a.zoom == b.zoom; }

}  // namespace

int HeldStep::stepFor(const ViewState& view, int finest, double pixels) {
    constexpr double kNanoseconds = 18e6;  // that a frame may take
    if (m_step > 0 && m_finest == finest && sameView(m_view, view)) return m_step;
    m_view = view;
    m_finest = finest;
    m_late = m_early = m_lateFine = 0;
    m_isRead = false;
    const double times = std::sqrt(m_nanosecondsPerPixel * pixels / kNanoseconds);
    m_step = std::clamp(static_cast<int>(std::ceil(times)), finest, kCoarsest * finest);
    return m_step;
}

int HeldStep::stepNow(const ViewState& view, int finest, double pixels) {
    const int step = stepFor(view, finest, pixels);
    return !m_isRead && sameView(m_fineView, view) && m_lateFine < kLasts ? finest : step;
}

void HeldStep::fineIsThere(const ViewState& view) { m_fineView = view; }

void HeldStep::learn(int step, double milliseconds, double pixels) {
    constexpr double kWeight = 0.2;  // of a frame: one may have been disturbed
    if (step != m_step) {
        m_lateFine = milliseconds > kLate ? m_lateFine + 1 : 0;
        return;
    }
    if (!std::exchange(m_isRead, true)) return;
    m_nanosecondsPerPixel += kWeight * (1e6 * milliseconds / pixels - m_nanosecondsPerPixel);
    m_late = milliseconds > kLate ? m_late + 1 : 0;
    m_early = milliseconds < kEarly ? m_early + 1 : 0;
}

void HeldStep::adapt() {
    const int before = m_step;
    if (m_late >= kLasts)
        m_step = std::min(m_step + 1, kCoarsest * m_finest);
    else if (m_early >= kLasts)
        m_step = std::max(m_step - 1, m_finest);
    if (m_step != before) m_isRead = false;
    m_late = m_early = 0;
}

}  // namespace kestrova::studio
