#pragma once

#include <new>
#include <opencv2/core.hpp>

#include "kestrova/frame/failure.h"

// One way to say that there is no memory. Internal.

namespace kestrova::frame {

/// Calls `work` and returns what it returns; throws `text`, a literal, where it finds no memory.
template <class Work>
auto orFailWithoutMemory(const char* text, const Work& work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
    } catch (const cv::Exception& e) {
        if (e.code != cv::Error::StsNoMem) throw;
    }
    fail(text);
}

}  // namespace kestrova::frame
