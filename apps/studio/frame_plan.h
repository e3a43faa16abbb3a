#pragma once

#include "studio/frame.h"

namespace kestrova::studio {

/// What of a development of some size a request asks for: the development of a preview has fewer pixels than the whole
/// that the request speaks of.
class FramePlan {
public:
    FramePlan(const Request& request, const cv::Size& size);

    /// The step at which no pixel of the screen lacks one of the rendering.
    int finestStep() const;
    double pixels() const { return m_wanted.width() * m_wanted.height(); }
    /// The rectangle to render, made of whole steps.
    cv::Rect viewAt(int step) const;
    /// What a rendering of `view` shows, in pixels of the whole of the request.
    QRectF areaOf(const cv::Rect& view, int step, const cv::Size& rendered) const;

private:
    cv::Size m_size;
    double m_fx, m_fy;  ///< pixels of the development to one of the request
    double m_zoom;
    QRectF m_wanted;
};

}  // namespace kestrova::studio
