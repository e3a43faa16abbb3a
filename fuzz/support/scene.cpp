#include "fuzz/support/scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "fuzz/support/start.h"
#include "tests/memory/refusal.h"

void finding(const std::string& text) {
    std::fprintf(stderr, "finding: %s\n", text.c_str());
    std::abort();
}

Outcome outcomeOf(const std::function<void()>& work, Failures allowed) {
    Outcome outcome;
    try {
        work();
        Refusal::end();
        return outcome;
    } catch (const char* text) {
        Refusal::end();
        outcome.text = text;
    } catch (const std::bad_alloc&) {
        Refusal::end();
        outcome.text = "no memory";
    } catch (const cv::Exception& e) {
        Refusal::end();
        if (!allowed.openCV && e.code != cv::Error::StsNoMem) finding(std::string("a cv::Exception: ") + e.what());
        outcome.text = e.code == cv::Error::StsNoMem ? "no memory" : "cv::Exception " + std::to_string(e.code);
    } catch (int number) {
        Refusal::end();
        if (!allowed.integer || number != 0) finding("the integer " + std::to_string(number));
        outcome.text = "0";
    } catch (const std::exception& e) {
        Refusal::end();
        if (!allowed.container) finding(std::string("an exception: ") + e.what());
        outcome.text = "container";
    }
    outcome.failed = true;
    // A trace text begins with the time.
    if (outcome.text.size() > 9 && outcome.text[5] == '.') outcome.text.erase(0, 9);
    return outcome;
}

RefusedOutcome refusedOutcomeOf(const std::function<void()>& work, Failures allowed) {
    if (allocationToRefuse < 0) return {};
    const Refusal refusal(allocationToRefuse, Refusal::kOne);
    const Outcome outcome = outcomeOf(work, allowed);
    return {outcome, outcome.failed && Refusal::happened()};
}

Outcome runTwice(Scene& scene, const std::function<void(Scene&)>& used, const std::function<void(Scene&)>& fresh,
                 Failures allowed) {
    const std::unique_ptr<Scene> again = scene.copy();
    scene.watch();
    again->watch();
    RefusedOutcome first = refusedOutcomeOf([&] { used(scene); }, allowed);
    scene.check(first.outcome);
    if (first.toRepeat) {
        first.outcome = outcomeOf([&] { used(scene); }, allowed);
        scene.check(first.outcome);
    }
    const Outcome second = outcomeOf([&] { fresh(*again); }, allowed);
    again->check(second);
    if (first.outcome.failed != second.failed || first.outcome.text != second.text)
        finding("first \"" + first.outcome.text + "\", again \"" + second.text + "\"");
    Scene::compare(scene, *again);
    return second;
}

Outcome runOnce(Scene& scene, const std::function<void(Scene&)>& call, Failures allowed) {
    scene.watch();
    const Outcome outcome = outcomeOf([&] { call(scene); }, allowed);
    scene.check(outcome);
    return outcome;
}

int Scene::newBuffer(std::size_t size) {
    Buffer buffer;
    buffer.size = size;
    buffer.bytes.reset(new uchar[size], std::default_delete<uchar[]>());
    for (std::size_t i = 0; i < size; ++i) buffer.bytes.get()[i] = static_cast<uchar>(i * 37 + 11);
    m_buffers.push_back(std::move(buffer));
    return static_cast<int>(m_buffers.size()) - 1;
}

/// A plane with so many pixels of another plane on each side, the buffer ending with its last row; its first element
/// stands `shift` bytes after a multiple of an element's size.
int Scene::place(cv::Size size, int type, int margin, Role role, std::size_t shift) {
    const std::size_t pixel = CV_ELEM_SIZE(type);
    const std::size_t step = static_cast<std::size_t>(size.width + 2 * margin) * pixel;
    const std::size_t first = static_cast<std::size_t>(margin) * (step + pixel) + shift;
    const std::size_t end = first + step * static_cast<std::size_t>(size.height);
    Plane plane;
    plane.role = role;
    plane.buffer = newBuffer(end + static_cast<std::size_t>(margin) * step);
    Buffer& buffer = m_buffers.back();
    buffer.users = 1;
    if (size.width > 0 && size.height > 0)
        plane.mat = cv::Mat(size.height, size.width, type, buffer.bytes.get() + first, step);
    m_planes.push_back(plane);
    return static_cast<int>(m_planes.size()) - 1;
}

