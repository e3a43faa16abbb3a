#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

struct Pyramid : ConvPyr {
    using ConvPyr::ConvPyr;
    using ConvPyr::pyrDown;
    using ConvPyr::pyrUp;
};

cv::Mat kernel(Input& input) {
    const int taps = input.rarely(8) ? input.below(40) : 1 + input.below(7);
    cv::Mat k(1, taps, input.rarely(24) ? someType(input) : CV_32FC1, cv::Scalar(0.25));
    if (k.type() == CV_32FC1)
        for (int i = 0; i < taps; ++i) k.at<float>(i) = input.real();
    if (input.rarely(24)) return cv::Mat(3, 3, CV_32FC1, cv::Scalar(1));
    return k.empty() || input.flag() ? k : k.t();
}

void one(Input& input) {
    Scene scene;
    const cv::Mat k1 = kernel(input), k2 = kernel(input), k3 = kernel(input);
    const cv::Size size = someSize(input), half((size.width + 1) / 2, (size.height + 1) / 2);
    const int kind = input.below(3), type = kind == 2 ? CV_32FC1 : someType(input);
    const int in = scene.add(input, size, type, Role::kIn), low = scene.add(input, half, CV_32FC1, Role::kIn);
    const int out = scene.add(input, kind == 1 ? half : size, CV_32FC1, Role::kOut, true, true);
    const bool used = input.flag();
    const auto call = [=](Scene& s, bool again) {
        Pyramid filter(k1, k2, k3);
        if (again) {
            cv::Mat other;
            outcomeOf([&] { filter.proc(cv::Mat(5, 7, CV_32FC1, cv::Scalar(1)), other); }, {true});
        }
        if (kind == 0) filter.proc(s[in], s[out]);
        if (kind == 1) filter.pyrDown(s[in], s[out]);
        if (kind == 2) filter.pyrUp(s[low], s[in], s[out]);
    };
    runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, false); }, {true, false});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 3 && input.more(); ++calls) one(input);
    return 0;
}
