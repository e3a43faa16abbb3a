#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "kestrova/detail/domain_transform.h"
#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

constexpr int kRows = 42, kCols = 54;

cv::Mat full(std::uint32_t seed) { return randomPlane(kRows, kCols, CV_16UC1, 20000, 40000, seed); }
cv::Mat half(std::uint32_t seed) { return randomPlane(kRows / 2, kCols / 2, CV_16UC1, 20000, 40000, seed); }

using Engine = std::shared_ptr<TVelline>;

Engine ready() {
    const auto engine = std::make_shared<TVelline>();
    engine->setup(full(1), full(2), full(3), full(4), half(5), half(6), nullptr);
    for (int i = 0; i < 9; ++i) engine->m_k[i] = 0.1f * static_cast<float>(i - 4), engine->m_t[i] = 0.05f;
    for (int i = 0; i < 6; ++i) engine->m_light[i] = 0.1f * static_cast<float>(i - 2);
    for (int i = 0; i < 3; ++i) engine->m_mix[i] = 0.2f * static_cast<float>(i);
    engine->m_bChangedS = engine->m_bChangedM = engine->m_bChangedL = engine->m_bChangedY = true;
    return engine;
}

Seen pictureOf(const TVelline& engine) {
    return Seen()
        .plane(engine.m_Y)
        .plane(engine.m_DS)
        .plane(engine.m_DM)
        .plane(engine.m_DL)
        .plane(engine.m_Dr)
        .plane(engine.m_Db);
}

/// A rendering after a refused one is compared with that of a fresh engine, whatever the caches hold in between.
Operation rendered(const std::string& name, int level, bool extra, bool used,
                   const std::function<void(TVelline&, TVelline& other)>& change) {
    return {"TVelline_proc_" + name,
            [=] {
                const Engine engine = ready(), other = std::make_shared<TVelline>();
                const cv::Rect roi(2, 3, 40 / level, 30 / level);
                const cv::Mat added = extra ? randomPlane(roi.height, roi.width, CV_16UC1, 32000, 34000) : cv::Mat();
                if (used) engine->proc(cv::Rect(0, 0, 10, 12), 1, cv::Mat());
                change(*engine, *other);
                return Attempt{[=] { engine->proc(roi, level, added); },
                               [=] { return pictureOf(*engine).plane(engine->getRoiY()).plane(other->getRoiY()); }};
            },
            Promise::kOutputsMayChange};
}

struct Engines : TVelline {
    using TVelline::merge2;
};

Operation merged() {
    return {"TVelline_merge2", [] {
                const auto engine = std::make_shared<Engines>();
                const auto planes = std::make_shared<std::vector<cv::Mat>>(2, full(1));
                const auto pairs = std::make_shared<cv::Mat>(randomPlane(3, 3, CV_16UC2));
                return Attempt{[=] { engine->merge2(*planes, *pairs); }, [=] { return Seen().plane(*pairs); }};
            }};
}

Operation coloured(const std::string& name, const cv::Mat& before, bool inPlace, bool changed) {
    return {"TColorAdjVL_proc_" + name, [=] {
                const auto engine = std::make_shared<TColorAdjVL>();
                engine->m_saturation = 0.3f, engine->m_temperature = -0.2f, engine->m_tint = 0.1f,
                engine->m_vibrance = 0.4f;
                engine->m_bChanged = changed;
                const cv::Mat y0 = full(1), y1 = full(2);
                const auto dr = std::make_shared<cv::Mat>(full(3)), db = std::make_shared<cv::Mat>(full(4));
                const auto outDr = inPlace ? dr : std::make_shared<cv::Mat>(before.clone());
                const auto outDb = inPlace ? db : std::make_shared<cv::Mat>(before.clone());
                return Attempt{[=] { engine->proc(y0, y1, *dr, *db, *outDr, *outDb); },
                               [=] { return Seen().plane(*dr).plane(*db).plane(*outDr).plane(*outDb); }};
            }};
}

}  // namespace

