#include "program.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "refusal.h"

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 2;
constexpr int kCancelled = 130;

/// Some failures have several lines: the user gets one.
int refuse(const char* name, std::string reason) {
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    std::fprintf(stderr, "%s: %s\n", name, reason.c_str());
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
