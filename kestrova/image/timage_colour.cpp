#include "kestrova/frame/failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/image/ycm.h"
#include "kestrova/image/ydrdb.h"
#include "kestrova/primitives/convert.h"

using namespace kestrova::frame;
using namespace kestrova::image;
using namespace kestrova::image::ydrdb;
using namespace kestrova::rows;

// Single colours, and the change of depth.

namespace {

constexpr double kByteScale = 255.4;
constexpr double kWordScale = 65535.4;

// Hands four channels to a primitive, whose rows go from top to bottom: those of a bottom-up view one at a time, and a
// single row, whose step may be any.
template <class From, class To, class Convert>
void convertDepth(Plane<const From> src, Plane<To> dst, const TSize& size, const Convert& convert) {
    if (size.height > 1 && src.step > 0 && dst.step > 0) return convert(src, dst, {size.width, size.height});
    const int elements = 4 * size.width;
    parallelRows(size.height, elements, [&](int r) noexcept {
        convert(Plane<const From>{src.row(r), elements * static_cast<int>(sizeof(From))},
                Plane<To>{dst.row(r), elements * static_cast<int>(sizeof(To))}, {size.width, 1});
    });
}

}  // namespace

void TImage::RGB2YUV(float r, float g, float b, unsigned char& y, unsigned char& u, unsigned char& v) {
    const float yf = luminance(r, g, b);
    u = ycm::toDifference(r, yf);
    v = ycm::toDifference(b, yf);
    y = sat8(static_cast<double>(yf) * kByteScale);
}

void TImage::RGB2YUV(float r, float g, float b, unsigned short& y, unsigned char& u, unsigned char& v) {
    const float yf = luminance(r, g, b);
    u = ycm::toDifference(r, yf);
    v = ycm::toDifference(b, yf);
    y = sat16(static_cast<double>(yf) * kWordScale);
}

void TImage::YUV2RGB(unsigned char y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    ycm::toRGB(static_cast<float>(y) * kPer255, u, v, r, g, b);
}

void TImage::YUV2RGB(unsigned short y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    ycm::toRGB(static_cast<float>(y) * kPer65535, u, v, r, g, b);
}

void TImage::rgba8uTo16u(const TImage& in, TImage& out) {
    const TSize size = in.m_size;
    if (!size.isEmpty() && (in.m_type != IM_RGBA8U || out.m_type != IM_RGBA16U))
        fail("ERROR - TImage::rgba8uTo16u - in.type()!=IM_RGBA8U || out.type()!=IM_RGBA16U");
    if (size.isEmpty()) return out.resize(size);
    const auto src = planeOf<uchar>(in);
    OutputImage output(out, size, "ERROR - TImage::rgba8uTo16u - not enough memory");
    if (!output.largeEnough()) fail("ERROR - TImage::rgba8uTo16u - out is smaller than in");
    const auto dst = output.plane<ushort>();
    convertDepth(src, dst, size, [](auto from, auto to, IppiSize region) noexcept {
        ippiScale_8u16u_C4R(from.elements, from.step, to.elements, to.step, region);
    });
    output.resized();
}

void TImage::rgba16uTo8u(const TImage& in, TImage& out) {
    const TSize size = in.m_size;
    if (!size.isEmpty() && (in.m_type != IM_RGBA16U || out.m_type != IM_RGBA8U))
        fail("ERROR - TImage::rgba16uTo8u - in.type()!=IM_RGBA16U || out.type()!=IM_RGBA8U");
    if (size.isEmpty()) return out.resize(size);
    const auto src = planeOf<ushort>(in);
    OutputImage output(out, size, "ERROR - TImage::rgba16uTo8u - not enough memory");
    if (!output.largeEnough()) fail("ERROR - TImage::rgba16uTo8u - out is smaller than in");
    const auto dst = output.plane<uchar>();
    convertDepth(src, dst, size, [](auto from, auto to, IppiSize region) noexcept {
        ippiScale_16u8u_C4R(from.elements, from.step, to.elements, to.step, region, ippAlgHintFast);
    });
    output.resized();
}

void RGBtoYCM(cv::Mat&, cv::Mat&, cv::Mat&) {}
void YCMtoRGB(cv::Mat&, cv::Mat&, cv::Mat&) {}
