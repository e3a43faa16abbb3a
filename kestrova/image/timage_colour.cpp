#include "kestrova/frame/failure.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/image/timage.h"
#include "kestrova/image/timage_planes.h"
#include "kestrova/image/ydrdb.h"
#include "kestrova/primitives/convert.h"

// Single colours, and the change of depth.

using namespace ydrdb;

namespace {

constexpr float kPer255 = 0x1.010102p-8f;
constexpr float kPer65535 = 0x1.0001p-16f;
constexpr float kDifferenceScale = 0x1.00ccccp+7f;  // 128.4
constexpr double kByteScale = 255.4;
constexpr double kWordScale = 65535.4;

float luminance(float r, float g, float b) { return r * kRed + g * kGreen + b * kBlue; }

uchar toDifference(float colour, float luminance) { return sat8((colour - luminance) * kDifferenceScale + 128.0f); }

float fromDifference(uchar difference, float luminance) {
    return (static_cast<float>(difference) - 128.0f) * 0x1p-7f + luminance;
}

void toRGB(float yf, uchar u, uchar v, float& r, float& g, float& b) {
    r = fromDifference(u, yf);
    b = fromDifference(v, yf);
    g = (yf - r * kRed - b * kBlue) * kGreenBackFloatExact;
}

}  // namespace

void TImage::RGB2YUV(float r, float g, float b, unsigned char& y, unsigned char& u, unsigned char& v) {
    const float yf = luminance(r, g, b);
    u = toDifference(r, yf);
    v = toDifference(b, yf);
    y = sat8(static_cast<double>(yf) * kByteScale);
}

void TImage::RGB2YUV(float r, float g, float b, unsigned short& y, unsigned char& u, unsigned char& v) {
    const float yf = luminance(r, g, b);
    u = toDifference(r, yf);
    v = toDifference(b, yf);
    y = sat16(static_cast<double>(yf) * kWordScale);
}

void TImage::YUV2RGB(unsigned char y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    toRGB(static_cast<float>(y) * kPer255, u, v, r, g, b);
}

void TImage::YUV2RGB(unsigned short y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    toRGB(static_cast<float>(y) * kPer65535, u, v, r, g, b);
}

void TImage::rgba8uTo16u(const TImage& in, TImage& out) {
    const TSize size = in.m_size;
    if (!size.isEmpty() && (in.m_type != IM_RGBA8U || out.m_type != IM_RGBA16U))
        fail("ERROR - TImage::rgba8uTo16u - in.type()!=IM_RGBA8U || out.type()!=IM_RGBA16U");
    out.resize(size);
    if (size.isEmpty()) return;
    if (out.m_size != size) fail("ERROR - TImage::rgba8uTo16u - out.size()!=in.size()");
    const auto src = planeOf<uchar>(in);
    const auto dst = planeOf<ushort>(out);
    ippiScale_8u16u_C4R(src.elements, src.step, dst.elements, dst.step, {size.width, size.height});
}

void TImage::rgba16uTo8u(const TImage& in, TImage& out) {
    const TSize size = in.m_size;
    if (!size.isEmpty() && (in.m_type != IM_RGBA16U || out.m_type != IM_RGBA8U))
        fail("ERROR - TImage::rgba16uTo8u - in.type()!=IM_RGBA16U || out.type()!=IM_RGBA8U");
    out.resize(size);
    if (size.isEmpty()) return;
    if (out.m_size != size) fail("ERROR - TImage::rgba16uTo8u - out.size()!=in.size()");
    const auto src = planeOf<ushort>(in);
    const auto dst = planeOf<uchar>(out);
    ippiScale_16u8u_C4R(src.elements, src.step, dst.elements, dst.step, {size.width, size.height}, ippAlgHintFast);
}

void RGBtoYCM(cv::Mat&, cv::Mat&, cv::Mat&) {}
void YCMtoRGB(cv::Mat&, cv::Mat&, cv::Mat&) {}
