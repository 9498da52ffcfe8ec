// Property lists in either form, from untrusted bytes: must end in a value or an error.
#include "foundation/PropertyList.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    if (auto v = qv::readPropertyList(bytes)) {
        // Whatever was read must write back and read again.
        if (auto again = qv::writeBinaryPropertyList(*v)) (void)qv::readBinaryPropertyList(*again);
    }
    (void)qv::readBinaryPropertyList(bytes);
    return 0;
}
