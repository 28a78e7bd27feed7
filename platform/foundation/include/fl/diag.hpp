// Diagnostics of the foundation layer: what happens when code finds one of its
// own preconditions broken.
//
// Code that detects a broken internal precondition first asks
// fl_diag_terminate() whether diagnostics should stop the process and, if so,
// calls foundation::core::diag::terminate(), which reports the failure on one
// line of stderr and aborts. Tests that want to walk past such a point switch
// termination off with set_terminate_enabled(false):
//
//     if (!(cond) && fl_diag_terminate() != 0)
//         foundation::core::diag::terminate("cond", __FILE__, __LINE__, __func__);
#pragma once

extern "C" {
/// Non-zero when a failed assertion should end the process (the default);
/// zero while termination is switched off.
int fl_diag_terminate(void);
}

namespace foundation::core::diag {

/// Switches termination on failed assertions on or off for the whole process
/// (thread-safe). Meant for tests of code paths behind assertions.
void set_terminate_enabled(bool enabled);

/// Writes one line to stderr,
///   "Assertion failed: <condition>, file <file>, line <line>, function <function>",
/// and aborts. Null texts are written as "(null)".
[[noreturn]] void terminate(const char* condition, const char* file, int line,
                            const char* function);

}  // namespace foundation::core::diag
