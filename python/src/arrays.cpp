#include "arrays.h"

#include <pybind11/stl.h>

#include <climits>

namespace kestrova::python {

namespace {

constexpr struct {
    unsigned depth;
    int cv;
    const char* name;
} kDepths[] = {{kBytes, CV_8U, "uint8"}, {kWords, CV_16U, "uint16"}, {kFloats, CV_32F, "float32"}};

std::string namesOf(unsigned depths) {
    std::string names;
    unsigned left = depths;
    for (const auto& d : kDepths) {
        if (!(left & d.depth)) continue;
        left &= ~d.depth;
        names += (names.empty() ? "" : left ? ", " : " or ") + std::string(d.name);
    }
    return names;
}

std::string shapeName(int channels) {
    if (channels == kPlane) return "(height, width)";
    if (channels == kAnyChannels)
        return "(height, width) or (height, width, channels) with 2 to " + std::to_string(CV_CN_MAX) + " channels";
    return "(height, width, " + std::to_string(channels) + ")";
}

std::string shapeOf(const py::array& array) { return py::str(array.attr("shape")); }

std::string expected(unsigned depths, int channels) {
    return "an array of shape " + shapeName(channels) + " and dtype " + namesOf(depths);
}

[[noreturn]] void mismatch(const char* name, const std::string& wanted, const py::array& array) {
    throw py::value_error(std::string(name) + ": expected " + wanted + ", got shape " + shapeOf(array) + " and dtype " +
                          std::string(py::str(array.dtype())));
}

// The depth of OpenCV, -1 for others: any other kind or size, or another order of bytes.
int depthOf(const py::array& array) {
    for (const auto& d : kDepths)
        if (array.dtype().equal(py::dtype(d.name))) return d.cv;
    return -1;
}

py::array checkedArray(py::handle argument, const char* name, unsigned depths, const std::string& wanted) {
    if (!py::isinstance<py::array>(argument))
        throw py::type_error(std::string(name) + ": expected " + wanted + ", got " +
                             std::string(py::str(py::type::handle_of(argument).attr("__name__"))));
    const auto array = py::reinterpret_borrow<py::array>(argument);
    const int depth = depthOf(array);
    for (const auto& d : kDepths)
        if (d.cv == depth && (depths & d.depth)) return array;
    throw py::type_error(std::string(name) + ": expected " + wanted + ", got dtype " +
                         std::string(py::str(array.dtype())));
}

void checkLimits(const char* name, const std::string& wanted, const py::array& array) {
    for (py::ssize_t i = 0; i < array.ndim(); ++i)
        if (array.shape(i) > INT_MAX) mismatch(name, wanted + " and of less than 2**31 pixels a side", array);
    if (array.size() == 0) mismatch(name, wanted + " with pixels", array);
}

int channelsOf(const py::array& array) { return array.ndim() == 3 ? static_cast<int>(array.shape(2)) : 1; }

// Whether a header can describe the array.
bool hasPlainRows(const py::array& array) {
    const py::ssize_t item = array.itemsize(), pixel = item * channelsOf(array);
    if (reinterpret_cast<std::uintptr_t>(array.data()) % static_cast<std::size_t>(item) != 0) return false;
    if (array.ndim() == 3 && array.shape(2) > 1 && array.strides(2) != item) return false;
    if (array.shape(1) > 1 && array.strides(1) != pixel) return false;
    const py::ssize_t row = array.strides(0);
    return array.shape(0) == 1 || (row >= pixel * array.shape(1) && row % item == 0);
}

cv::Mat headerOf(const py::array& array) {
    const int rows = static_cast<int>(array.shape(0)), cols = static_cast<int>(array.shape(1));
    const int type = CV_MAKETYPE(depthOf(array), channelsOf(array));
    const std::size_t step = rows == 1 ? std::size_t{cv::Mat::AUTO_STEP} : static_cast<std::size_t>(array.strides(0));
    return cv::Mat(rows, cols, type, const_cast<void*>(array.data()), step);
}

Input inputOfArray(const py::array& array) {
    Input input;
    input.array = hasPlainRows(array)
                      ? array
                      : py::array(py::module_::import("numpy").attr("array")(array, py::arg("order") = "C"));
    input.plane = headerOf(input.array);
    return input;
}

// Planes of numpy's memory: the reference is given back when the last header on it goes, on whatever thread.
class ArrayAllocator : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    }
    bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
        return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
    }
    void deallocate(cv::UMatData* data) const override {
        if (!data) return;
        if (Py_IsInitialized()) {
            py::gil_scoped_acquire lock;
            Py_DECREF(static_cast<PyObject*>(data->userdata));
        }
        delete data;
    }
};

bool overlap(const cv::Mat& one, const cv::Mat& other) {
    return !one.empty() && !other.empty() && one.datastart < other.dataend && other.datastart < one.dataend;
}

bool same(const cv::Mat& one, const cv::Mat& other) {
    return one.data == other.data && one.step[0] == other.step[0] && one.size() == other.size() &&
           one.type() == other.type();
}

}  // namespace

