#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

/// A thin image with the pixels of a plane.
std::unique_ptr<TImage> imageOf(TImage::IMTYPE type, const cv::Mat& plane) {
    auto image = std::make_unique<TImage>(type, TSize(plane.cols, plane.rows));
    if (plane.empty()) return image;
    for (int p = 0; p < 2; ++p) {
        cv::Mat target = image->toMat(p);
        for (int r = 0; r < target.rows; ++r)
            std::memcpy(target.ptr(r), plane.ptr(r),
                        std::min(target.elemSize() * static_cast<std::size_t>(target.cols),
                                 plane.elemSize() * static_cast<std::size_t>(plane.cols)));
    }
    return image;
}

bool answer(int, void* user) { return --*static_cast<int*>(user) == 0; }

void box(Input& input) {
    Scene scene;
    const auto type = static_cast<TImage::IMTYPE>(input.below(5));
    const int in = scene.addFitting(input, someSize(input, 80), CV_16UC1, Role::kIn);
    const int radius = input.rarely(4) ? input.number() : input.below(80), iterations = input.below(4);
    const int steps = input.below(10);
    const bool inPlace = input.flag(), reported = input.rarely(3);
    const cv::Size outSize = input.rarely(8) ? someSize(input) : scene[in].size();
    runTwice(scene, [=](Scene& s) {
        const auto from = imageOf(type, s[in]);
        const auto to = std::make_unique<TImage>(type, TSize(outSize.width, outSize.height));
        int left = steps;
        TProgress progress(&answer, &left);
        tFilterBox(from.get(), inPlace ? from.get() : to.get(), radius, iterations, reported ? &progress : nullptr);
    });
}

void one(Input& input) {
    const int kind = input.below(4);
    if (kind == 0) return box(input);
    Scene scene;
    const cv::Size size = someSize(input);
    const int type = kTypes[input.below(3)];
    const float k = input.real();
    if (kind == 1) {
        const int in0 = scene.add(input, size, type, Role::kIn),
                  in1 = scene.add(input, size, type, Role::kIn, true, true);
        const int alpha = scene.add(input, size, CV_8UC1, Role::kIn, true);
        const int out = scene.add(input, size, type, Role::kOut, true, true);
        runTwice(scene, [=](Scene& s) { blendAlpha(s[in0], s[in1], s[alpha], s[out], k); });
    } else if (kind == 2) {
        const int in = scene.add(input, size, CV_16UC1, Role::kIn);
        const int out = scene.add(input, size, CV_16UC1, Role::kOut, true, true);
        runTwice(scene, [=](Scene& s) { extremeSharpen(s[in], s[out]); });
    } else {
        const int in = scene.addFitting(input, size, CV_8UC1, Role::kIn);
        const int out = scene.addFitting(input, size, CV_8UC1, Role::kOut);
        const int less = input.below(3), width = size.width - less, height = size.height - input.below(3);
        const bool null = input.rarely(16);
        runTwice(scene, [=](Scene& s) {
            blendC(null ? nullptr : s[in].data, static_cast<int>(s[in].step), s[out].data,
                   static_cast<int>(s[out].step), width, height, k);
        });
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 4 && input.more(); ++calls) one(input);
    return 0;
}
