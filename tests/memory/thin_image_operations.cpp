#include <memory>
#include <optional>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

constexpr int kWidth = 22, kHeight = 18;
const TSize kSize(kWidth, kHeight);

struct Image : TImage {
    using TImage::TImage;
    Image(const TImage& other) : TImage(other) {}
    /// Everything that an image shows, and the rows of its planes.
    void seen(Seen& seen) const {
        seen.value(m_type).value(m_size.width).value(m_size.height).value(m_step).value(m_pstep);
        const int planes = m_type == IM_C8U ? 2 : 1;
        for (int p = 0; p < planes; ++p) {
            seen.value(m_data[p] != nullptr);
            for (int r = 0; m_data[p] && r < m_size.height; ++r)
                seen.bytes(m_data[p] + static_cast<std::ptrdiff_t>(m_step) * r,
                           static_cast<std::size_t>(m_pstep) * static_cast<std::size_t>(m_size.width));
        }
    }
};

using Pointer = std::shared_ptr<Image>;

Pointer filled(TImage::IMTYPE type, const TSize& size, std::uint32_t seed = 1) {
    const auto image = std::make_shared<Image>(type, size);
    const int planes = type == TImage::IM_C8U ? 2 : 1;
    for (int p = 0; p < planes; ++p) {
        cv::Mat plane = image->toMat(p);
        if (!plane.empty()) randomPlane(plane.rows, plane.cols, plane.type(), seed + p).copyTo(plane);
    }
    return image;
}

const TSize kHalf = TImage::dec2Size(kSize);
const TSize kSmall(5, 4);

Pointer planeY(const TSize& size = kSize) { return filled(TImage::IM_Y16U, size, 2); }
Pointer planesC(const TSize& size = kHalf) { return filled(TImage::IM_C8U, size, 3); }
Pointer planeM(const TSize& size = kHalf) { return filled(TImage::IM_M8U, size, 5); }
Pointer rgba8(const TSize& size = kSize) { return filled(TImage::IM_RGBA8U, size, 6); }
Pointer rgba16(const TSize& size = kSize) { return filled(TImage::IM_RGBA16U, size, 7); }

template <class... Images>
Seen seenOf(const Images&... images) {
    Seen seen;
    (images->seen(seen), ...);
    return seen;
}

Seen seenOf(const std::optional<Image>& image) {
    Seen seen;
    if (image) image->seen(seen);
    return seen;
}

Operation resized(const std::string& name, const TSize& before) {
    // The size is the new one without memory, and the planes are null, until a call finds memory again.
    return {name,
            [=] {
                const Pointer image = planeY(before);
                const cv::Mat pixels = randomPlane(kHeight, kWidth, CV_16UC1);
                return Attempt{[=] {
                                   image->resize(kSize);
                                   image->fromMat(pixels, 0);
                               },
                               [=] { return seenOf(image); }};
            },
            Promise::kOutputsMayChange};
}

}  // namespace

