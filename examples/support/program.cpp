#include "program.h"

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "refusal.h"

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 2;
constexpr int kCancelled = 130;

int refuse(const char* name, std::string_view reason) {
    reason = reason.substr(0, reason.find('\n'));
    std::fprintf(stderr, "%s: %.*s\n", name, static_cast<int>(reason.size()), reason.data());
    return kRefused;
}

}  // namespace

int runProgram(const char* name, const std::function<void()>& run) {
    try {
        run();
        return kDone;
    } catch (const Cancelled&) {
        return kCancelled;
    } catch (const std::bad_alloc&) {
        return refuse(name, "there is not enough memory");
    } catch (const std::exception& failure) {
        return refuse(name, failure.what());
    } catch (const char* text) {  // the library's failures
        return refuse(name, text);
    } catch (int code) {
        return refuse(name, "the library failed with code " + std::to_string(code));
    } catch (...) {
        return refuse(name, "unknown failure");
    }
}
