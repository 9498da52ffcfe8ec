#include "SecretMemory.h"

#include <sys/prctl.h>

#include <cstring>
#include <type_traits>

namespace qv::secrets {

namespace {

// The whole block a Qt array holds alone, from its start: its contents may begin further in
// (after a removal from the front, or as a slice of a file read whole), and its capacity counts
// from the start of the block, not from the contents.
template <typename QtArray>
void cleanseBlock(QtArray& a) {
    auto& d = a.data_ptr();
    if (!a.isDetached() || d.constAllocatedCapacity() <= 0) return;
    using Unit = std::remove_pointer_t<decltype(d.ptr)>;
    Unit* const start = d.ptr - d.freeSpaceAtBegin();
    // A plain fill the compiler must keep (the empty statement after it claims to read the
    // memory), rather than the cipher library's, so that the address sanitizer sees where it
    // writes.
    std::memset(start, 0, size_t(d.constAllocatedCapacity()) * sizeof(Unit));
    asm volatile("" : : "r"(start) : "memory");
}

}  // namespace

void wipe(QByteArray& bytes) {
    cleanseBlock(bytes);
    bytes = QByteArray();
}

void wipe(QString& text) {
    cleanseBlock(text);
    text = QString();
}

void keepOutOfCoreDumps() {
    static const bool done = [] {
        // Also stops unprivileged ptrace and /proc/PID/mem reads by the user's other programs.
        prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
        return true;
    }();
    (void)done;
}

}  // namespace qv::secrets
