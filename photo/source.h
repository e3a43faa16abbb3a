#pragma once

#include "photo/photograph.h"

namespace kestrova::photo {

/// The photograph as the stages of a development read it: in the working space.
class Source {
public:
    /// Throws `Error` of kind input for a photograph without pixels or of another kind.
    explicit Source(Photograph photograph);

    const Photograph& photograph() const { return m_photograph; }
    cv::Size size() const { return m_photograph.pixels.size(); }
    cv::Rect bounds() const { return {cv::Point(), size()}; }

    /// The pixels of a rectangle in the working space: CV_16UC4. They are shared with the photograph if it is in that
    /// space.
    cv::Mat working(const cv::Rect& rectangle) const;
    /// Luminance of a rectangle: CV_16UC1.
    void luminance(const cv::Rect& rectangle, cv::Mat& out) const;

private:
    Photograph m_photograph;
    std::shared_ptr<const ColourTransform> m_toWorking;  ///< null if nothing is to be converted
};

/// A row of packed pixels apart: luminance 0.299 R + 0.587 G + 0.114 B, rounded, and the differences of red and blue to
/// it, halved, zero at 32768.
void luminanceRow(const ushort* bgra, ushort* y, int n) noexcept;
void chromaRow(const ushort* bgra, const ushort* y, ushort* dr, ushort* db, int n) noexcept;

}  // namespace kestrova::photo
