#include <memory>
#include <optional>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

using Plane = std::shared_ptr<cv::Mat>;

Plane plane(const cv::Mat& pixels) { return std::make_shared<cv::Mat>(pixels.clone()); }

struct Guided : TGuidedFilter {
    using TGuidedFilter::gFc1_apply;
    using TGuidedFilter::gFc3_apply;
    Seen seen() const { return Seen().plane(m_a0).plane(m_a1).plane(m_a2).plane(m_b); }
};

struct Pyramid : ConvPyr {
    using ConvPyr::ConvPyr;
    using ConvPyr::pyrDown;
    using ConvPyr::pyrUp;
};

std::vector<cv::Mat> guides(int n, int type, int rows, int cols) {
    std::vector<cv::Mat> planes;
    for (int i = 0; i < n; ++i)
        planes.push_back(type == CV_32FC1 ? randomPlane(rows, cols, type, 0, 1, static_cast<std::uint32_t>(i + 1))
                                          : randomPlane(rows, cols, type, static_cast<std::uint32_t>(i + 1)));
    return planes;
}

Operation guidedSetup(const std::string& name, int n, int oldRows, int radius) {
    const cv::Mat p = randomPlane(31, 27, CV_32FC1, 0, 1, 9);
    return {"TGuidedFilter_setup_" + name, [=, guide = guides(n, CV_32FC1, 31, 27)] {
                const auto filter = std::make_shared<Guided>();
                if (oldRows)
                    filter->setup(guides(3, CV_32FC1, oldRows, 27), randomPlane(oldRows, 27, CV_32FC1, 0, 1, 4), 2,
                                  0.1f);
                return Attempt{[=] { filter->setup(guide, p, radius, 0.01f); }, [=] { return filter->seen(); }};
            }};
}

Operation guidedApply(const std::string& name, int n, int type, const cv::Mat& before, bool floats = false) {
    return {"TGuidedFilter_" + name, [=, guide = guides(n, type, 62, 54)] {
                const auto filter = std::make_shared<Guided>();
                filter->setup(guides(n, CV_32FC1, 31, 27), randomPlane(31, 27, CV_32FC1, 0, 1, 4), 2, 0.1f);
                const Plane q = plane(before);
                return Attempt{[=] {
                                   if (!floats) return filter->proc(guide, *q);
                                   n == 1 ? filter->gFc1_apply(guide[0], *q) : filter->gFc3_apply(guide, *q);
                               },
                               [=] { return filter->seen().plane(*q); }};
            }};
}

Operation guidedStrips(const std::string& name, int rows, int cols, int radius, bool inPlace) {
    const cv::Mat I = randomPlane(rows, cols, CV_32FC1, 0, 1), p = randomPlane(rows, cols, CV_32FC1, 0, 1, 2);
    return {"TGuidedFilter_stripProc_" + name, [=] {
                const Plane in = plane(p), q = inPlace ? in : plane(I);
                return Attempt{[=] { TGuidedFilter().stripProc(I, *in, *q, radius, 0.01f); },
                               [=] { return Seen().plane(*in).plane(*q); }};
            }};
}

struct Strips : TGuidedFilter {
    using TGuidedFilter::calcov2;
    using TGuidedFilter::gFc1_blkGuide;
};

Operation guidedBlock() {
    const cv::Mat I = randomPlane(40, 31, CV_32FC1, 0, 1), p = randomPlane(40, 31, CV_32FC1, 0, 1, 2);
    return {"TGuidedFilter_gFc1_blkGuide", [=] {
                const Plane q = plane(randomPlane(32, 23, CV_32FC1));
                return Attempt{[=] { Strips().gFc1_blkGuide(I, p, *q, 2, 0.01f); }, [=] { return Seen().plane(*q); }};
            }};
}

Operation covariance() {
    const cv::Mat X = randomPlane(12, 14, CV_32FC1, 0, 1), Y = randomPlane(12, 14, CV_32FC1, 0, 1, 2);
    return {"TGuidedFilter_calcov2",
            [=] {
                const Plane out = plane(X), wide = plane(Y), inner = plane(Y);
                return Attempt{
                    [=] {
                        Strips().calcov2(*out, X, Y, X, Y, *wide, *inner, {14, 12}, {12, 10}, {3, 3}, {1, 1}, false);
                    },
                    [=] { return Seen().plane(*out); }};
            },
            Promise::kOutputsMayChange};
}

