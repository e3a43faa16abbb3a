#pragma once

#include <functional>
#include <opencv2/core.hpp>
#include <ostream>
#include <string>
#include <vector>

/// What the host can see of outputs and objects, in copies.
class Seen {
public:
    /// A plane: its size, its type and its pixels, or that it has none.
    Seen& plane(const cv::Mat& plane);
    /// Size and type of a plane alone, and whether it has pixels.
    Seen& form(const cv::Mat& plane);
    Seen& bytes(const void* data, std::size_t size);
    template <class Number>
    Seen& value(Number number) {
        return bytes(&number, sizeof number);
    }
    friend bool operator==(const Seen& a, const Seen& b) { return a.m_parts == b.m_parts; }
    /// The number of the first part that differs.
    static std::size_t firstDifference(const Seen& a, const Seen& b);

private:
    std::vector<std::string> m_parts;
};

/// An operation with its arguments, set up and ready to be called.
struct Attempt {
    std::function<void()> call;
    std::function<Seen()> seen;
};

/// What the host is promised where an allocation is refused, besides a failure with a text or the whole result.
enum class Promise {
    kNothingChanged,    ///< outputs and objects are as they were
    kOutputsMayChange,  ///< they may have been changed; the operation may be repeated
    kDoneOrUntouched,   ///< no failure where nothing is changed
};

/// How the failure is documented.
enum class Thrown {
    kText,
    kTextOrAllocators,  ///< what allocators throw passes through: `std::bad_alloc`, and OpenCV's own exception
    kTextOrZero,        ///< the integer 0
};

struct Operation {
    std::string name;
    std::function<Attempt()> prepare;
    Promise promise = Promise::kNothingChanged;
    Thrown thrown = Thrown::kText;
    std::string text = {};  ///< the text about memory where it is documented word for word
};

/// Those whose names begin so are documented to throw something else than a text.
void document(Thrown thrown, const std::vector<std::string>& beginnings, std::vector<Operation>& operations);

/// Those whose names begin so are documented to throw that text.
void documentText(const std::string& text, const std::string& beginning, std::vector<Operation>& operations);

inline void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

std::vector<Operation> imageOperations();
std::vector<Operation> thinImageOperations();
std::vector<Operation> curvesOperations();
std::vector<Operation> resampleOperations();
std::vector<Operation> filtersOperations();
std::vector<Operation> detailOperations();
std::vector<Operation> maskOperations();
std::vector<Operation> frameOperations();
