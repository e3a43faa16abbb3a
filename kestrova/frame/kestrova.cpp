#include "kestrova/frame/kestrova.h"

#include "kestrova/frame/process_clock.h"
#include "kestrova/frame/trace_text.h"

void (*Kestrova::m_tDebug_p)(const char*) = nullptr;

namespace {

thread_local bool printingHere = true;

}  // namespace

void Kestrova::setQDebugFunc(void (*func)(const char*)) { m_tDebug_p = func; }

void Kestrova::toQDebug(char* where, int line, const char* msg) {
    if (!m_tDebug_p) return;
    m_tDebug_p(traceMsg(where, line, msg).c_str());
}

bool Kestrova::printing() { return printingHere; }

void Kestrova::setPrinting(bool printing) { printingHere = printing; }

std::string Kestrova::traceMsg(const char* where, int line, const char* msg) {
    return traceText(secondsSinceStart(), where, line, msg);
}
