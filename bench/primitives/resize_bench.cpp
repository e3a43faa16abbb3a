#include "kestrova/primitives/resize.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

#include "bench/support/bench.h"

namespace {

struct Form {
    const char* name;
    int code, peer;
};

constexpr Form kForms[] = {{"nearest", IPPI_INTER_NN, cv::INTER_NEAREST},
                           {"linear", IPPI_INTER_LINEAR, cv::INTER_LINEAR},
                           {"cubic", IPPI_INTER_CUBIC, cv::INTER_CUBIC}};

template <class T, class Resize>
void rows(const BenchSize& size, const std::string& type, int cvType, double factor, const std::string& by,
          const Resize& resize) {
    const cv::Size out(size.cols, size.rows);
    const cv::Size in(static_cast<int>(std::ceil(out.width / factor)),
                      static_cast<int>(std::ceil(out.height / factor)));
    const std::size_t bytes = sizeof(T) * (static_cast<std::size_t>(in.area()) + static_cast<std::size_t>(out.area()));
    for (const Form& form : kForms) {
        const std::string name = std::string("resize/") + form.name + by + "/" + type + "/" + size.name;
        benchRow(name, bytes, [=] {
            const cv::Mat src(in, cvType, cv::Scalar(7));
            cv::Mat dst(out, cvType, cv::Scalar(0));
            return [=]() mutable {
                resize(src.ptr<T>(), {src.cols, src.rows}, static_cast<int>(src.step), {0, 0, src.cols, src.rows},
                       dst.ptr<T>(), static_cast<int>(dst.step), {0, 0, dst.cols, dst.rows}, factor, factor, 0, 0,
                       form.code, nullptr);
            };
        });
        benchRow("cv::" + name, bytes, [=] {
            const cv::Mat src(in, cvType, cv::Scalar(7));
            cv::Mat dst(out, cvType, cv::Scalar(0));
            return [=]() mutable { cv::resize(src, dst, out, 0, 0, form.peer); };
        });
    }
}

KESTROVA_BENCH(resize) {
    for (const BenchSize& s : kBenchSizes) {
        rows<float>(s, "32f", CV_32FC1, 4, " by 4", ippiResizeSqrPixel_32f_C1R);
        rows<ushort>(s, "16u", CV_16UC1, 1.37, " by 1.37", ippiResizeSqrPixel_16u_C1R);
        rows<uchar>(s, "8u", CV_8UC1, 2, " by 2", ippiResizeSqrPixel_8u_C1R);
    }
}

}  // namespace
