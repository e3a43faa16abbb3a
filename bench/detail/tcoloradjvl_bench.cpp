#include "kestrova/detail/tcoloradjvl.h"

#include <cmath>
#include <memory>
#include <string>

#include "bench/support/bench.h"
#include "kestrova/frame/parallel.h"

#ifdef KESTROVA_HAVE_OPENCOLORIO
#include <OpenColorIO/OpenColorIO.h>
#endif

namespace {

// Slow waves with a little noise: neighbouring pixels have neighbouring colours, as in a photograph.
cv::Mat waves(const BenchSize& size, double middle, double height, double period) {
    cv::Mat plane(size.rows, size.cols, CV_16UC1);
    unsigned noise = 1;
    for (int y = 0; y < size.rows; ++y) {
        const double phase = std::cos(y / period);
        for (int x = 0; x < size.cols; ++x) {
            noise = noise * 1664525u + 1013904223u;
            plane.at<ushort>(y, x) =
                static_cast<ushort>(middle + height * phase * std::sin(x / period) + static_cast<double>(noise >> 22));
        }
    }
    return plane;
}

struct Picture {
    cv::Mat y0, y1, dr, db, drOut, dbOut;
    explicit Picture(const BenchSize& size)
        : y0(waves(size, 20000, 15000, 100)),
          y1(waves(size, 22000, 16000, 100)),
          dr(waves(size, 32768, 8000, 150)),
          db(waves(size, 32768, 6000, 170)) {}
};

void procRow(const std::string& name, const BenchSize& size, bool rebuild) {
    const std::size_t bytes =
        std::size_t{12} * static_cast<std::size_t>(size.cols) * static_cast<std::size_t>(size.rows);
    benchRow(name + "/" + size.name, bytes, [=] {
        auto picture = std::make_shared<Picture>(size);
        auto adjust = std::make_shared<TColorAdjVL>();
        adjust->m_temperature = 0.3f;
        adjust->m_tint = -0.2f;
        adjust->m_saturation = 0.2f;
        adjust->m_vibrance = 0.4f;
        adjust->m_bChanged = true;
        return [=] {
            if (rebuild) adjust->m_bChanged = true;
            adjust->proc(picture->y0, picture->y1, picture->dr, picture->db, picture->drOut, picture->dbOut);
        };
    });
}

#ifdef KESTROVA_HAVE_OPENCOLORIO
namespace ocio = OCIO_NAMESPACE;

/// A table of 33 nodes an axis from 16-bit red, green and blue to the same, with a curve on each.
ocio::ConstCPUProcessorRcPtr tableProcessor(ocio::Interpolation interpolation) {
    constexpr int kNodes = 33;
    const auto curve = [](unsigned long node) { return std::pow(static_cast<float>(node) / (kNodes - 1), 0.9f); };
    const ocio::Lut3DTransformRcPtr table = ocio::Lut3DTransform::Create(kNodes);
    table->setInterpolation(interpolation);
    for (unsigned long r = 0; r < kNodes; ++r)
        for (unsigned long g = 0; g < kNodes; ++g)
            for (unsigned long b = 0; b < kNodes; ++b) table->setValue(r, g, b, curve(r), curve(g), curve(b));
    return ocio::Config::CreateRaw()->getProcessor(table)->getOptimizedCPUProcessor(
        ocio::BIT_DEPTH_UINT16, ocio::BIT_DEPTH_UINT16, ocio::OPTIMIZATION_DEFAULT);
}

/// OpenColorIO runs in the calling thread; here each thread takes rows, as a host would have it.
void tableRow(const std::string& name, const BenchSize& size, ocio::Interpolation interpolation) {
    const std::size_t pixels = static_cast<std::size_t>(size.cols) * static_cast<std::size_t>(size.rows);
    benchRow(name + "/" + size.name, 12 * pixels, [=] {
        const Picture planes(size);
        cv::Mat rgb;
        cv::merge(std::vector<cv::Mat>{planes.y0, planes.dr, planes.db}, rgb);
        return [=, processor = tableProcessor(interpolation), out = cv::Mat(rgb.size(), rgb.type())]() mutable {
            kestrova::frame::parallelRows(rgb.rows, rgb.cols, [&](int y) noexcept {
                const auto row = [&](cv::Mat& plane) {
                    return ocio::PackedImageDesc(plane.ptr(y), plane.cols, 1, ocio::CHANNEL_ORDERING_RGB,
                                                 ocio::BIT_DEPTH_UINT16, 2, 6, static_cast<ptrdiff_t>(plane.step));
                };
                ocio::PackedImageDesc from = row(rgb), to = row(out);
                processor->apply(from, to);
            });
        };
    });
}
#endif

KESTROVA_BENCH(tcoloradjvl) {
    for (const BenchSize& size : kBenchSizes) {
        procRow("TColorAdjVL::proc", size, false);
        procRow("TColorAdjVL::proc of changed parameters", size, true);
#ifdef KESTROVA_HAVE_OPENCOLORIO
        tableRow("OpenColorIO Lut3D trilinear", size, ocio::INTERP_LINEAR);
        tableRow("OpenColorIO Lut3D tetrahedral", size, ocio::INTERP_TETRAHEDRAL);
#endif
    }
    // The table alone: one pixel; the bytes are those of the two tables.
    procRow("TColorAdjVL::proc of changed parameters", {"1x1", 1, 1}, true);
}

}  // namespace
