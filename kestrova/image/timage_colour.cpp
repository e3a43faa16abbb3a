#include "kestrova/frame/failure.h"
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

float luminance(float r, float g, float b) { return r * kRed + g * kGreen + b * kBlue; }

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
