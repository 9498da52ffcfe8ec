#pragma once

// Text files to strings: a fixed encoding by the program's own codes, or an automatic chain.
// The automatic chain of a file keeps a running error code that a later success never clears,
// so once the self-detecting read has failed only the final ASCII attempt decides: a Mac OS
// Roman file without a mark needs its code (30). That is how imports have always behaved.

#include <QByteArray>
#include <QString>

#include <optional>

namespace qv {

class ZKSmartStringFileReader {
public:
    enum Code : int {
        Automatic = 0,
        UTF8 = 1,
        UTF16 = 10,
        UTF16BE = 11,
        UTF16LE = 12,
        UTF32 = 20,
        UTF32BE = 21,
        UTF32LE = 22,
        MacOSRoman = 30,
        ASCII = 50,
    };

    static std::optional<QString> autoReadFromFile(const QString& path, int encoding);
    static std::optional<QString> autoReadFromData(const QByteArray& data, int encoding);
    // "\r\n" then any "\r" become "\n", in place; returns the same string.
    static QString& replaceStringWithNewline(QString& text);

    // One decoding attempt in a fixed code; nullopt when the bytes are not valid in it.
    static std::optional<QString> decode(const QByteArray& bytes, int code);
    // A byte-order mark, else valid UTF-8; nullopt when it can't settle.
    static std::optional<QString> decodeSelfDetecting(const QByteArray& bytes);
    static bool isFixedCode(int code);
};

}  // namespace qv
