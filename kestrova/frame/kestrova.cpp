#include "kestrova/frame/kestrova.h"

#include <cstdint>
#include <ctime>

#include "kestrova/frame/trace_text.h"

namespace {

// The process's clock in milliseconds, as the 32 bits that hosts know it by.
std::int32_t clockMilliseconds() {
    return static_cast<std::int32_t>(static_cast<std::int64_t>(std::clock()) * 1000 / CLOCKS_PER_SEC);
}

thread_local bool printingHere = true;

}  // namespace

void (*Kestrova::m_tDebug_p)(const char*) = nullptr;

void Kestrova::setQDebugFunc(void (*func)(const char*)) { m_tDebug_p = func; }

void Kestrova::toQDebug(char* where, int line, const char* msg) {
    if (!m_tDebug_p) return;
    m_tDebug_p(traceMsg(where, line, msg).c_str());
}

bool Kestrova::printing() { return printingHere; }

void Kestrova::setPrinting(bool printing) { printingHere = printing; }

std::string Kestrova::traceMsg(const char* where, int line, const char* msg) {
    return traceText(clockMilliseconds() * 0.001, where, line, msg);
}
