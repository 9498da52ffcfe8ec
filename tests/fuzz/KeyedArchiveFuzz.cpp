// Keyed archives from untrusted bytes: must end in a value or an error, and what was read must
// archive and read back to the same tree.
#include "foundation/KeyedArchive.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    auto v = qv::KeyedUnarchiver::unarchiveObjectWithData(bytes);
    if (!v) {
        if (v.message().isEmpty()) std::abort();  // a refusal always says why
        return 0;
    }
    auto again = qv::KeyedArchiver::archivedDataWithRootObject(*v);
    if (!again) return 0;
    auto back = qv::KeyedUnarchiver::unarchiveObjectWithData(*again);
    if (!back || !qv::isStrictlyEqual(*back, *v)) std::abort();
    return 0;
}