void Scene::fill(Input& input, int index) {
    cv::Mat& plane = (*this)[index];
    const int style = input.byte();
    std::uint32_t state = static_cast<std::uint32_t>(style) * 2654435761u + 1u;
    const auto random = [&] {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state >> 8;
    };
    static const float kFloats[] = {0, 1, -1, 0.5f, 1e-40f, 1e38f, -1e38f, INFINITY, -INFINITY, NAN, 65535, 1e-6f};
    for (int r = 0; r < plane.rows && plane.dims <= 2; ++r) {
        uchar* const row = plane.ptr(r);
        const std::size_t bytes = static_cast<std::size_t>(plane.cols) * plane.elemSize();
        if (plane.depth() == CV_32F) {
            for (std::size_t i = 0; i < bytes / sizeof(float); ++i) {
                const std::uint32_t n = random();
                const float value = style >= 232                  ? kFloats[n % std::size(kFloats)]
                                    : style >= 216 && n % 16 == 0 ? kFloats[n / 16 % std::size(kFloats)]
                                                                  : static_cast<float>(n % 65536) / 65535.0f;
                std::memcpy(row + i * sizeof value, &value, sizeof value);
            }
        } else {
            for (std::size_t i = 0; i < bytes; ++i) {
                const std::uint32_t n = random();
                row[i] = static_cast<uchar>(style % 8 == 0 ? style : style % 8 == 1 ? (n & 1 ? 255 : 0) : n);
            }
        }
    }
}

int Scene::addEmpty() { return place(cv::Size(), CV_8UC1, 0, Role::kOut); }

int Scene::addFitting(Input& input, cv::Size size, int type, Role role) {
    const int index = place(size, type, input.flag() ? input.below(5) : 0, role);
    fill(input, index);
    return index;
}

int Scene::add(Input& input, cv::Size size, int type, Role role, bool inPlace, bool overlapping) {
    const int choice = input.byte();
    if (choice == 255) return place(cv::Size(), type, 0, role);
    if (choice >= 250) type = someType(input);
    if (choice >= 244 && choice < 250) size.width += input.below(5) - 2;
    if (choice >= 238 && choice < 244) size.height += input.below(5) - 2;
    size = {std::max(size.width, 0), std::max(size.height, 0)};
    if (choice == 237) {
        const int sides[] = {3, 4, 5};
        const int index = place(cv::Size(20, 3), type, 0, role);
        (*this)[index] = cv::Mat(3, sides, type, m_buffers.back().bytes.get());
        return index;
    }
    if (choice == 236) return place(size, type, 0, role, 1);
    if (choice >= 220 && choice < 236 && inPlace && !m_planes.empty()) {
        Plane same = m_planes[static_cast<std::size_t>(input.below(static_cast<int>(m_planes.size())))];
        same.role = role;
        if (same.buffer >= 0) ++m_buffers[static_cast<std::size_t>(same.buffer)].users;
        m_planes.push_back(same);
        return static_cast<int>(m_planes.size()) - 1;
    }
    if (choice >= 200 && choice < 220 && overlapping && !m_planes.empty()) {
        const Plane& other = m_planes[static_cast<std::size_t>(input.below(static_cast<int>(m_planes.size())))];
        const Buffer& buffer = m_buffers[static_cast<std::size_t>(other.buffer)];
        const cv::Mat& mat = other.mat;
        const std::size_t pixel = CV_ELEM_SIZE(type);
        const std::size_t first = static_cast<std::size_t>(input.byte()) * pixel;
        if (mat.data && mat.dims <= 2 && mat.type() == type && size.width > 0 && size.height > 0 &&
            first + mat.step * static_cast<std::size_t>(size.height) <= buffer.size &&
            mat.step >= static_cast<std::size_t>(size.width) * pixel) {
            Plane over;
            over.role = role;
            over.buffer = other.buffer;
            over.mat = cv::Mat(size.height, size.width, type, buffer.bytes.get() + first, mat.step);
            ++m_buffers[static_cast<std::size_t>(other.buffer)].users;
            m_planes.push_back(over);
            return static_cast<int>(m_planes.size()) - 1;
        }
    }
    return addFitting(input, size, type, role);
}

namespace {
bool isAligned(const cv::Mat& plane) { return reinterpret_cast<std::uintptr_t>(plane.data) % plane.elemSize1() == 0; }
}  // namespace

