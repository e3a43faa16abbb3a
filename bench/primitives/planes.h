#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "bench/support/bench.h"
#include "kestrova/frame/vendor_types.h"

/// A plane with `margin` pixels around the region that is worked on. Words and bytes are random; floats are 1, so that
/// work in place can be repeated.
struct BenchPlane {
    cv::Mat frame, region;
    int step;

    BenchPlane(const BenchSize& size, int type, int margin)
        : frame(size.rows + 2 * margin, size.cols + 2 * margin, type, cv::Scalar::all(1)),
          region(frame(cv::Rect(margin, margin, size.cols, size.rows))),
          step(static_cast<int>(frame.step[0])) {
        if (frame.depth() != CV_32F) cv::randu(frame, 0, frame.depth() == CV_8U ? 256 : 65536);
    }

    template <class Element>
    operator Element*() const {
        return reinterpret_cast<Element*>(region.data);
    }
};
using BenchPlanes = std::vector<BenchPlane>;

/// A row at both sizes of `work(planes, size)` over planes of `types`, which moves `bytesPerPixel`.
template <class Work>
void planesRow(const std::string& name, std::size_t bytesPerPixel, const std::vector<int>& types, const Work& work,
               int margin = 0) {
    for (const BenchSize& size : kBenchSizes) {
        const std::size_t pixels = static_cast<std::size_t>(size.rows) * static_cast<std::size_t>(size.cols);
        benchRow(name + "/" + size.name, bytesPerPixel * pixels, [=] {
            auto planes = std::make_shared<BenchPlanes>();
            for (int type : types) planes->emplace_back(size, type, margin);
            return [=] { work(*planes, IppiSize{size.cols, size.rows}); };
        });
    }
}
