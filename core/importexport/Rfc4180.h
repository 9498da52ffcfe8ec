#pragma once

// Comma-separated files as RFC 4180 and the programs that follow it write them: quoted fields
// with doubled quotes, separators and line breaks inside quotes, CRLF or LF, a UTF-8 byte-order
// mark. Used by the imports and exports of other password managers' files; the tab, comma and
// semicolon import of the record grid keeps its own splitter.

#include <QString>
#include <QStringList>
#include <QStringView>

namespace qv::rfc4180 {

class Reader {
public:
    // `text` must outlive the reader; a leading byte-order mark is skipped.
    explicit Reader(QStringView text);
    // A text that would be gone before the reader is done with it is refused at compile time.
    explicit Reader(QString&& text) = delete;

    // The next record's fields. False at the end of the text or on an error (see error()). A
    // blank line is skipped.
    bool next(QStringList* fields);
    // The line (from 1) where the record last returned began.
    qsizetype recordLine() const { return recordLine_; }
    // Empty unless the text is malformed; then it names the line.
    const QString& error() const { return error_; }

private:
    QStringView text_;
    qsizetype pos_ = 0;
    qsizetype line_ = 1;
    qsizetype recordLine_ = 0;
    QString error_;
};

// A field quoted when it must be (or always), quotes doubled.
QString quoted(const QString& field, bool always = false);
// One record's text with its line end.
QString joinRecord(const QStringList& fields, bool quoteAll, const QString& lineEnd);

}  // namespace qv::rfc4180
