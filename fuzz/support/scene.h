#pragma once

#include <functional>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "fuzz/support/input.h"

/// What the host sees of a call: how it ends, and what it leaves.
struct Outcome {
    bool failed = false;
    std::string text;
};

/// The ways to fail that a class documents besides a text.
struct Failures {
    bool openCV = false;     ///< `cv::Exception`
    bool integer = false;    ///< the integer 0
    bool container = false;  ///< what the containers of the standard library throw
};

/// Calls `work`; a way to fail that nothing documents ends the run as a finding.
Outcome outcomeOf(const std::function<void()>& work, Failures allowed = {});

/// `outcomeOf` where an allocation is refused, if the process is to refuse any.
struct RefusedOutcome {
    Outcome outcome;
    bool toRepeat = true;  ///< nothing has been called, or it has failed where it got no memory
};
RefusedOutcome refusedOutcomeOf(const std::function<void()>& work, Failures allowed = {});

/// Ends the run as a finding.
[[noreturn]] void finding(const std::string& text);

/// What a plane is for; scratch may be changed before a failure too.
enum class Role { kIn, kOut, kInOut, kScratch };

/// The planes of a call, in buffers whose other bytes are watched.
class Scene {
public:
    Scene() = default;
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// A plane that has, as a rule, that size and type. It is a plane of its own or a part of a larger one; now and
    /// then it is of another size or type, at an odd address, without pixels, or of three dimensions. `inPlace` and
    /// `overlapping` allow it to be an earlier plane, or to run over one.
    int add(Input& input, cv::Size size, int type, Role role, bool inPlace = false, bool overlapping = false);
    /// The same without surprises.
    int addFitting(Input& input, cv::Size size, int type, Role role);
    /// An output that has no pixels before the call.
    int addEmpty();

    cv::Mat& operator[](int plane) { return m_planes[static_cast<std::size_t>(plane)].mat; }

    /// A copy whose planes lie tight where they share nothing.
    std::unique_ptr<Scene> copy() const;
    /// Remembers all bytes.
    void watch();
    /// Finds bytes that have changed and must not have: those outside of outputs and, after a failure, all.
    void check(const Outcome& outcome) const;
    /// Finds a difference between the outputs of two runs.
    static void compare(const Scene& a, const Scene& b);

private:
    struct Buffer {
        std::shared_ptr<uchar> bytes;
        std::size_t size = 0;
        std::vector<uchar> before;
        int users = 0;
    };
    struct Plane {
        cv::Mat mat;
        cv::Mat header;  ///< as it was when it was watched
        int buffer = -1;
        Role role = Role::kIn;
    };

    int newBuffer(std::size_t size);
    int place(cv::Size size, int type, int margin, Role role, std::size_t shift = 0);
    void fill(Input& input, int plane);

    std::vector<Plane> m_planes;
    std::vector<Buffer> m_buffers;
};

/// A small size, one of the shapes that break things more often than not.
cv::Size someSize(Input& input, int largest = 40);
/// One of the types of single-channel planes that the library takes, now and then another.
int someType(Input& input);
constexpr int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};

/// Runs `used` on the scene and `fresh` on a copy of it: the two end the same way and leave the same pixels. Where the
/// process is to refuse allocations, `used` runs once more before, with one refused; that leaves all as it was.
Outcome runTwice(Scene& scene, const std::function<void(Scene&)>& used, const std::function<void(Scene&)>& fresh,
                 Failures allowed = {});

/// The same of a function.
inline Outcome runTwice(Scene& scene, const std::function<void(Scene&)>& call, Failures allowed = {}) {
    return runTwice(scene, call, call, allowed);
}

/// Runs `call` once: for results that are documented as undefined.
Outcome runOnce(Scene& scene, const std::function<void(Scene&)>& call, Failures allowed = {});

/// Finds a difference between two planes; all NaN are the same.
void comparePlanes(const cv::Mat& a, const cv::Mat& b, const std::string& name);
