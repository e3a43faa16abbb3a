#include "photo/source.h"

#include "photo/error.h"
#include "photo/kernel.h"
#include "photo/zero.h"

namespace kestrova::photo {

KESTROVA_PHOTO_KERNEL void luminanceRow(const ushort* bgra, ushort* y, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const auto b = static_cast<float>(bgra[4 * x]), g = static_cast<float>(bgra[4 * x + 1]);
        const auto r = static_cast<float>(bgra[4 * x + 2]);
        y[x] = rounded16(r * 0.299f + g * 0.587f + b * 0.114f);
    }
}

KESTROVA_PHOTO_KERNEL void chromaRow(const ushort* bgra, const ushort* y, ushort* dr, ushort* db, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        dr[x] = static_cast<ushort>((bgra[4 * x + 2] - y[x]) / 2 + kZero);
        db[x] = static_cast<ushort>((bgra[4 * x] - y[x]) / 2 + kZero);
    }
}

Source::Source(Photograph photograph) : m_photograph(std::move(photograph)) {
    if (m_photograph.pixels.empty() || m_photograph.pixels.type() != CV_16UC4)
        throw Error(Error::Kind::input, "the photograph has no pixels");
    if (m_photograph.profile != Profile::working())
        m_toWorking = std::make_shared<const ColourTransform>(m_photograph.profile, Profile::working());
}

cv::Mat Source::working(const cv::Rect& rectangle) const {
    const cv::Mat pixels = m_photograph.pixels(rectangle);
    if (!m_toWorking) return pixels;
    cv::Mat converted(rectangle.size(), CV_16UC4);
    m_toWorking->apply(pixels, converted, 1);
    return converted;
}

void Source::luminance(const cv::Rect& rectangle, cv::Mat& out) const {
    const cv::Mat pixels = working(rectangle);
    for (int y = 0; y < pixels.rows; ++y) luminanceRow(pixels.ptr<ushort>(y), out.ptr<ushort>(y), pixels.cols);
}

}  // namespace kestrova::photo
