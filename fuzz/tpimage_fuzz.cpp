#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

/// Pixels of the host's as the interface takes them: the address of the first row, and a step that may be negative.
template <class Pixel>
struct Pixels {
    Pixel* first;
    int step;
    Pixels(cv::Mat& plane, bool bottomUp) : first(plane.ptr<Pixel>()), step(static_cast<int>(plane.step)) {
        if (!bottomUp || plane.empty()) return;
        first = plane.ptr<Pixel>(plane.rows - 1);
        step = -step;
    }
};

void comparePictures(const TPImage& a, const TPImage& b) {
    comparePlanes(a.m_Y, b.m_Y, "m_Y");
    comparePlanes(a.m_Dr, b.m_Dr, "m_Dr");
    comparePlanes(a.m_Db, b.m_Db, "m_Db");
    comparePlanes(a.m_mask, b.m_mask, "m_mask");
}

/// A width or height that a buffer of `real` can serve or that is refused.
int servable(Input& input, int real, int largest) {
    if (!input.rarely(8)) return real;
    const int n = input.number();
    return n <= real || n > largest ? n : real;
}

void in(Input& input, TPImage& used) {
    Scene scene;
    const int kind = input.below(4);
    const cv::Size size = someSize(input);
    const bool bottomUp = input.rarely(3), null = input.rarely(24);
    const int shorter = input.rarely(12) ? input.number() : 0;
    std::vector<int> planes;
    const int type = kind == 0 ? CV_8UC4 : kind == 1 ? CV_16UC4 : CV_16UC1;
    if (kind < 2) {
        planes.push_back(scene.addFitting(input, size, type, Role::kIn));
    } else {
        const int whole = scene.addFitting(input, cv::Size(size.width, 3 * size.height), type, Role::kIn);
        planes.push_back(whole);
    }
    const int h = size.height, someWidth = servable(input, size.width, 1 << 20);
    const int height = input.rarely(8) ? std::min(input.number(), h) : h;
    // One row may have any step: its width cannot be refused.
    const int w = height == 1 ? std::min(someWidth, size.width) : someWidth;
    TPImage fresh;
    const auto call = [=](Scene& s, TPImage& image) {
        cv::Mat& plane = s[planes[0]];
        if (kind == 0) {
            const Pixels<uchar> p(plane, bottomUp);
            image.convertFrom(null ? nullptr : p.first, w, height, p.step - shorter);
        } else if (kind == 1) {
            const Pixels<ushort> p(plane, bottomUp);
            image.convertFrom(null ? nullptr : p.first, w, height, p.step / int(sizeof(ushort)) - shorter);
        } else {
            ushort* three[3];
            int step = 0;
            for (int i = 0; i < 3; ++i) {
                cv::Mat part = plane.empty() ? cv::Mat() : plane.rowRange(i * h, (i + 1) * h);
                const Pixels<ushort> p(part, bottomUp);
                three[i] = null && i == 1 ? nullptr : p.first;
                step = p.step - shorter;
            }
            kind == 2 ? image.convertFrompRGB(three, w, height, step)
                      : image.convertFrompRGB15U(three, w, height, step);
        }
    };
    // Steps shorter than a row are refused; one that was made longer would lie about the buffer. The rows of the second
    // run lie tight.
    const long long row = static_cast<long long>(w) * CV_ELEM_SIZE(type);
    for (const std::size_t step : {scene[planes[0]].step[0], size.width * std::size_t(CV_ELEM_SIZE(type))}) {
        if (shorter == 0) break;
        const int signedStep = (bottomUp ? -1 : 1) * static_cast<int>(step);
        const long long changed = kind == 1 ? 2LL * (signedStep / 2 - static_cast<long long>(shorter))
                                            : static_cast<long long>(signedStep) - shorter;
        if (w <= 0 || w > size.width || std::llabs(changed) >= row || std::llabs(changed) > 1 << 30) return;
    }
    // The size is judged by its product in 32 bits: one below 1 changes nothing.
    const bool hasPixels = static_cast<int>(static_cast<unsigned>(w) * static_cast<unsigned>(height)) > 0;
    // A luminance of that size keeps whatever half planes stand beside it.
    const cv::Size half(used.hWidth(), used.hHeight());
    const bool keepsOthers = used.width() == w && used.height() == height &&
                             (used.m_Dr.size() != half || used.m_Db.size() != half || used.m_mask.size() != half);
    if (keepsOthers) {
        runOnce(scene, [&](Scene& s) { call(s, used); });
        return;
    }
    const Outcome outcome = runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
    if (!outcome.failed && hasPixels) comparePictures(used, fresh);
    if (hasPixels && (w < 0 || height < 0)) {
        const std::string operation = kind < 2 ? "convertFrom" : "convertFrompRGB";
        if (outcome.text != "ERROR - TPImage::" + operation + " - width<0 || height<0") finding(outcome.text);
    }
}