std::vector<Operation> thinImageOperations() {
    std::vector<Operation> operations;
    operations.push_back(resized("TImage_resize_New", TSize()));
    operations.push_back(resized("TImage_resize_Larger", kSmall));
    for (const auto& [where, size] :
         {std::pair("New", TSize()), std::pair("Larger", kSmall), std::pair("Fitting", kSize)}) {
        const TSize big = size, small = TImage::dec2Size(size);
        const std::string after = std::string("_") + where;
        operations.push_back({"TImage_copyFrom_C" + after,
                              [=] {
                                  const Pointer image = planesC(small), from = planesC();
                                  return Attempt{[=] { image->copyFrom(*from); }, [=] { return seenOf(image); }};
                              },
                              Promise::kOutputsMayChange});
        operations.push_back(
            {"TImage_rgba8uToYCM" + after, [=] {
                 const Pointer in = rgba8(), y = planeY(big), c = planesC(small), m = planeM(small);
                 return Attempt{[=] { TImage::rgba8uToYCM(*in, *y, *c, *m); }, [=] { return seenOf(y, c, m); }};
             }});
        operations.push_back(
            {"TImage_rgba16uToYCM" + after, [=] {
                 const Pointer in = rgba16(), y = planeY(big), c = planesC(small), m = planeM(small);
                 return Attempt{[=] { TImage::rgba16uToYCM(*in, *y, *c, *m); }, [=] { return seenOf(y, c, m); }};
             }});
        operations.push_back(
            {"TImage_bgra8uToTImage" + after, [=] {
                 const Pointer y = planeY(big), c = planesC(small), m = planeM(small);
                 const cv::Mat in = randomPlane(kHeight, kWidth, CV_8UC4);
                 return Attempt{
                     [=] { TImage::bgra8uToTImage(in.data, static_cast<int>(in.step), kWidth, kHeight, *y, *c, *m); },
                     [=] { return seenOf(y, c, m); }};
             }});
        operations.push_back({"TImage_rgba8uTo16u" + after, [=] {
                                  const Pointer in = rgba8(), out = rgba16(big);
                                  return Attempt{[=] { TImage::rgba8uTo16u(*in, *out); }, [=] { return seenOf(out); }};
                              }});
        operations.push_back({"TImage_rgba16uTo8u" + after, [=] {
                                  const Pointer in = rgba16(), out = rgba8(big);
                                  return Attempt{[=] { TImage::rgba16uTo8u(*in, *out); }, [=] { return seenOf(out); }};
                              }});
        operations.push_back(
            {"TImage_YCMToRgba8u" + after, [=] {
                 const Pointer y = planeY(), c = planesC(), m = planeM(), out = rgba8(big);
                 return Attempt{[=] { TImage::YCMToRgba8u(*y, *c, *m, *out); }, [=] { return seenOf(out); }};
             }});
    }
    operations.push_back(
        {"TImage_YCMToRgba16u", [] {
             const Pointer y = planeY(), c = planesC(), m = planeM(), out = rgba16();
             return Attempt{[=] { TImage::YCMToRgba16u(*y, *c, *m, *out); }, [=] { return seenOf(out); }};
         }});
    operations.push_back({"TImage_timageToBgra8u", [] {
                              const Pointer y = planeY(), c = planesC(), m = planeM();
                              const cv::Mat out = randomPlane(kHeight, kWidth, CV_8UC4);
                              return Attempt{
                                  [=] { TImage::timageToBgra8u(*y, *c, *m, out.data, static_cast<int>(out.step)); },
                                  [=] { return Seen().plane(out); }};
                          }});
    operations.push_back(
        {"TImage_updateCfromYChange", [] {
             const Pointer y0 = planeY(), y1 = filled(TImage::IM_Y16U, kSize, 9), c = planesC();
             const Pointer out = filled(TImage::IM_C8U, kHalf, 10);
             return Attempt{[=] { TImage::updateCfromYChange(*y0, *c, *y1, *out, 0.1f); }, [=] { return seenOf(out); }};
         }});
    operations.push_back({"TImage_halfY8U", [] {
                              const Pointer y = planeY();
                              const auto out = std::make_shared<cv::Mat>();
                              return Attempt{[=] { *out = y->halfY8U(); }, [=] { return Seen().plane(*out); }};
                          }});
    // Without memory the constructors leave null planes; the first use of the pixels is the failure.
    operations.push_back({"TImage_TImage",
                          [] {
                              const auto image = std::make_shared<std::optional<Image>>();
                              const cv::Mat pixels = randomPlane(kHeight, kWidth, CV_16UC1);
                              return Attempt{[=] {
                                                 image->emplace(TImage::IM_Y16U, kSize);
                                                 (*image)->fromMat(pixels, 0);
                                             },
                                             [=] { return seenOf(*image); }};
                          },
                          Promise::kOutputsMayChange});
    operations.push_back({"TImage_TImage_Copy",
                          [] {
                              const Pointer from = planeY();
                              const auto image = std::make_shared<std::optional<Image>>();
                              const cv::Mat pixels = randomPlane(kHeight, kWidth, CV_16UC1, 4);
                              return Attempt{[=] {
                                                 image->emplace(*from);
                                                 (*image)->fromMat(pixels, 0);
                                             },
                                             [=] { return seenOf(*image); }};
                          },
                          Promise::kOutputsMayChange});
    document(Thrown::kTextOrZero, {"TImage_YCMToRgba", "TImage_timageToBgra8u"}, operations);
    return operations;
}
