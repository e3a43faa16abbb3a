#include <memory>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

const cv::Mat& fullPlane(int type) {
    static const cv::Mat bytes = randomPlane(18, 23, CV_8UC1), words = randomPlane(18, 23, CV_16UC1),
                         floats = randomPlane(18, 23, CV_32FC1, 0, 1);
    return type == CV_8UC1 ? bytes : type == CV_16UC1 ? words : floats;
}

const cv::Mat& halfPlane(int type) {
    static const cv::Mat bytes = randomPlane(9, 12, CV_8UC1, 4), words = randomPlane(9, 12, CV_16UC1, 4),
                         floats = randomPlane(9, 12, CV_32FC1, 0, 1, 4);
    return type == CV_8UC1 ? bytes : type == CV_16UC1 ? words : floats;
}

Operation into(const std::string& name, const cv::Mat& before, const std::function<void(cv::Mat&)>& work) {
    return {name, [=] {
                const auto out = std::make_shared<cv::Mat>(before.clone());
                return Attempt{[=] { work(*out); }, [=] { return Seen().plane(*out); }};
            }};
}

std::vector<Operation> sized(const std::string& name, const cv::Mat& fitting,
                             const std::function<void(cv::Mat&)>& work) {
    return {into(name + "_New", cv::Mat(), work), into(name + "_Larger", randomPlane(3, 4, CV_8UC1), work),
            into(name + "_Fitting", fitting, work)};
}

}  // namespace

