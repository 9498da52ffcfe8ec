#pragma once

// Work split between this thread and one other, for the few large loops that are worth it.

#include <exception>
#include <thread>

namespace qv {

// Runs `here` on this thread and `there` on another and returns when both are done. An exception
// on either side (memory running out, say) is passed on here once both have stopped, instead of
// ending the program; when both throw, this thread's exception is the one passed on.
template <typename Here, typename There>
void onTwoThreads(Here here, There there) {
    std::exception_ptr thereFailed, hereFailed;
    std::thread other([&] {
        try {
            there();
        } catch (...) {
            thereFailed = std::current_exception();
        }
    });
    try {
        here();
    } catch (...) {
        hereFailed = std::current_exception();
    }
    other.join();
    if (hereFailed) std::rethrow_exception(hereFailed);
    if (thereFailed) std::rethrow_exception(thereFailed);
}

}  // namespace qv
