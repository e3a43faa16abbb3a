// Loaded before the library, takes the place of two of its operations: one fails in the way that an environment variable
// names, the other answers that a solver had no memory.
#include <kestrova/kestrova.h>

#include <cstdlib>
#include <new>
#include <string>

bool TColorAdjVL::proc(const cv::Mat&, const cv::Mat&, const cv::Mat&, const cv::Mat&, cv::Mat&, cv::Mat&) {
    const std::string failure = std::getenv("KESTROVA_FAILURE");
    static char text[] = "ERROR - some text";
    if (failure == "text") throw static_cast<char*>(text);
    if (failure == "traced") throw static_cast<const char*>(text);
    if (failure == "code") throw 0;
    if (failure == "opencv") CV_Error(cv::Error::StsError, "first line\nsecond line");
    if (failure == "memory") throw std::bad_alloc();
    throw 1.5;
}

bool TWLSFilter::solved() const { return false; }