std::vector<Operation> resampleOperations() {
    std::vector<Operation> operations;
    const auto add = [&](const std::vector<Operation>& more) {
        operations.insert(operations.end(), more.begin(), more.end());
    };
    for (int interp : {1, 2, 4, kPyramidStep}) {
        const std::string code = std::to_string(interp);
        for (const auto& [type, depth] : {std::pair(CV_8UC1, "_8U_"), {CV_16UC1, "_16U_"}, {CV_32FC1, "_32F_"}}) {
            const cv::Mat full = fullPlane(type), half = halfPlane(type);
            operations.push_back(
                into("downSize2X" + (depth + code), half, [=](cv::Mat& o) { downSize2X(full, o, interp); }));
            operations.push_back(into("upSize2X" + (depth + code), randomPlane(18, 24, type, 7),
                                      [=](cv::Mat& o) { upSize2X(half, o, interp); }));
            if (interp == kPyramidStep) continue;
            operations.push_back(into("downSizeNX" + (depth + code), randomPlane(6, 8, type, 7),
                                      [=](cv::Mat& o) { downSizeNX(full, o, 3, interp); }));
            operations.push_back(into("upSizeNX" + (depth + code), randomPlane(27, 36, type, 7),
                                      [=](cv::Mat& o) { upSizeNX(half, o, 3, interp); }));
        }
    }
    const cv::Mat full = fullPlane(CV_16UC1), half = halfPlane(CV_16UC1);
    operations.push_back(
        into("downSizeNX_1", randomPlane(3, 4, CV_16UC1), [=](cv::Mat& o) { downSizeNX(full, o, 1, 4); }));
    operations.push_back(into("upSizeNX_1", randomPlane(3, 4, CV_16UC1), [=](cv::Mat& o) { upSizeNX(full, o, 1, 4); }));
    documentText("ERROR - down2X - ippsMalloc_8u(pBufferSize)", "downSize2X_", operations);
    documentText("ERROR - up2X - ippsMalloc_8u(pBufferSize)", "upSize2X_", operations);
    documentText("ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)", "downSizeNX_", operations);
    documentText("ERROR - upNX - ippsMalloc_8u(pBufferSize)", "upSizeNX_", operations);
    add(sized("upSize2XGuidedByYSimple", full, [=](cv::Mat& o) { upSize2XGuidedByYSimple(full, half, o); }));
    operations.push_back(
        into("upSize2XGuidedByYSimple_InPlace", half, [=](cv::Mat& o) { upSize2XGuidedByYSimple(full, o, o); }));
    for (bool guided : {false, true}) {
        const std::string form = guided ? "_Guided" : "_Plain";
        add(sized("upSize2XGuidedByY" + form, full,
                  [=](cv::Mat& o) { upSize2XGuidedByY(full, half, o, guided, 4, 2, 0.001f); }));
        add(sized("upSizeNXGuidedByY" + form, full,
                  [=](cv::Mat& o) { upSizeNXGuidedByY(full, half, o, 2, guided, 4, 2, 0.001f); }));
        const auto rgb = std::make_shared<std::vector<cv::Mat>>(
            std::vector<cv::Mat>{full, randomPlane(18, 23, CV_16UC1, 5), randomPlane(18, 23, CV_16UC1, 6)});
        add(sized("upSizeNXGuidedByRGB" + form, full,
                  [=](cv::Mat& o) { upSizeNXGuidedByRGB(*rgb, half, o, 2, guided, 4, 2, 0.001f); }));
    }
    const auto rgb = std::make_shared<std::vector<cv::Mat>>(
        std::vector<cv::Mat>{full, randomPlane(18, 23, CV_16UC1, 5), randomPlane(18, 23, CV_16UC1, 6)});
    operations.push_back(into("upSize2XGuidedByY_InPlace", half,
                              [=](cv::Mat& o) { upSize2XGuidedByY(full, o, o, true, 4, 2, 0.001f); }));
    operations.push_back(into("filterGuidedByRGB", randomPlane(18, 23, CV_16UC1, 9),
                              [=](cv::Mat& o) { filterGuidedByRGB(*rgb, o, 2, 0.001f); }));
    operations.push_back(into("extendBorder", full, [](cv::Mat& o) { extendBorder(o, 2, 3, 1, 2); }));

    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        const cv::Mat in0 = fullPlane(type), in1 = randomPlane(18, 23, type, 0, 1000, 8), alpha = fullPlane(CV_8UC1);
        add(sized("blendAlpha_" + std::to_string(type), in1,
                  [=](cv::Mat& o) { blendAlpha(in0, in1, alpha, o, 0.7f); }));
        operations.push_back({"blendAlpha_Shifted_" + std::to_string(type), [=] {
                                  // The output lies one pixel further right and down in the buffer of the input.
                                  const cv::Mat buffer = randomPlane(19, 24, type, 0, 1000, 8);
                                  const cv::Mat in = buffer(cv::Rect(0, 0, 23, 18));
                                  const auto out = std::make_shared<cv::Mat>(buffer(cv::Rect(1, 1, 23, 18)));
                                  return Attempt{[=] { blendAlpha(in, in1, alpha, *out, 0.7f); },
                                                 [=] { return Seen().plane(buffer).plane(*out); }};
                              }});
    }
    add(sized("extremeSharpen", full, [=](cv::Mat& o) { extremeSharpen(full, o); }));
    operations.push_back(into("extremeSharpen_InPlace", full, [](cv::Mat& o) { extremeSharpen(o, o); }));

    for (int radius : {2, 20, 60}) {
        for (TImage::IMTYPE type : {TImage::IM_Y16U, TImage::IM_C8U}) {
            for (bool inPlace : {false, true}) {
                const std::string name = std::string("tFilterBox_") + (type == TImage::IM_C8U ? "C" : "Y") +
                                         std::to_string(radius) + (inPlace ? "_InPlace" : "");
                operations.push_back(
                    {name,
                     [=] {
                         const TSize size(120, 110);
                         const auto in = std::make_shared<TImage>(type, size);
                         const int planes = type == TImage::IM_C8U ? 2 : 1;
                         for (int p = 0; p < planes; ++p)
                             in->fromMat(randomPlane(110, 120, type == TImage::IM_C8U ? CV_8UC1 : CV_16UC1,
                                                     static_cast<std::uint32_t>(p)),
                                         p);
                         const auto out = inPlace ? in : std::make_shared<TImage>(*in);
                         return Attempt{[=] { tFilterBox(in.get(), out.get(), radius, 2, nullptr); },
                                        [=] {
                                            Seen seen;
                                            for (int p = 0; p < planes; ++p) seen.plane(out->toMat(p));
                                            return seen;
                                        }};
                     },
                     // OpenCV's last resize writes the output without a plane between.
                     !inPlace && radius == 60 ? Promise::kOutputsMayChange : Promise::kNothingChanged});
            }
        }
    }
    return operations;
}
