#include "photo/placement.h"

#include "photo/error.h"
#include "photo/geometry.h"

namespace kestrova::photo {

Placement::Placement(cv::Size photograph, const Settings& settings) : m_photograph(photograph) {
    if (photograph.empty()) throw Error(Error::Kind::programming, "a photograph without pixels");
    settings.check();
    m_geometry = std::make_shared<const Geometry>(photograph, settings);
}

cv::Size Placement::size() const { return m_geometry->size(); }

Point Placement::photographOf(cv::Point2d rendering) const {
    const cv::Point2d p = m_geometry->photographPoint(rendering);
    return {p.x / m_photograph.width, p.y / m_photograph.height};
}

cv::Point2d Placement::renderingOf(const Point& point) const {
    return m_geometry->renderingPoint({point.x * m_photograph.width, point.y * m_photograph.height});
}

double Placement::scale() const { return m_geometry->scale(); }

}  // namespace kestrova::photo
