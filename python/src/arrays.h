#pragma once

#include <pybind11/numpy.h>

#include <opencv2/core.hpp>

#include <string>
#include <vector>

// Arrays of numpy as planes of the library: headers on the array's own pixels wherever its strides allow, that is where
// the elements of a row are contiguous and rows lie apart by a positive number of whole elements. Other arrays are
// copied. All of it needs the interpreter's lock, but for the planes themselves.

namespace kestrova::python {

namespace py = pybind11;

/// What an operation takes; combined by |.
enum Depth : unsigned { kBytes = 1, kWords = 2, kFloats = 4 };

/// Channels of an array of rows: none for (height, width), n for (height, width, n), any number of them or none.
constexpr int kPlane = 0, kAnyChannels = -1;

/// An array and a plane on its pixels, or on those of a copy. The array is kept alive; the plane does not own it.
struct Input {
    py::array array;
    cv::Mat plane;
};

/// The argument `name` as a plane. Throws TypeError for what is no array or has another dtype, ValueError for another
/// shape and for an array without pixels; the texts say what was expected.
Input inputOf(py::handle argument, const char* name, unsigned depths, int channels = kPlane);

/// As `inputOf`, with ValueError unless the plane has this size.
Input inputOf(py::handle argument, const char* name, unsigned depths, cv::Size size);

/// One plane of an array (height, width), or three of (height, width, 3).
std::vector<Input> guideOf(py::handle argument, const char* name, unsigned depths);

/// The planes of several inputs.
std::vector<cv::Mat> planesOf(const std::vector<Input>& inputs);

/// A plane that holds a reference to the array, for objects that keep planes.
cv::Mat sharedPlane(const Input& input);

/// An array on the pixels of `plane`, which it keeps alive; no copy.
py::array arrayOf(const cv::Mat& plane, bool writeable = true);

/// Where a result goes: an array of the caller's (`out=`) or a new one.
class Output {
public:
    /// `out` may be None. Throws TypeError or ValueError for an array of another dtype or shape, and for one that is
    /// read-only.
    Output(py::handle out, cv::Size size, int type);

    /// The pixels to be written: those of the array, or of a plane aside where its strides do not allow that.
    cv::Mat plane;

    /// Writes aside if the array's memory overlaps the input's: for operations whose output may not be an input.
    void keepOff(const Input& input);
    /// Fills the plane with the input's pixels, for operations that work in place. It is then the input's own, or lies
    /// aside from an array of the caller's, which keeps its values if the operation fails.
    void fill(const Input& input);

    /// The array, with the result in it.
    py::array done();

private:
    py::array m_array;
    bool m_isCallers = false;
    cv::Mat m_inArray;  // header on the array's pixels; empty where its strides do not allow one
};

/// The member of Depth.
unsigned depthBit(int depth);
/// "uint8", "uint16" or "float32".
std::string dtypeName(int depth);

/// Throws ValueError.
[[noreturn]] void refuse(const std::string& text);

}  // namespace kestrova::python
