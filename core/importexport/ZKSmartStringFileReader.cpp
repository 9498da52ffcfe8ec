#include "ZKSmartStringFileReader.h"

#include "foundation/MacRoman.h"

#include <QFile>
#include <QStringDecoder>

#include <cstdint>


namespace qv {

bool ZKSmartStringFileReader::isFixedCode(int code) {
    switch (code) {
    case UTF8: case UTF16: case UTF16BE: case UTF16LE: case UTF32: case UTF32BE: case UTF32LE: case MacOSRoman:
    case ASCII: return true;
    default: return false;
    }
}

namespace {

// Qt's UTF-16 and UTF-32 decoders report no error for a trailing odd byte, a length that is no
// multiple of four, a surrogate without its partner or a value beyond U+10FFFF: they put U+FFFD
// in its place. Such a file is not valid in that encoding, so it is refused here.
bool validWide(const QByteArray& bytes, QStringConverter::Encoding e) {
    using E = QStringConverter::Encoding;
    const bool wide = e == E::Utf32BE || e == E::Utf32LE;
    const bool big = e == E::Utf16BE || e == E::Utf32BE;
    const qsizetype unit = wide ? 4 : 2;
    if (bytes.size() % unit != 0) return false;
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.constData());
    auto at = [&](qsizetype i) {
        std::uint32_t v = 0;
        for (qsizetype k = 0; k < unit; ++k) v = (v << 8) | b[i + (big ? k : unit - 1 - k)];
        return v;
    };
    for (qsizetype i = 0; i < bytes.size(); i += unit) {
        const std::uint32_t v = at(i);
        if (wide) {
            if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return false;
        } else if (v >= 0xDC00 && v <= 0xDFFF) {
            return false;  // a low surrogate with no high one before it
        } else if (v >= 0xD800 && v <= 0xDBFF) {
            i += unit;
            if (i >= bytes.size() || at(i) < 0xDC00 || at(i) > 0xDFFF) return false;
        }
    }
    return true;
}

std::optional<QString> strictDecode(const QByteArray& bytes, QStringConverter::Encoding e, QStringDecoder::Flags flags) {
    using E = QStringConverter::Encoding;
    if ((e == E::Utf16BE || e == E::Utf16LE || e == E::Utf32BE || e == E::Utf32LE) && !validWide(bytes, e))
        return std::nullopt;
    QStringDecoder decoder(e, flags);
    QString s = decoder.decode(bytes);
    if (decoder.hasError()) return std::nullopt;
    return s;
}

// The byte order of UTF-16 and UTF-32 comes from the mark; without one, big-endian.
std::optional<QString> decodeWithMark(const QByteArray& bytes, bool wide) {
    using E = QStringConverter::Encoding;
    if (!wide) {
        if (bytes.startsWith("\xFF\xFE")) return strictDecode(bytes, E::Utf16LE, QStringDecoder::Flag::Stateless);
        return strictDecode(bytes, E::Utf16BE, QStringDecoder::Flag::Stateless);
    }
    if (bytes.startsWith(QByteArray("\xFF\xFE\x00\x00", 4))) return strictDecode(bytes, E::Utf32LE, QStringDecoder::Flag::Stateless);
    return strictDecode(bytes, E::Utf32BE, QStringDecoder::Flag::Stateless);
}

}  // namespace

std::optional<QString> ZKSmartStringFileReader::decode(const QByteArray& bytes, int code) {
    using E = QStringConverter::Encoding;
    switch (code) {
    case UTF8: return strictDecode(bytes, E::Utf8, QStringDecoder::Flag::Stateless);
    case UTF16: return decodeWithMark(bytes, false);
    case UTF16BE: return strictDecode(bytes, E::Utf16BE, QStringDecoder::Flag::Stateless);
    case UTF16LE: return strictDecode(bytes, E::Utf16LE, QStringDecoder::Flag::Stateless);
    case UTF32: return decodeWithMark(bytes, true);
    case UTF32BE: return strictDecode(bytes, E::Utf32BE, QStringDecoder::Flag::Stateless);
    case UTF32LE: return strictDecode(bytes, E::Utf32LE, QStringDecoder::Flag::Stateless);
    case MacOSRoman: return MacRoman::decode(bytes);
    case ASCII:
        for (char c : bytes)
            if (static_cast<unsigned char>(c) > 127) return std::nullopt;
        return QString::fromLatin1(bytes);
    default: return std::nullopt;
    }
}

std::optional<QString> ZKSmartStringFileReader::decodeSelfDetecting(const QByteArray& bytes) {
    if (bytes.startsWith(QByteArray("\x00\x00\xFE\xFF", 4)) || bytes.startsWith(QByteArray("\xFF\xFE\x00\x00", 4)))
        return decode(bytes, UTF32);
    if (bytes.startsWith("\xFE\xFF") || bytes.startsWith("\xFF\xFE")) return decode(bytes, UTF16);
    return decode(bytes, UTF8);  // a UTF-8 mark is skipped by the decoder
}

std::optional<QString> ZKSmartStringFileReader::autoReadFromFile(const QString& path, int encoding) {
    QFile f(path);
    const bool readable = f.open(QIODevice::ReadOnly);
    const QByteArray bytes = readable ? f.readAll() : QByteArray();
    // Every attempt reads the file; an unreadable file fails every one of them.
    auto attempt = [&](const std::function<std::optional<QString>()>& decodeFn) -> std::optional<QString> {
        if (!readable) return std::nullopt;
        return decodeFn();
    };
    if (isFixedCode(encoding)) return attempt([&] { return decode(bytes, encoding); });

    int runningError = 0;
    std::optional<QString> current = attempt([&] { return decodeSelfDetecting(bytes); });
    if (!current) runningError = 1;
    for (int code : {int(UTF8), int(MacOSRoman), int(UTF16), int(UTF16BE), int(UTF16LE), int(UTF32), int(UTF32BE), int(UTF32LE)}) {
        if (current && runningError == 0) return current;
        current = attempt([&] { return decode(bytes, code); });
        if (!current) runningError = 1;
    }
    if (current && runningError == 0) return current;
    return attempt([&] { return decode(bytes, ASCII); });
}

std::optional<QString> ZKSmartStringFileReader::autoReadFromData(const QByteArray& data, int encoding) {
    if (isFixedCode(encoding)) return decode(data, encoding);
    for (int code : {int(UTF8), int(MacOSRoman), int(UTF16), int(UTF16BE), int(UTF16LE), int(UTF32), int(UTF32BE), int(UTF32LE)})
        if (auto s = decode(data, code)) return s;
    return decode(data, ASCII);
}

QString& ZKSmartStringFileReader::replaceStringWithNewline(QString& text) {
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

}  // namespace qv
