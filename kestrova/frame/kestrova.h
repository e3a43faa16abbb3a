#pragma once

#include <string>

#include "kestrova/export.h"

/// Tracing: texts with a time stamp for the host's own debug output. One hook serves the whole process. The library
/// itself never traces; a failure is a thrown text and does not pass through the hook.
class KESTROVA_EXPORT Kestrova {
public:
    /// Nothing: an object has no state, and all that is useful is static.
    Kestrova() {}
    /// Nothing.
    Kestrova(const Kestrova&) {}
    /// Nothing.
    Kestrova& operator=(const Kestrova&) { return *this; }

    /// Installs `func`, replacing the hook before it; null switches tracing off. To be called before work starts:
    /// the hook is not guarded against concurrent use.
    static void setQDebugFunc(void (*func)(const char*));

    /// Hands `traceMsg(where, line, msg)` to the hook, which may read the text only until it returns. Without a hook
    /// nothing is formatted. `where` is only read, but has to be an array of the host's, as in
    /// `char where[] = __FILE__`: a literal is constant.
    static void toQDebug(char* where, int line, const char* msg);

    /// "SSSSS.mmm - line - where : msg - ", the time being that of `clock()` in seconds since the process began, with
    /// leading zeros ("00012.345"): processor time of all its threads, except where the platform's `clock()` counts
    /// real time. The text ends in a blank, a dash and a blank; that is intentional. Null texts count as empty.
    static std::string traceMsg(const char* where, int line, const char* msg);

    /// Whether the four operations that document a line on standard output print it when called from this thread. True
    /// in every thread until `setPrinting(false)`; other threads keep their own answer.
    static bool printing();
    /// Sets the answer of `printing()` for this thread.
    static void setPrinting(bool printing);

    static void (*m_tDebug_p)(const char*);  ///< the hook; null while there is none
};
