#pragma once

#include <opencv2/core.hpp>

#include "photo/settings.h"

namespace kestrova::photo {

/// The way from the photograph to its rendering: turned by quarters, straightened, cropped, resized.
class Geometry {
public:
    Geometry(cv::Size photograph, const Settings& settings);

    /// Of the whole rendering.
    cv::Size size() const { return m_size; }
    /// Whether each pixel of the rendering is one of the photograph.
    bool keepsPixels() const { return m_angle == 0 && m_size == m_crop.size(); }

    /// The pixels of the photograph that a rectangle of the rendering shows. Only if it keeps pixels.
    cv::Rect photographOf(const cv::Rect& rendering) const;
    /// Turns pixels of the photograph by the quarters.
    cv::Mat turned(const cv::Mat& pixels) const;

    /// How a rectangle of the rendering at a step is made where pixels do not stay: `source` of the photograph is
    /// rendered, each pixel the mean of `reduction` x `reduction`, and resampled.
    struct Plan {
        int reduction = 1;
        cv::Point origin;  ///< in the photograph, a multiple of the reduction
        cv::Size size;     ///< of what is rendered, in reduced pixels
    };
    /// `area`: in pixels of the rendering at that step, whose size is `sizeAt(step)`.
    Plan planFor(const cv::Rect& area, int step) const;
    /// The pixels of `area`, from what the plan says: CV_16UC4, or the mask of it, CV_8UC1.
    cv::Mat resampled(const cv::Mat& rendered, const Plan& plan, const cv::Rect& area, int step) const;
    /// How many pixels of the photograph one of the rendering is wide.
    double scale() const { return scaleOf(true, 1, 1); }
    /// A place in the rendering as one in the photograph, and back; both in pixels, whose centres stand at halves.
    cv::Point2d photographPoint(cv::Point2d rendering) const;
    cv::Point2d renderingPoint(cv::Point2d photograph) const;

    cv::Size sizeAt(int step) const { return {std::max(1, m_size.width / step), std::max(1, m_size.height / step)}; }

private:
    cv::Mat straightened(const cv::Mat& rendered, const Plan& plan, const cv::Rect& frame) const;
    cv::Rect straightenedArea(const cv::Rect& area, int step, int reduction) const;
    cv::Point2d toPhotograph(cv::Point2d straightened) const;
    double scaleOf(bool horizontal, int step, int reduction) const;

    cv::Size m_photograph;
    cv::Size m_turned;    ///< of the photograph after the quarters
    cv::Point2d m_frame;  ///< the upper left corner of the straightened frame, from the centre
    cv::Rect m_crop;      ///< in pixels of the straightened frame
    cv::Size m_size;
    int m_quarters = 0;
    double m_angle = 0, m_cos = 1, m_sin = 0;
};

/// Sharpens a reduced picture (CV_16UC4) mildly and without halos: luminance moves a part of the way to the nearer of
/// the extremes around it.
void sharpenForOutput(cv::Mat& pixels);

}  // namespace kestrova::photo
