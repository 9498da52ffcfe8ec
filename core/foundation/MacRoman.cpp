#include "MacRoman.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <memory>

namespace qv::MacRoman {

namespace {

struct Closer {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using Converter = std::unique_ptr<UConverter, Closer>;

Converter open() {
    UErrorCode status = U_ZERO_ERROR;
    Converter c(ucnv_open("macintosh", &status));
    if (U_FAILURE(status)) return nullptr;
    return c;
}

}  // namespace

std::optional<QString> decode(const QByteArray& bytes) {
    Converter conv = open();
    if (!conv) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    QString out(bytes.size() + 1, Qt::Uninitialized);  // one unit per byte in this encoding
    const int32_t n = ucnv_toUChars(conv.get(), reinterpret_cast<UChar*>(out.data()), int32_t(out.size()),
                                    bytes.constData(), int32_t(bytes.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    out.truncate(n);
    return out;
}

std::optional<QByteArray> encode(const QString& text) {
    Converter conv = open();
    if (!conv) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setFromUCallBack(conv.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status)) return std::nullopt;
    QByteArray out(text.size() * 4 + 1, '\0');
    const int32_t n = ucnv_fromUChars(conv.get(), out.data(), int32_t(out.size()),
                                      reinterpret_cast<const UChar*>(text.constData()), int32_t(text.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    out.truncate(n);
    return out;
}

}  // namespace qv::MacRoman
