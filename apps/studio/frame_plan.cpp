#include "studio/frame_plan.h"

#include <algorithm>
#include <cmath>

namespace kestrova::studio {

FramePlan::FramePlan(const Request& request, const cv::Size& size)
    : m_size(size),
      m_fx(size.width / request.whole.width()),
      m_fy(size.height / request.whole.height()),
      m_zoom(request.view.zoom / m_fx) {
    const QRectF& area = request.view.area;
    m_wanted = QRectF(area.x() * m_fx, area.y() * m_fy, area.width() * m_fx, area.height() * m_fy);
}

int FramePlan::finestStep() const { return std::max(1, static_cast<int>(1 / m_zoom + 1e-6)); }

cv::Rect FramePlan::viewAt(int step) const {
    const auto side = [step](double from, double to, int limit, int& first, int& length) {
        first = std::clamp(static_cast<int>(std::floor(from)), 0, limit - 1) / step * step;
        const int end = std::clamp(static_cast<int>(std::ceil(to)), first + 1, limit);
        length = std::min((end - first + step - 1) / step * step, limit - first);
    };
    cv::Rect view;
    side(m_wanted.left(), m_wanted.right(), m_size.width, view.x, view.width);
    side(m_wanted.top(), m_wanted.bottom(), m_size.height, view.y, view.height);
    return view;
}

QRectF FramePlan::areaOf(const cv::Rect& view, int step, const cv::Size& rendered) const {
    // The last pixels of a side that is no multiple of the step are not in the rendering: the ones before stand for
    // them.
    const auto endOf = [step](int first, int count, int limit) {
        const int end = first + count * step;
        return limit - end < step ? limit : end;
    };
    const double right = endOf(view.x, rendered.width, m_size.width) / m_fx;
    const double bottom = endOf(view.y, rendered.height, m_size.height) / m_fy;
    return QRectF(QPointF(view.x / m_fx, view.y / m_fy), QPointF(right, bottom));
}

}  // namespace kestrova::studio