Operation bilateral(const std::string& name, int type, bool guided, bool used) {
    return {"BilateralFilter_proc_" + name, [=] {
                const auto filter = std::make_shared<BilateralFilter>();
                const Plane inOut = plane(randomPlane(20, 31, type)), other = plane(randomPlane(9, 40, type));
                const cv::Mat edge = guided ? randomPlane(20, 31, CV_32FC1, 3) : cv::Mat();
                if (used) filter->proc(cv::Mat(), *other, 4, 16, nullptr);
                return Attempt{[=] { filter->proc(edge, *inOut, 4, type == CV_8UC1 ? 20 : 3000, nullptr); },
                               [=] { return Seen().plane(*inOut); }};
            }};
}

Operation laplacian(const std::string& name, const cv::Mat& before, bool inPlace, bool used,
                    Promise promise = Promise::kNothingChanged) {
    const cv::Mat picture = randomPlane(41, 37, CV_16UC1);
    return {"LocalLaplacian_proc10K_" + name,
            [=] {
                const auto filter = std::make_shared<LocalLaplacian>();
                const Plane in = plane(picture), out = inPlace ? in : plane(before);
                if (used) {
                    cv::Mat other;
                    filter->proc10K(*in, other, 0.3f, 0.3f, 2);
                }
                return Attempt{[=] { filter->proc10K(*in, *out, 0.2f, 0.4f, 3); }, [=] { return Seen().plane(*out); }};
            },
            promise};
}

Pyramid pyramid() {
    return {(cv::Mat_<float>(1, 5) << 0.15f, 0.5f, 0.7f, 0.5f, 0.15f),
            (cv::Mat_<float>(1, 5) << 0.15f, 0.5f, 0.7f, 0.5f, 0.15f),
            (cv::Mat_<float>(1, 3) << 0.175f, 0.547f, 0.175f)};
}

Operation convolved(const std::string& name, int type, const cv::Mat& before, bool inPlace = false) {
    return {"ConvPyr_proc_" + name, [=] {
                const auto filter = std::make_shared<Pyramid>(pyramid());
                const Plane in = plane(randomPlane(19, 26, type, 0, 200)), out = inPlace ? in : plane(before);
                return Attempt{[=] { filter->proc(*in, *out); }, [=] { return Seen().plane(*in).plane(*out); }};
            }};
}

Operation weighted(const std::string& name, bool logGuide, bool used) {
    // Where the solver finds no memory the plane is left as it is, and that is no failure. The guide's logarithms stay.
    return {"TWLSFilter_Proc_" + name,
            [=] {
                const auto filter = std::make_shared<TWLSFilter>();
                const cv::Mat original = randomPlane(12, 11, CV_32FC1, 0, 1);
                const Plane inOut = plane(original), guide = plane(original);
                if (used) {
                    const Plane other = plane(original);
                    filter->Proc(other->ptr<float>(), 5, 6, 1, 1.2f, other->ptr<float>(), false);
                }
                return Attempt{[=] {
                                   original.copyTo(*guide);
                                   filter->Proc(inOut->ptr<float>(), 11, 12, 0.8f, 1.2f, guide->ptr<float>(), logGuide);
                               },
                               [=] { return logGuide ? Seen().plane(*inOut) : Seen().plane(*inOut).plane(*guide); }};
            },
            Promise::kDoneOrUntouched};
}

}  // namespace