std::vector<Operation> detailOperations() {
    std::vector<Operation> operations;
    for (bool used : {false, true}) {
        operations.push_back({std::string("TVelline_setup_") + (used ? "Again" : "First"),
                              [=] {
                                  const Engine engine = used ? ready() : std::make_shared<TVelline>();
                                  const cv::Mat Y = full(11), S = full(12), M = full(13), L = full(14), dr = half(15),
                                                db = half(16);
                                  return Attempt{[=] {
                                                     engine->setup(Y, S, M, L, dr, db, nullptr);
                                                     engine->proc(cv::Rect(0, 0, 20, 20), 1, cv::Mat());
                                                 },
                                                 [=] { return pictureOf(*engine).plane(engine->getRoiY()); }};
                              },
                              Promise::kOutputsMayChange});
        operations.push_back(
            {std::string("TVelline_setupLike_") + (used ? "Again" : "First"), [=] {
                 const Engine engine = used ? ready() : std::make_shared<TVelline>();
                 const cv::Mat like(30, 20, CV_16UC1);
                 return Attempt{
                     [=] { engine->setup(like, nullptr); },
                     [=] { return Seen().form(engine->m_Y).form(engine->m_DS).form(engine->m_DM).form(engine->m_DL); }};
             }});
    }
    const auto nothing = [](TVelline&, TVelline&) {};
    operations.push_back(rendered("First", 1, false, false, nothing));
    operations.push_back(rendered("Again", 1, false, true, nothing));
    operations.push_back(rendered("Extra", 1, true, false, nothing));
    operations.push_back(
        rendered("Reduced", 2, false, true, [](TVelline& engine, TVelline&) { engine.m_maxPlainLevel = 1; }));
    operations.push_back(
        rendered("ReducedPlainly", 2, false, true, [](TVelline& engine, TVelline&) { engine.m_maxPlainLevel = 4; }));
    operations.push_back(rendered("WithoutParameters", 1, false, false, [](TVelline& engine, TVelline&) {
        for (float& k : engine.m_k) k = 0;
        for (float& t : engine.m_t) t = 0;
        for (float& light : engine.m_light) light = 0;
        for (float& mix : engine.m_mix) mix = 0;
    }));
    operations.push_back(
        rendered("SharedResult", 1, false, true, [](TVelline& engine, TVelline& other) { other = engine; }));
    operations.push_back(rendered("ResultAsPicture", 1, false, false, [](TVelline& engine, TVelline&) {
        engine.proc(cv::Rect(0, 0, kCols, kRows), 1, cv::Mat());
        engine.m_Y = engine.getRoiY();
        engine.m_bChangedY = engine.m_bRoiChanged = true;
    }));
    operations.push_back({"TVelline_proc_BeyondTheEdge", [=] {
                              const Engine engine = ready();
                              return Attempt{[=] { engine->proc(cv::Rect(40, 30, 20, 20), 2, cv::Mat()); },
                                             [=] { return pictureOf(*engine); }};
                          }});

    operations.push_back({"TColorAdjVL_TColorAdjVL", [] {
                              return Attempt{[] { TColorAdjVL engine; }, [] { return Seen(); }};
                          }});
    operations.push_back({"TColorAdjVL_TColorAdjVL_Copy", [] {
                              const auto engine = std::make_shared<TColorAdjVL>();
                              return Attempt{[=] { TColorAdjVL copy(*engine); }, [] { return Seen(); }};
                          }});
    using Stage = bool (DomainTransformFilter::*)(const cv::Mat&, cv::Mat&);
    const std::pair<const char*, Stage> stages[] = {{"diffX", &DomainTransformFilter::diffX},
                                                    {"diffY", &DomainTransformFilter::diffY},
                                                    {"sumAbs", &DomainTransformFilter::sumAbs}};
    for (const auto& [name, stage] : stages) {
        operations.push_back(
            {std::string("DomainTransformFilter_") + name,
             [stage = stage] {
                 const auto filter = std::make_shared<DomainTransformFilter>(8.0f, 100.0f);
                 const auto out = std::make_shared<cv::Mat>();
                 const cv::Mat in(20, 30, CV_32FC2, cv::Scalar(1, 2));
                 return Attempt{[=] { ((*filter).*stage)(in, *out); }, [=] { return Seen().form(*out); }};
             },
             Promise::kOutputsMayChange});
    }

    operations.push_back(coloured("New", cv::Mat(), false, true));
    operations.push_back(coloured("Larger", randomPlane(3, 4, CV_8UC1), false, true));
    operations.push_back(coloured("Fitting", full(9), false, true));
    operations.push_back(coloured("InPlace", cv::Mat(), true, true));
    operations.push_back(coloured("Unchanged", full(9), false, false));
    operations.push_back(merged());
    return operations;
}
