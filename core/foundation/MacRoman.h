#pragma once

// Mac OS Roman, the byte encoding of old documents' texts and passwords, through ICU.

#include <QByteArray>
#include <QString>

#include <optional>

namespace qv::MacRoman {

// Every byte has a character, so this fails only when ICU has no converter.
std::optional<QString> decode(const QByteArray& bytes);
// Nothing when a character has no Mac OS Roman byte: no substitute is ever put in its place.
std::optional<QByteArray> encode(const QString& text);

}  // namespace qv::MacRoman
