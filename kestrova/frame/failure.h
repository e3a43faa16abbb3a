#pragma once

// The one convention of failure: a bare text is thrown, hosts catch it as `const char*`. Nothing in the library catches
// it. Internal.

namespace kestrova::frame {

/// Throws `text`, which must be a literal; the thrown static type is `char*`.
[[noreturn]] void fail(const char* text);

/// Throws the trace text of `where`, `line` and `message` (`Kestrova::traceMsg`); the thrown static type is
/// `const char*`. The text stays readable until the next such failure on the same thread.
[[noreturn]] void failTraced(const char* where, int line, const char* message);

}  // namespace kestrova::frame
