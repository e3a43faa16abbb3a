#include <memory>

#include "kestrova/kestrova.h"
#include "tests/memory/operation.h"
#include "tests/support/planes.h"

namespace {

constexpr int kRows = 30, kCols = 40;  // of the mask

struct Mask : TDrawMask {
    using TDrawMask::m_cmdIdx;
    using TDrawMask::m_cmdStack;

    void bind(int rows, int cols, std::uint32_t seed) { bind(planes(rows, cols, seed)); }
    void bind(const std::vector<cv::Mat>& planes) { setInImage(planes[0], planes[1], planes[2]); }
    static std::vector<cv::Mat> planes(int rows, int cols, std::uint32_t seed) {
        return {randomPlane(rows, cols, CV_8UC1, seed), randomPlane(rows, cols, CV_16UC1, seed + 1),
                randomPlane(rows, cols, CV_16UC1, seed + 2)};
    }

    Seen seen() const {
        Seen seen;
        seen.plane(m_mask).plane(m_inY).plane(m_inDr).plane(m_inDb);
        seen.value(m_cmdIdx);
        for (const TMaskCmd* command : m_cmdStack) {
            seen.value(command->m_type);
            if (command->m_param_p) seen.value(command->m_param_p->m_value).value(command->m_param_p->m_outerR);
        }
        return seen;
    }
};

using Change = std::function<void(Mask&)>;

void paint(Mask& mask, int x, int outerR, int innerR, float tolerance, uchar value = 0) {
    mask.drawStart(0, 1);
    mask.drawADot(cv::Point(x, 20), value, outerR, innerR, 0.7f, tolerance);
    mask.drawADot(cv::Point(x + 5, 24), value, outerR, innerR, 0.7f, tolerance);
    mask.drawEnd();
}

/// `change` after `before`, on a mask that a picture is bound to.
Operation onMask(const std::string& name, const Change& before, const Change& change,
                 Promise promise = Promise::kNothingChanged) {
    return {"TDrawMask_" + name,
            [=] {
                const auto mask = std::make_shared<Mask>();
                mask->bind(kRows, kCols, 1);
                before(*mask);
                return Attempt{[=] { change(*mask); }, [=] { return mask->seen(); }};
            },
            promise};
}

/// The replay of commands: those before the refused one stay replayed, and a later call resumes.
Operation replayed(const std::string& name, const Change& commands) {
    return onMask(
        "proc_" + name, commands, [](Mask& mask) { mask.proc(); }, Promise::kOutputsMayChange);
}

}  // namespace