Input inputOf(py::handle argument, const char* name, unsigned depths, int channels) {
    const std::string wanted = expected(depths, channels);
    const py::array array = checkedArray(argument, name, depths, wanted);
    const bool fits = channels == kPlane         ? array.ndim() == 2
                      : channels == kAnyChannels ? array.ndim() == 2 || (array.ndim() == 3 && array.shape(2) > 1 &&
                                                                         array.shape(2) <= CV_CN_MAX)
                                                 : array.ndim() == 3 && array.shape(2) == channels;
    if (!fits) mismatch(name, wanted, array);
    checkLimits(name, wanted, array);
    return inputOfArray(array);
}

Input inputOf(py::handle argument, const char* name, unsigned depths, cv::Size size) {
    Input input = inputOf(argument, name, depths);
    if (input.plane.size() != size)
        mismatch(name,
                 "an array of shape (" + std::to_string(size.height) + ", " + std::to_string(size.width) +
                     ") and dtype " + namesOf(depths),
                 input.array);
    return input;
}

std::vector<Input> guideOf(py::handle argument, const char* name, unsigned depths) {
    const std::string wanted = "an array of shape (height, width) or (height, width, 3) and dtype " + namesOf(depths);
    const py::array array = checkedArray(argument, name, depths, wanted);
    if (array.ndim() != 2 && !(array.ndim() == 3 && array.shape(2) == 3)) mismatch(name, wanted, array);
    checkLimits(name, wanted, array);
    std::vector<Input> planes;
    if (array.ndim() == 2) planes.push_back(inputOfArray(array));
    for (int c = 0; array.ndim() == 3 && c < 3; ++c)
        planes.push_back(inputOfArray(array[py::make_tuple(py::ellipsis(), c)]));
    return planes;
}

std::vector<cv::Mat> planesOf(const std::vector<Input>& inputs) {
    std::vector<cv::Mat> planes;
    for (const Input& input : inputs) planes.push_back(input.plane);
    return planes;
}

cv::Mat sharedPlane(const Input& input) {
    static const ArrayAllocator allocator;
    cv::Mat plane = input.plane;
    plane.u = new cv::UMatData(&allocator);
    plane.u->data = plane.u->origdata = plane.data;
    plane.u->size = static_cast<std::size_t>(plane.dataend - plane.datastart);
    plane.u->userdata = input.array.ptr();
    plane.u->refcount = 1;
    input.array.inc_ref();
    return plane;
}

py::array arrayOf(const cv::Mat& plane, bool writeable) {
    const py::capsule owner(new cv::Mat(plane), [](void* mat) { delete static_cast<cv::Mat*>(mat); });
    const auto item = static_cast<py::ssize_t>(plane.elemSize1());
    std::vector<py::ssize_t> shape{plane.rows, plane.cols};
    std::vector<py::ssize_t> strides{static_cast<py::ssize_t>(plane.step[0]), item * plane.channels()};
    if (plane.channels() > 1) {
        shape.push_back(plane.channels());
        strides.push_back(item);
    }
    py::array array(py::dtype(dtypeName(plane.depth())), shape, strides, plane.data, owner);
    if (!writeable) array.attr("flags").attr("writeable") = false;
    return array;
}

Output::Output(py::handle out, cv::Size size, int type) {
    std::vector<py::ssize_t> shape{size.height, size.width};
    if (CV_MAT_CN(type) > 1) shape.push_back(CV_MAT_CN(type));
    const int depth = CV_MAT_DEPTH(type);
    if (out.is_none()) {
        m_array = py::array(py::dtype(dtypeName(depth)), shape);
    } else {
        m_isCallers = true;
        const unsigned bit = depthBit(depth);
        const std::string wanted = "a writeable array of shape " + std::string(py::str(py::tuple(py::cast(shape)))) +
                                   " and dtype " + dtypeName(depth);
        m_array = checkedArray(out, "out", bit, wanted);
        bool fits = m_array.ndim() == static_cast<py::ssize_t>(shape.size());
        for (std::size_t i = 0; fits && i < shape.size(); ++i) fits = m_array.shape(i) == shape[i];
        if (!fits) mismatch("out", wanted, m_array);
        if (!m_array.writeable()) throw py::value_error("out: expected " + wanted + ", got one that is read-only");
    }
    if (m_array.size() == 0) {
        plane = cv::Mat(size, type);
        return;
    }
    if (hasPlainRows(m_array)) m_inArray = headerOf(m_array);
    plane = m_inArray.empty() ? cv::Mat(size, type) : m_inArray;
}

void Output::keepOff(const Input& input) {
    if (overlap(plane, input.plane)) plane = cv::Mat(plane.size(), plane.type());
}

void Output::fill(const Input& input) {
    if (same(plane, input.plane)) return;
    if (m_isCallers) plane = cv::Mat(plane.size(), plane.type());
    input.plane.copyTo(plane);
}

py::array Output::done() {
    if (m_array.size() == 0 || same(plane, m_inArray)) return m_array;
    if (!m_inArray.empty())
        plane.copyTo(m_inArray);
    else
        py::module_::import("numpy").attr("copyto")(m_array, arrayOf(plane));
    return m_array;
}

unsigned depthBit(int depth) {
    for (const auto& d : kDepths)
        if (d.cv == depth) return d.depth;
    throw std::logic_error("no dtype for a plane of depth " + std::to_string(depth));
}

std::string dtypeName(int depth) {
    for (const auto& d : kDepths)
        if (d.cv == depth) return d.name;
    throw std::logic_error("no dtype for a plane of depth " + std::to_string(depth));
}

void refuse(const std::string& text) { throw py::value_error(text); }

}  // namespace kestrova::python