std::vector<Operation> filtersOperations() {
    std::vector<Operation> operations;
    for (int n : {1, 3}) {
        const std::string form = std::to_string(n);
        operations.push_back(guidedSetup("First" + form, n, 0, 2));
        operations.push_back(guidedSetup("OtherSize" + form, n, 20, 2));
        operations.push_back(guidedSetup("SameSize" + form, n, 31, 2));
        operations.push_back(guidedSetup("Wide" + form, n, 31, 40));
        for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
            const std::string depth = form + "_" + std::to_string(type);
            operations.push_back(guidedApply("proc_New" + depth, n, type, cv::Mat()));
            operations.push_back(guidedApply("proc_Larger" + depth, n, type, randomPlane(3, 3, CV_8UC1)));
            operations.push_back(guidedApply("proc_Fitting" + depth, n, type, randomPlane(62, 54, type)));
        }
        operations.push_back(guidedApply("apply_New" + form, n, CV_32FC1, cv::Mat(), true));
        operations.push_back(guidedApply("apply_Fitting" + form, n, CV_32FC1, randomPlane(62, 54, CV_32FC1), true));
    }
    operations.push_back(guidedStrips("One", 31, 40, 2, false));
    operations.push_back(guidedStrips("Two", 700, 3300, 2, false));
    operations.push_back(guidedStrips("InPlace", 31, 40, 2, true));

    for (int type : {CV_8UC1, CV_16UC1}) {
        const std::string depth = std::to_string(type);
        operations.push_back(bilateral("Own" + depth, type, false, false));
        operations.push_back(bilateral("Guided" + depth, type, true, false));
        operations.push_back(bilateral("Used" + depth, type, true, true));
        operations.push_back({"BilateralFilter_gradientGuide_" + depth, [=] {
                                  const cv::Mat guide = randomPlane(20, 31, type, 2);
                                  const Plane inOut = plane(randomPlane(20, 31, type));
                                  return Attempt{[=] { BilateralFilter::gradientGuide(guide, *inOut, 3); },
                                                 [=] { return Seen().plane(*inOut); }};
                              }});
    }

    operations.push_back(guidedBlock());
    operations.push_back(covariance());
    operations.push_back({"LocalLaplacian_LocalLaplacian", [] {
                              return Attempt{[] { LocalLaplacian filter; }, [] { return Seen(); }};
                          }});
    operations.push_back(laplacian("New", cv::Mat(), false, false));
    for (const auto& [name, proc] :
         {std::pair("16K", &LocalLaplacian::proc16K), std::pair("24K", &LocalLaplacian::proc24K)}) {
        operations.push_back({std::string("LocalLaplacian_proc") + name, [proc = proc] {
                                  const auto filter = std::make_shared<LocalLaplacian>();
                                  const cv::Mat in = randomPlane(41, 37, CV_16UC1);
                                  const Plane out = plane(cv::Mat());
                                  return Attempt{[=] { ((*filter).*proc)(in, *out, 0.2f, 0.4f, 3); },
                                                 [=] { return Seen().plane(*out); }};
                              }});
    }
    operations.push_back(laplacian("Larger", randomPlane(3, 3, CV_8UC1), false, true));
    operations.push_back(
        laplacian("Fitting", randomPlane(41, 37, CV_16UC1, 4), false, true, Promise::kOutputsMayChange));
    operations.push_back(laplacian("InPlace", cv::Mat(), true, true));

    operations.push_back(convolved("New", CV_32FC1, cv::Mat()));
    operations.push_back(convolved("Bytes", CV_8UC1, randomPlane(3, 3, CV_8UC1)));
    operations.push_back(convolved("Fitting", CV_32FC1, randomPlane(19, 26, CV_32FC1)));
    operations.push_back(convolved("InPlace", CV_32FC1, cv::Mat(), true));
    operations.push_back({"ConvPyr_pyrDown", [] {
                              const auto filter = std::make_shared<Pyramid>(pyramid());
                              const cv::Mat in = randomPlane(19, 26, CV_32FC1);
                              const Plane out = plane(randomPlane(3, 3, CV_8UC1));
                              return Attempt{[=] { filter->pyrDown(in, *out); }, [=] { return Seen().plane(*out); }};
                          }});
    operations.push_back({"ConvPyr_pyrUp", [] {
                              const auto filter = std::make_shared<Pyramid>(pyramid());
                              const cv::Mat in = randomPlane(19, 26, CV_32FC1), low = randomPlane(10, 13, CV_32FC1);
                              const Plane out = plane(randomPlane(3, 3, CV_8UC1));
                              return Attempt{[=] { filter->pyrUp(low, in, *out); }, [=] { return Seen().plane(*out); }};
                          }});

    operations.push_back(weighted("First", false, false));
    operations.push_back(weighted("Used", false, true));
    operations.push_back(weighted("Logarithm", true, false));
    operations.push_back(
        {"pardisoSolver",
         [] {
             // A row of ones beside a diagonal of threes.
             const int n = 20;
             const auto a = std::make_shared<std::vector<float>>(), b = std::make_shared<std::vector<float>>();
             const auto ia = std::make_shared<std::vector<int>>(), ja = std::make_shared<std::vector<int>>();
             for (int i = 1; i <= n; ++i) {
                 ia->push_back(static_cast<int>(a->size()) + 1);
                 a->push_back(3), ja->push_back(i);
                 if (i < n) a->push_back(1), ja->push_back(i + 1);
                 b->push_back(static_cast<float>(i));
             }
             ia->push_back(static_cast<int>(a->size()) + 1);
             const auto x = std::make_shared<std::vector<float>>(n);
             return Attempt{[=] { pardisoSolver(n, a->data(), ia->data(), ja->data(), b->data(), x->data(), 1, 2); },
                            [=] { return Seen().bytes(b->data(), n * sizeof(float)); }};
         },
         Promise::kDoneOrUntouched});
    return operations;
}
