#pragma once

#include <memory>
#include <opencv2/core.hpp>

#include "photo/settings.h"

namespace kestrova::photo {

class Geometry;

/// Where the pixels of a rendering lie in the photograph: turns a pointer over the rendering into a point of a stroke,
/// and tells the rendering's size before anything is rendered.
class KESTROVA_PHOTO_EXPORT Placement {
public:
    /// Of `settings`, `rotate`, `straighten`, `crop` and `size` count.
    Placement(cv::Size photograph, const Settings& settings);

    /// As `Development::size`.
    cv::Size size() const;
    /// `rendering` and the result of `renderingOf`: pixels of the whole rendering at step 1, whose centres stand at
    /// halves. Points outside lie where the picture would go on.
    Point photographOf(cv::Point2d rendering) const;
    /// Where a point of the photograph stands in the whole rendering, as `photographOf` takes it.
    cv::Point2d renderingOf(const Point& point) const;
    /// How many pixels of the photograph one of the rendering is wide.
    double scale() const;

private:
    cv::Size m_photograph;
    std::shared_ptr<const Geometry> m_geometry;
};

}  // namespace kestrova::photo