std::vector<Operation> maskOperations() {
    std::vector<Operation> operations;
    const auto painted = [](Mask& mask) { paint(mask, 20, 16, 8, 0); };
    const auto paintedAndReplayed = [](Mask& mask) {
        paint(mask, 20, 16, 8, 0);
        mask.proc();
    };

    for (bool bound : {false, true}) {
        const std::string after = bound ? "_Again" : "_First";
        operations.push_back({"TDrawMask_setInImage_Picture" + after, [=] {
                                  const auto mask = std::make_shared<Mask>();
                                  const auto image = std::make_shared<TPImage>();
                                  const cv::Mat pixels = randomPlane(60, 80, CV_8UC4);
                                  image->convertFrom(pixels.data, 80, 60, static_cast<int>(pixels.step));
                                  if (bound) mask->bind(20, 10, 4), paint(*mask, 4, 8, 4, 0), mask->proc();
                                  return Attempt{[=] { mask->setInImage(image.get()); }, [=] { return mask->seen(); }};
                              }});
        operations.push_back({"TDrawMask_setInImage_Planes" + after, [=] {
                                  const auto mask = std::make_shared<Mask>();
                                  const std::vector<cv::Mat> planes = Mask::planes(kRows, kCols, 7);
                                  if (bound) mask->bind(20, 10, 4), paint(*mask, 4, 8, 4, 0), mask->proc();
                                  return Attempt{[=] { mask->bind(planes); }, [=] { return mask->seen(); }};
                              }});
    }
    operations.push_back({"TDrawMask_TDrawMask", [] {
                              return Attempt{[] { TDrawMask mask; }, [] { return Seen(); }};
                          }});
    operations.push_back(onMask("TDrawMask_Copy", painted, [](Mask& mask) { TDrawMask copy(mask); }));
    operations.push_back({"TDrawMask_assign", [=] {
                              const auto mask = std::make_shared<Mask>(), other = std::make_shared<Mask>();
                              for (Mask* each : {mask.get(), other.get()}) each->bind(kRows, kCols, 1);
                              paint(*mask, 10, 8, 8, 0);
                              mask->proc();
                              paint(*other, 20, 16, 8, 0);
                              paint(*other, 30, 16, 8, 0);
                              return Attempt{[=] { *mask = *other; }, [=] { return mask->seen(); }};
                          }});

    operations.push_back(onMask("drawStart", painted, [](Mask& mask) { mask.drawStart(1, 2); }));
    operations.push_back(
        onMask("drawADot", painted, [](Mask& mask) { mask.drawADot(cv::Point(3, 4), 255, 10, 5, 1, 0); }));
    operations.push_back(onMask("drawADot_Hard", painted, [](Mask& mask) { mask.drawADot(cv::Point(3, 4), 255, 10); }));
    operations.push_back(onMask("drawEnd", painted, [](Mask& mask) { mask.drawEnd(); }));
    operations.push_back(onMask("setValue", painted, [](Mask& mask) { mask.setValue(9); }));
    operations.push_back(onMask("invert", painted, [](Mask& mask) { mask.invert(); }));
    operations.push_back(onMask("undo", paintedAndReplayed, [](Mask& mask) { mask.undo(); }));
    operations.push_back(onMask("reset", paintedAndReplayed, [](Mask& mask) { mask.reset(); }));
    operations.push_back(onMask(
        "undo_proc", paintedAndReplayed,
        [](Mask& mask) {
            if (!mask.m_cmdStack.empty()) mask.undo();
            mask.proc();
        },
        Promise::kOutputsMayChange));

    operations.push_back(replayed("Hard", [](Mask& mask) { paint(mask, 20, 12, 12, 0); }));
    operations.push_back(replayed("Soft", painted));
    operations.push_back(replayed("Large", [](Mask& mask) {
        paint(mask, 20, 60, 8, 0);
        paint(mask, 40, 80, 8, 0);
    }));
    operations.push_back(replayed("Tolerance", [](Mask& mask) { paint(mask, 20, 16, 8, 0.4f); }));
    operations.push_back(replayed("HardTolerance", [](Mask& mask) { paint(mask, 20, 16, 16, 0.4f); }));
    operations.push_back(replayed("TwoProfiles", [](Mask& mask) {
        paint(mask, 20, 16, 8, 0);
        paint(mask, 40, 24, 8, 0);
        paint(mask, 30, 16, 8, 0, 255);
    }));
    operations.push_back(replayed("DotWithoutStart", [](Mask& mask) {
        mask.drawADot(cv::Point(20, 20), 0, 16, 8, 1, 0);
        mask.drawADot(cv::Point(26, 20), 0, 16, 16, 1, 0);
    }));
    operations.push_back(replayed("FillAndInvert", [](Mask& mask) {
        mask.setValue(40);
        mask.invert();
        paint(mask, 20, 16, 8, 0);
        mask.invert();
    }));
    operations.push_back(replayed("SecondStroke", [](Mask& mask) {
        paint(mask, 20, 16, 8, 0);
        mask.proc();
        paint(mask, 30, 24, 12, 0);
    }));

    for (int step : {0, 1, 3}) {
        operations.push_back({"TDrawMask_getMaskRoi_" + std::to_string(step), [=] {
                                  const auto mask = std::make_shared<Mask>();
                                  mask->bind(kRows, kCols, 1);
                                  paint(*mask, 20, 16, 8, 0);
                                  mask->proc();
                                  const auto roi = std::make_shared<cv::Mat>();
                                  return Attempt{[=] { *roi = mask->getMaskRoi(cv::Rect(4, 6, 12, 10), step); },
                                                 [=] { return mask->seen().value(mask->bdirty()).plane(*roi); }};
                              }});
    }
    return operations;
}