void out(Input& input, TPImage& used) {
    Scene scene;
    const int kind = input.below(4);
    const bool bottomUp = kind == 0 && input.rarely(3), null = input.rarely(24);
    const cv::Size size = kind == 3 ? cv::Size(used.hWidth(), used.hHeight()) : cv::Size(used.width(), used.height());
    const int type = kind == 0 ? CV_8UC4 : kind == 3 ? CV_8UC1 : CV_16UC1;
    const int plane =
        scene.addFitting(input, kind == 0 ? size : cv::Size(size.width, 3 * size.height), type, Role::kOut);
    TPImage fresh(used);
    for (cv::Mat* half : {&fresh.m_Y, &fresh.m_Dr, &fresh.m_Db})
        if (!half->empty()) *half = half->clone();
    const auto call = [=](Scene& s, TPImage& image) {
        cv::Mat& whole = s[plane];
        if (kind == 0) {
            const Pixels<uchar> p(whole, bottomUp);
            return image.convertTo(null ? nullptr : p.first, p.step);
        }
        uchar* three[3] = {};
        for (int i = 0; i < 3 && !whole.empty(); ++i) three[i] = null && i == 2 ? nullptr : whole.ptr(i * size.height);
        ushort* words[3];
        for (int i = 0; i < 3; ++i) words[i] = reinterpret_cast<ushort*>(three[i]);
        const int step = static_cast<int>(whole.step);
        if (kind == 1) return image.convertTopRGB(words, step);
        if (kind == 2) return image.convertTopRGB15U(words, step);
        image.convertToHalfpRGB(three, step);
    };
    runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
}

void roi(Input& input) {
    Scene scene;
    const int in = scene.add(input, someSize(input), someType(input), Role::kIn), result = scene.addEmpty();
    const int x = input.number(), y = input.number(), w = input.number(), h = input.number();
    const int scale = input.rarely(4) ? input.number() : 1 + input.below(9);
    const bool half = input.flag(), smooth = input.flag();
    runTwice(scene, [=](Scene& s) { s[result] = TPImage::MatRoi(s[in], x, y, w, h, scale, half, smooth); });
}

void planes(Input& input) {
    Scene scene;
    const int kind = input.below(6);
    const cv::Size size = someSize(input);
    const cv::Size half = kind == 5 ? cv::Size((size.width + 1) / 2, (size.height + 1) / 2) : size;
    const int outType = kind == 4 ? CV_8UC1 : CV_16UC1;
    const int a = scene.add(input, size, CV_16UC1, Role::kIn), b = scene.add(input, half, CV_16UC1, Role::kIn),
              c = scene.add(input, half, CV_16UC1, Role::kIn);
    if (kind < 2) {
        const int y = scene.add(input, size, CV_16UC1, Role::kOut, true);
        runTwice(scene, [=](Scene& s) {
            kind == 0 ? TPImage::PRGB2Y(s[a], s[b], s[c], s[y]) : TPImage::PRGB15U2Y(s[a], s[b], s[c], s[y]);
        });
    } else if (kind < 5) {
        const int r = scene.add(input, size, outType, Role::kOut), g = scene.add(input, size, outType, Role::kOut),
                  bl = scene.add(input, size, outType, Role::kOut);
        runTwice(scene, [=](Scene& s) {
            const TPImage image;
            if (kind == 2) TPImage::YDRDB2RGB(s[a], s[b], s[c], s[r], s[g], s[bl]);
            if (kind == 3) image.YDRDB2RGB15U(s[a], s[b], s[c], s[r], s[g], s[bl]);
            if (kind == 4) image.YDRDB2RGB8U(s[a], s[b], s[c], s[r], s[g], s[bl]);
        });
    } else {
        const int dst = scene.addFitting(input, size, CV_8UC4, Role::kOut);
        const int less = input.rarely(4) ? input.below(4) : 0;
        const bool bottomUp = input.rarely(3);
        runTwice(scene, [=](Scene& s) {
            const Pixels<uchar> p(s[dst], bottomUp);
            TPImage::YDRDBToQImage(s[a], s[b], s[c], p.first, size.width - less, size.height, p.step);
        });
    }
}

void colour(Input& input) {
    const float r = input.real(), g = input.real(), b = input.real();
    ushort y, u, v;
    uchar y8, u8, v8;
    float red, green, blue;
    TPImage::RGB2YdRdB(r, g, b, y, u, v);
    TPImage::YdRdB2RGB(y, u, v, red, green, blue);
    TPImage::RGB2YUV(r, g, b, y, u, v);
    TPImage::YUV2RGB(y, u, v, red, green, blue);
    TPImage::RGB2YUV(r, g, b, y, u8, v8);
    TPImage::YUV2RGB(y, u8, v8, red, green, blue);
    TPImage::RGB2YUV(r, g, b, y8, u8, v8);
    TPImage::YUV2RGB(y8, u8, v8, red, green, blue);
}

void change(Input& input, TPImage& used) {
    const int kind = input.below(6), number = input.rarely(4) ? input.number() : input.below(40), h = input.below(40);
    // Small, or of more pixels than a plane may have.
    const int w = number > 256 && number < 1 << 28 ? number % 256 : number;
    outcomeOf(
        [&] {
            switch (kind) {
                case 0: return used.create(w, h);
                case 1: return used.release();
                case 2: {
                    const TPImage copy = used.clone(true);
                    return comparePictures(used, copy);
                }
                case 3: {
                    TPImage other(w % 64, h);
                    used.copyTo(other, input.flag());
                    used = other;
                    return;
                }
                case 4: {
                    const TPImage shared(used);
                    return comparePictures(used, shared);
                }
                default: used.updateUid();
            }
        },
        {true, false, false});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    TPImage used;
    for (int calls = 0; calls < 6 && input.more(); ++calls) {
        switch (input.below(7)) {
            case 0:
            case 1: in(input, used); break;
            case 2: out(input, used); break;
            case 3: roi(input); break;
            case 4: planes(input); break;
            case 5: colour(input); break;
            default: change(input, used);
        }
    }
    return 0;
}