std::unique_ptr<Scene> Scene::copy() const {
    auto other = std::make_unique<Scene>();
    for (const Buffer& buffer : m_buffers) {
        const int index = other->newBuffer(buffer.size);
        std::memcpy(other->m_buffers[static_cast<std::size_t>(index)].bytes.get(), buffer.bytes.get(), buffer.size);
        other->m_buffers[static_cast<std::size_t>(index)].users = buffer.users;
    }
    for (const Plane& plane : m_planes) {
        const bool alone = m_buffers[static_cast<std::size_t>(plane.buffer)].users == 1 && isAligned(plane.mat);
        if (alone && plane.mat.data && plane.mat.dims <= 2) {
            const int tight = other->place(plane.mat.size(), plane.mat.type(), 0, plane.role);
            plane.mat.copyTo((*other)[tight]);
        } else {
            Plane same = plane;
            if (plane.mat.data) {
                const Buffer& from = m_buffers[static_cast<std::size_t>(plane.buffer)];
                uchar* const data = other->m_buffers[static_cast<std::size_t>(plane.buffer)].bytes.get() +
                                    (plane.mat.data - from.bytes.get());
                if (plane.mat.dims > 2)
                    same.mat = cv::Mat(plane.mat.dims, plane.mat.size.p, plane.mat.type(), data);
                else
                    same.mat = cv::Mat(plane.mat.rows, plane.mat.cols, plane.mat.type(), data, plane.mat.step);
            }
            other->m_planes.push_back(same);
        }
    }
    return other;
}

void Scene::watch() {
    for (Buffer& buffer : m_buffers) buffer.before.assign(buffer.bytes.get(), buffer.bytes.get() + buffer.size);
    for (Plane& plane : m_planes) plane.header = plane.mat;
}

void Scene::check(const Outcome& outcome) const {
    for (std::size_t p = 0; p < m_planes.size(); ++p) {
        const cv::Mat &now = m_planes[p].mat, &then = m_planes[p].header;
        const bool same = now.data == then.data && now.rows == then.rows && now.cols == then.cols &&
                          now.type() == then.type() && now.dims == then.dims;
        if (!same && (outcome.failed || m_planes[p].role == Role::kIn))
            finding("plane " + std::to_string(p) + " was replaced: " + outcome.text);
    }
    for (std::size_t b = 0; b < m_buffers.size(); ++b) {
        const Buffer& buffer = m_buffers[b];
        std::vector<uchar> expected = buffer.before;
        const uchar* const begin = buffer.bytes.get();
        for (const Plane& plane : m_planes) {
            const cv::Mat& out = plane.header;
            if (outcome.failed ? plane.role != Role::kScratch : plane.role == Role::kIn) continue;
            if (plane.buffer != static_cast<int>(b) || !out.data || out.dims > 2) continue;
            for (int r = 0; r < out.rows; ++r)
                std::memcpy(expected.data() + (out.ptr(r) - begin), out.ptr(r),
                            static_cast<std::size_t>(out.cols) * out.elemSize());
        }
        for (std::size_t i = 0; i < buffer.size; ++i)
            if (begin[i] != expected[i])
                finding("byte " + std::to_string(i) + " of buffer " + std::to_string(b) + " was written" +
                        (outcome.failed ? " before the failure " + outcome.text : std::string()));
    }
}

void Scene::compare(const Scene& a, const Scene& b) {
    for (std::size_t p = 0; p < a.m_planes.size(); ++p)
        comparePlanes(a.m_planes[p].mat, b.m_planes[p].mat, "plane " + std::to_string(p));
}

void comparePlanes(const cv::Mat& a, const cv::Mat& b, const std::string& name) {
    if (a.empty() && b.empty()) return;
    if (a.size() != b.size() || a.type() != b.type() || a.dims != b.dims || !a.data != !b.data)
        finding(name + ": size or type differ");
    if (!a.data || a.dims > 2) return;
    const std::size_t bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
    for (int r = 0; r < a.rows; ++r) {
        if (std::memcmp(a.ptr(r), b.ptr(r), bytes) == 0) continue;
        for (std::size_t i = 0; i < bytes / a.elemSize1(); ++i) {
            const bool nan = a.depth() == CV_32F && std::isnan(a.ptr<float>(r)[i]) && std::isnan(b.ptr<float>(r)[i]);
            if (!nan && std::memcmp(a.ptr(r) + i * a.elemSize1(), b.ptr(r) + i * a.elemSize1(), a.elemSize1()) != 0)
                finding(name + ": element " + std::to_string(i) + " of row " + std::to_string(r) + " differs");
        }
    }
}

cv::Size someSize(Input& input, int largest) {
    const int width = input.byte() % largest + 1, height = input.byte() % largest + 1;
    switch (input.byte() % 32) {
        case 1: return {1, 1};
        case 2: return {width, 1};
        case 3: return {1, height};
        case 4: return {2, 2};
        case 5: return {0, height};
        default: return {width, height};
    }
}

int someType(Input& input) {
    static const int kOthers[] = {CV_8SC1, CV_16SC1, CV_32SC1, CV_64FC1, CV_8UC3, CV_16UC4, CV_32FC2, CV_16FC1};
    const int choice = input.byte();
    if (choice < 200) return kTypes[choice % 3];
    return kOthers[static_cast<std::size_t>(choice) % std::size(kOthers)];
}
