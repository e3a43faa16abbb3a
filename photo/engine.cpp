#include "photo/engine.h"

#include <kestrova/kestrova.h>
#include <omp.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <string>

namespace kestrova::photo {

namespace {

bool speaksOfMemory(const std::string& text) {
    for (const char* word : {"not enough memory", "alloc", "Alloc", "!m_remap_p", "realloc - failed"})
        if (text.find(word) != text.npos) return true;
    return false;
}

[[noreturn]] void failedInside(const std::string& text) {
    if (speaksOfMemory(text)) throw Error(Error::Kind::memory, "not enough memory");
    throw Error(Error::Kind::programming, "the picture could not be processed: " + text);
}

}  // namespace

void rethrowAsError() {
    try {
        throw;
    } catch (const Error&) {
        throw;
    } catch (const char* text) {
        failedInside(text);
    } catch (int) {
        failedInside("a plane of another kind was expected");
    } catch (const cv::Exception& exception) {
        if (exception.code == cv::Error::StsNoMem) throw Error(Error::Kind::memory, "not enough memory");
        throw Error(Error::Kind::programming, "the picture could not be processed: " + exception.err);
    } catch (const std::bad_alloc&) {
        throw Error(Error::Kind::memory, "not enough memory");
    } catch (const std::exception& exception) {
        throw Error(Error::Kind::programming, std::string("the picture could not be processed: ") + exception.what());
    } catch (...) {
        throw Error(Error::Kind::programming, "the picture could not be processed");
    }
}

CoreScope::CoreScope(int threads)
    : m_threads(omp_get_max_threads()),
      m_dynamic(omp_get_dynamic()),
      m_levels(omp_get_max_active_levels()),
      m_printing(Kestrova::printing()) {
    omp_set_num_threads(threads);
    omp_set_dynamic(0);
    omp_set_max_active_levels(1);
    Kestrova::setPrinting(false);
}

CoreScope::~CoreScope() {
    Kestrova::setPrinting(m_printing);
    omp_set_max_active_levels(m_levels);
    omp_set_dynamic(m_dynamic);
    omp_set_num_threads(m_threads);
}

void Steps::check() const {
    if (cancelled()) throw Error(Error::Kind::cancelled, "cancelled");
}

void Steps::done(double weight) {
    double before = m_done.load(std::memory_order_relaxed);
    while (!m_done.compare_exchange_weak(before, before + weight, std::memory_order_relaxed)) {
    }
    if (std::this_thread::get_id() == m_thread) report();
}

void Steps::report() {
    const double share = std::min(1.0, m_done.load(std::memory_order_relaxed) / m_total);
    if (!m_control || !m_control->progress || share <= m_reported) return;
    m_reported = share;
    m_control->progress(share);
}

void Steps::parallel(int count, double weight, const std::function<void(int)>& task) {
    check();
    std::exception_ptr failure;
    std::mutex mutex;
    std::atomic<bool> stop{false};
#pragma omp parallel if (count > 1 && !omp_in_parallel())
    {
        const bool printing = Kestrova::printing();
        Kestrova::setPrinting(false);
#pragma omp for schedule(dynamic, 1)
        for (int i = 0; i < count; ++i) {
            if (stop.load(std::memory_order_relaxed)) continue;
            try {
                check();
                task(i);
                done(weight);
            } catch (...) {
                stop = true;
                const std::lock_guard<std::mutex> lock(mutex);
                if (!failure) failure = std::current_exception();
            }
        }
        Kestrova::setPrinting(printing);
    }
    if (failure) std::rethrow_exception(failure);
    check();
}

}  // namespace kestrova::photo
