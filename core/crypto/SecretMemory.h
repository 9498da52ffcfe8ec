#pragma once

// Secrets leave memory when they are dropped: master passwords, derived keys and deciphered
// bytes are overwritten before their storage is freed, and the process keeps its memory out of
// core dumps. Implicitly shared Qt containers are wiped only by their last holder: writing
// through a shared copy would change what the other holders still need.

#include <QByteArray>
#include <QString>

namespace qv::secrets {

// Overwrites the whole allocation (not just the size in use) and leaves the value empty.
void wipe(QByteArray& bytes);
void wipe(QString& text);

// Wipes a byte container at the end of a scope, whatever way the scope is left.
class WipeOnExit {
public:
    explicit WipeOnExit(QByteArray& bytes) : bytes_(bytes) {}
    ~WipeOnExit() { wipe(bytes_); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

private:
    QByteArray& bytes_;
};

// No core dump, and no reading of this process's memory by other processes of the same user
// that aren't privileged. Done once per process; later calls do nothing.
void keepOutOfCoreDumps();

}  // namespace qv::secrets
