#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

struct Rule16 final : TLutY16U {
    using TLutY16U::applyYLUT;
    using TLutY16U::computeLUT16U;
    using TLutY16U::setupYLUT;
    Rule16(int factor) : m_factor(factor) {}
    void mapPixel(ushort& y, ushort& dr, ushort& db) override {
        y = static_cast<ushort>(y * m_factor);
        dr = db = 3;
    }
    int m_factor;
};

struct Rule final : TLutYDrDb {
    Rule(int factor, int nc) : TLutYDrDb(nc), m_factor(factor) {}
    void mapPixel(ushort& y, uchar& dr, uchar& db) override {
        dr = static_cast<uchar>(dr * m_factor + (y >> 8));
        db = static_cast<uchar>(db + dr);
        y = static_cast<ushort>(y * m_factor);
    }
    int m_factor;
};

void luminance(Input& input) {
    Scene scene;
    const int factor = input.below(256);
    Rule16 used(input.below(256));
    const cv::Size size = someSize(input);
    const int in = scene.add(input, size, CV_16UC1, Role::kInOut),
              out = scene.add(input, size, CV_16UC1, Role::kOut, true);
    const int kind = input.below(3);
    if (input.flag())
        outcomeOf([&] {
            used.setupYLUT();
            used.computeLUT16U(true);
        });
    used.m_factor = factor;
    Rule16 fresh(factor);
    const auto call = [=](Scene& s, Rule16& rule) {
        if (kind == 0) return void(rule.proc(s[in], true));
        rule.setupYLUT();
        rule.computeLUT16U(true);
        rule.applyYLUT(s[in], s[out]);
    };
    runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
}

void colour(Input& input) {
    Scene scene;
    const int factor = input.below(256), tables = input.rarely(8) ? input.number() : input.below(8) - 1;
    Rule used(input.below(256), input.rarely(8) ? input.number() : input.below(8) - 1);
    outcomeOf([&] {
        for (int i = input.below(4); i > 0; --i) {
            if (input.flag()) used.setupYLUT();
            if (input.flag()) used.setupCLUT(input.rarely(8) ? input.number() : input.below(8) - 1);
            if (input.rarely(4)) used.computeLUT();
        }
        if (input.flag()) used = Rule(used);
    });
    const cv::Size size = someSize(input);
    const int y = scene.add(input, size, CV_16UC1, Role::kInOut), dr = scene.add(input, size, CV_8UC1, Role::kIn),
              db = scene.add(input, size, CV_8UC1, Role::kIn);
    const int outY = scene.add(input, size, CV_16UC1, Role::kOut, true),
              outDr = scene.add(input, size, CV_8UC1, Role::kOut, true),
              outDb = scene.add(input, size, CV_8UC1, Role::kOut, true);
    const int kind = input.below(5);
    used.m_factor = factor;
    outcomeOf([&] {
        used.setupCLUT(tables);
        used.setupYLUT();
    });
    Rule fresh(factor, tables);
    const auto call = [=](Scene& s, Rule& rule) {
        rule.setupYLUT();
        if (kind == 0) return void(rule.proc(s[y]));
        if (kind == 1) return void(rule.proc(s[y], s[dr], s[db], s[outY], s[outDr], s[outDb]));
        rule.computeLUT();
        if (kind == 2) return rule.applyYLUT(s[y], s[outY]);
        if (kind == 3) return rule.applyCLUT(s[dr], s[db], s[outDr], s[outDb]);
        rule.applyCLUT(s[y], s[dr], s[db], s[outDr], s[outDb]);
    };
    runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 2 && input.more(); ++calls) input.rarely(3) ? luminance(input) : colour(input);
    return 0;
}
