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
using namespace kestrova::rows;

// Single colours, and the change of depth.

using namespace ydrdb;

namespace {

constexpr double kByteScale = 255.4;
constexpr double kWordScale = 65535.4;

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
    const int bytes = 4 * size.width;
    parallelRows(size.height, bytes, [=, width = size.width](int r) noexcept {
        ippiScale_8u16u_C4R(src.row(r), bytes, dst.row(r), 2 * bytes, {width, 1});
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
    const int bytes = 4 * size.width;
    parallelRows(size.height, bytes, [=, width = size.width](int r) noexcept {
        ippiScale_16u8u_C4R(src.row(r), 2 * bytes, dst.row(r), bytes, {width, 1}, ippAlgHintFast);
    });
    output.resized();
}

void RGBtoYCM(cv::Mat&, cv::Mat&, cv::Mat&) {}
void YCMtoRGB(cv::Mat&, cv::Mat&, cv::Mat&) {}
