#pragma once

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "kestrova/frame/plane_checks.h"

// Outputs that are inputs, or lie over them. An operation whose output may be an input makes the output by
// `outputLike`, its sources by `sourceBeside`, works, and assigns the output last: what a header `out` shared with an
// input stays alive until then, and where memory runs out on the way `out` is as it was. Internal.

namespace kestrova::frame {

/// Whether the memory spanned by two planes has a part in common.
inline bool overlap(const cv::Mat& a, const cv::Mat& b) {
    if (a.empty() || b.empty()) return false;
    const auto begin = [](const cv::Mat& m) { return reinterpret_cast<std::uintptr_t>(m.data); };
    const auto end = [](const cv::Mat& m) {
        return reinterpret_cast<std::uintptr_t>(m.ptr(m.rows - 1)) + static_cast<std::size_t>(m.cols) * m.elemSize();
    };
    return begin(a) < end(b) && begin(b) < end(a);
}

/// Whether writing a row of `out` may change another row of `in`: they overlap other than row upon row.
inline bool overlapAcrossRows(const cv::Mat& in, const cv::Mat& out) {
    return overlap(in, out) && (in.data != out.data || in.step[0] != out.step[0]);
}

/// The plane to be written in place of `out`: its own pixels if it has `size` and `type`, else new ones. Fails as
/// `checkElements`.
inline cv::Mat outputLike(const cv::Mat& out, cv::Size size, int type) {
    cv::Mat plane = out;
    plane.create(size, type);
    checkElements(plane);
    return plane;
}

/// How much of a source an operation may still have to read when it writes a pixel.
enum class StillRead {
    kThatPixel,  ///< no more than the source's pixel at the same place
    kThatRow,    ///< no more than the row at the same place
    kAnyRow,     ///< any row
};

/// `in`, or a copy of it where writing `out` would change what is still to be read.
inline cv::Mat sourceBeside(const cv::Mat& out, const cv::Mat& in, StillRead stillRead) {
    const bool sameRows = in.data == out.data && in.step[0] == out.step[0];
    const bool samePixels = sameRows && in.elemSize() == out.elemSize();
    const bool harmless = (stillRead == StillRead::kThatRow && sameRows) || samePixels;
    return (stillRead != StillRead::kAnyRow && harmless) || !overlap(in, out) ? in : in.clone();
}

/// The output of an operation that reads its sources to the last: it fills a plane that lies over none of them.
struct ApartOutput {
    cv::Mat filled;  ///< what the operation fills
    cv::Mat result;  ///< the pixels that `out` gets, the same where they are apart already

    /// As `outputLike`.
    ApartOutput(const cv::Mat& out, cv::Size size, int type, std::initializer_list<cv::Mat> sources)
        : filled(outputLike(out, size, type)), result(filled) {
        for (const cv::Mat& source : sources) {
            if (!overlap(source, result)) continue;
            filled = cv::Mat(size, type);
            return;
        }
    }

    void assignTo(cv::Mat& out) const {
        cv::Mat pixels = result;
        filled.copyTo(pixels);
        out = pixels;
    }
};

/// Makes `out` a copy of `in`.
inline void assignCopy(const cv::Mat& in, cv::Mat& out) {
    cv::Mat plane = outputLike(out, in.size(), in.type());
    sourceBeside(plane, in, StillRead::kThatPixel).copyTo(plane);
    out = plane;
}

}  // namespace kestrova::frame
