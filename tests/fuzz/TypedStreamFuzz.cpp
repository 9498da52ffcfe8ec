// Colours of old documents, from untrusted bytes: must end in a colour or an error.
#include "foundation/TypedStream.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    if (const auto c = qv::TypedStream::decodeColor(bytes)) {
        // A colour handed out is always made of numbers.
        if (!std::isfinite(c->r) || !std::isfinite(c->g) || !std::isfinite(c->b) || !std::isfinite(c->a)) std::abort();
    } else if (c.message().isEmpty()) {
        std::abort();  // a refusal always says why
    }
    return 0;
}
