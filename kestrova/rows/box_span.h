#pragma once

// Where windows of 2r + 1 pixels lie. Internal.

namespace kestrova::rows {

/// What windows that reach beyond a plane find there.
enum class BoxBorder {
    kReplicated,  ///< a mean for every pixel, the outermost pixels being repeated
    kInside,      ///< a mean where the window lies inside the planes: 2r pixels fewer each way
};

/// Along one side of planes: where the windows of 2r + 1 pixels lie.
struct BoxAxis {
    int planeLength, r;
    BoxBorder border;

    int side() const { return 2 * r + 1; }
    int length() const { return border == BoxBorder::kInside ? planeLength - 2 * r : planeLength; }
    /// What all windows cover begins so many pixels before the plane.
    int margin() const { return border == BoxBorder::kInside ? 0 : r; }
    /// The pixel of the plane at pixel `i` of what all windows cover: the windows of mean y cover y to y + 2r.
    int inPlane(int i) const {
        const int at = i - margin();
        return at < 0 ? 0 : at < planeLength ? at : planeLength - 1;
    }
};

/// The pixels of a plane under the windows of the means [first, end), and how often the outermost ones are repeated.
struct BoxSpan {
    int first, end;  ///< of the plane
    int before, behind;

    BoxSpan(const BoxAxis& axis, int firstMean, int endMean)
        : first(axis.inPlane(firstMean)),
          end(axis.inPlane(endMean - 1 + 2 * axis.r) + 1),
          before(first + axis.margin() - firstMean),
          behind(endMean + 2 * axis.r - axis.margin() - end) {}
    int count() const { return end - first; }
};

}  // namespace kestrova::rows
