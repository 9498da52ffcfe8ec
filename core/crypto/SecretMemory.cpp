#include "SecretMemory.h"

#include <openssl/crypto.h>

#include <sys/prctl.h>

#include <algorithm>

namespace qv::secrets {

void wipe(QByteArray& bytes) {
    if (bytes.isDetached() && bytes.capacity() > 0)
        OPENSSL_cleanse(bytes.data(), size_t(std::max(bytes.capacity(), bytes.size())));
    bytes = QByteArray();
}

void wipe(QString& text) {
    if (text.isDetached() && text.capacity() > 0)
        OPENSSL_cleanse(text.data(), size_t(std::max(text.capacity(), text.size())) * sizeof(QChar));
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
