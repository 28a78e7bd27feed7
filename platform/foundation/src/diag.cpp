// Termination on broken internal preconditions.
#include <fl/diag.hpp>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace {

std::atomic<bool> terminate_enabled{true};

const char* or_null(const char* text) {
    return text != nullptr ? text : "(null)";
}

}  // namespace

extern "C" int fl_diag_terminate(void) {
    return terminate_enabled.load(std::memory_order_relaxed) ? 1 : 0;
}

namespace foundation::core::diag {

void set_terminate_enabled(bool enabled) {
    terminate_enabled.store(enabled, std::memory_order_relaxed);
}

void terminate(const char* condition, const char* file, int line, const char* function) {
    // One fprintf call so that the report stays one line even when other
    // threads write to stderr at the same time.
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d, function %s\n",
                 or_null(condition), or_null(file), line, or_null(function));
    std::fflush(stderr);
    std::abort();
}

}  // namespace foundation::core::diag
