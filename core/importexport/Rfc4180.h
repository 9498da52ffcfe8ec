#pragma once

// Comma-separated files as RFC 4180 and the programs that follow it write them: quoted fields
// with doubled quotes, separators and line breaks inside quotes, CRLF or LF, a UTF-8 byte-order
// mark. Used by the imports and exports of other password managers' files; the tab, comma and
// semicolon import of the record grid keeps its own splitter.

#include "foundation/Result.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace qv::rfc4180 {

class Reader {
public:
    // `text` must outlive the reader; a leading byte-order mark is skipped.
    explicit Reader(QStringView text);
    // A text that would be gone before the reader is done with it is refused at compile time.
    explicit Reader(QString&& text) = delete;

    using Record = std::optional<QStringList>;
    // The next record's fields, nothing at the end of the text, or a failure naming the line
    // when the text is malformed (and again at every later call). A blank line is skipped.
    Result<Record> next();
    // The line (from 1) where the record last returned began.
    qsizetype recordLine() const { return recordLine_; }

private:
    QStringView text_;
    qsizetype pos_ = 0;
    qsizetype line_ = 1;
    qsizetype recordLine_ = 0;
    QString error_;  // once malformed, every later call says so

    Result<Record> malformed(const QString& why);
};

// A field quoted when it must be (or always), quotes doubled.
QString quoted(const QString& field, bool always = false);
// One record's text with its line end.
QString joinRecord(const QStringList& fields, bool quoteAll, const QString& lineEnd);

}  // namespace qv::rfc4180
