#include "Rfc4180.h"

namespace qv::rfc4180 {

Reader::Reader(QStringView text) : text_(text) {
    if (text_.startsWith(QChar(0xFEFF))) pos_ = 1;
}

Result<Reader::Record> Reader::malformed(const QString& why) {
    error_ = why;
    return Result<Record>::failed(0, why);
}

Result<Reader::Record> Reader::next() {
    QStringList fields;
    const qsizetype n = text_.size();
    // Blank lines between records carry nothing.
    while (pos_ < n && (text_[pos_] == QLatin1Char('\n') || text_[pos_] == QLatin1Char('\r'))) {
        if (text_[pos_] == QLatin1Char('\n')) ++line_;
        ++pos_;
    }
    if (!error_.isEmpty()) return Result<Record>::failed(0, error_);
    if (pos_ >= n) return Record();
    recordLine_ = line_;
    QString field;
    for (;;) {
        if (pos_ < n && text_[pos_] == QLatin1Char('"')) {
            const qsizetype openedOn = line_;
            ++pos_;
            for (;;) {
                if (pos_ >= n) {
                    return malformed(QStringLiteral("line %1: a quoted field opened on this line is never closed").arg(openedOn));
                }
                const QChar c = text_[pos_++];
                if (c == QLatin1Char('"')) {
                    if (pos_ < n && text_[pos_] == QLatin1Char('"')) {
                        field += QLatin1Char('"');
                        ++pos_;
                        continue;
                    }
                    break;
                }
                if (c == QLatin1Char('\n')) ++line_;
                field += c;
            }
            if (pos_ < n && text_[pos_] != QLatin1Char(',') && text_[pos_] != QLatin1Char('\n') &&
                text_[pos_] != QLatin1Char('\r')) {
                return malformed(QStringLiteral("line %1: text after the closing quote of field %2").arg(line_).arg(fields.size() + 1));
            }
        } else {
            const qsizetype start = pos_;
            while (pos_ < n && text_[pos_] != QLatin1Char(',') && text_[pos_] != QLatin1Char('\n') &&
                   text_[pos_] != QLatin1Char('\r')) {
                if (text_[pos_] == QLatin1Char('"')) {
                    return malformed(QStringLiteral("line %1: a quote inside unquoted field %2").arg(line_).arg(fields.size() + 1));
                }
                ++pos_;
            }
            field = text_.mid(start, pos_ - start).toString();
        }
        fields.append(std::move(field));
        field = QString();
        if (pos_ >= n) return Record(std::move(fields));
        const QChar c = text_[pos_++];
        if (c == QLatin1Char(',')) continue;
        if (c == QLatin1Char('\r') && pos_ < n && text_[pos_] == QLatin1Char('\n')) ++pos_;
        ++line_;
        return Record(std::move(fields));
    }
}

QString quoted(const QString& field, bool always) {
    const bool needs = always || field.contains(QLatin1Char(',')) || field.contains(QLatin1Char('"')) ||
                       field.contains(QLatin1Char('\n')) || field.contains(QLatin1Char('\r'));
    if (!needs) return field;
    QString out = field;
    out.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + out + QLatin1Char('"');
}

QString joinRecord(const QStringList& fields, bool quoteAll, const QString& lineEnd) {
    QString out;
    for (qsizetype i = 0; i < fields.size(); ++i) {
        if (i) out += QLatin1Char(',');
        out += quoted(fields[i], quoteAll);
    }
    return out + lineEnd;
}

}  // namespace qv::rfc4180
