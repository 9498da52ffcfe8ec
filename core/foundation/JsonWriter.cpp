#include "JsonWriter.h"

#include <QLocale>

#include <cmath>

namespace qv {

QByteArray JsonWriter::quote(const QString& s) {
    QByteArray out;
    out.reserve(s.size() + 2);
    out.append('"');
    for (qsizetype i = 0; i < s.size(); ++i) {
        const char16_t c = s[i].unicode();
        switch (c) {
        case '"': out.append("\\\""); break;
        case '\\': out.append("\\\\"); break;
        case '\n': out.append("\\n"); break;
        case '\r': out.append("\\r"); break;
        case '\t': out.append("\\t"); break;
        case '\b': out.append("\\b"); break;
        case '\f': out.append("\\f"); break;
        default:
            if (c < 0x20 || (c >= 0xD800 && c <= 0xDFFF &&
                             !(QChar::isHighSurrogate(c) && i + 1 < s.size() && s[i + 1].isLowSurrogate()) &&
                             !(QChar::isLowSurrogate(c) && i > 0 && s[i - 1].isHighSurrogate()))) {
                // Control characters, and lone surrogates that UTF-8 cannot carry, are escaped.
                out.append(QStringLiteral("\\u%1").arg(int(c), 4, 16, QLatin1Char('0')).toLatin1());
            } else if (c < 0x80) {
                out.append(char(c));
            } else if (QChar::isHighSurrogate(c) && i + 1 < s.size() && s[i + 1].isLowSurrogate()) {
                out.append(s.mid(i, 2).toUtf8());
                ++i;
            } else {
                out.append(QString(QChar(c)).toUtf8());
            }
        }
    }
    out.append('"');
    return out;
}

QByteArray JsonWriter::number(double d) {
    if (std::isnan(d)) return QByteArrayLiteral("{\"$real\": \"nan\"}");
    if (std::isinf(d)) return d > 0 ? QByteArrayLiteral("{\"$real\": \"inf\"}") : QByteArrayLiteral("{\"$real\": \"-inf\"}");
    QByteArray s = QByteArray::number(d, 'g', QLocale::FloatingPointShortest);
    if (!s.contains('.') && !s.contains('e') && !s.contains('n') && !s.contains('i')) s.append(".0");
    return s;
}

void JsonWriter::newline() {
    if (!pretty_) return;
    out_.append('\n');
    out_.append(QByteArray(qsizetype(stack_.size()) * 2, ' '));
}

void JsonWriter::separator() {
    if (stack_.empty()) return;
    Level& l = stack_.back();
    if (l.afterKey) {
        l.afterKey = false;
        return;
    }
    if (!l.first) out_.append(',');
    l.first = false;
    newline();
}

void JsonWriter::beginObject() {
    separator();
    out_.append('{');
    stack_.push_back(Level{});
}

void JsonWriter::close(char bracket) {
    const bool empty = stack_.back().first;
    stack_.pop_back();
    if (!empty) newline();
    out_.append(bracket);
}

void JsonWriter::endObject() { close('}'); }

void JsonWriter::beginArray() {
    separator();
    out_.append('[');
    stack_.push_back(Level{});
}

void JsonWriter::endArray() { close(']'); }

void JsonWriter::key(const QString& k) {
    separator();
    out_.append(quote(k));
    out_.append(pretty_ ? ": " : ":");
    stack_.back().afterKey = true;
}

void JsonWriter::rawValue(const QByteArray& json) {
    separator();
    out_.append(json);
}

void JsonWriter::value(const Value& v) {
    switch (v.type()) {
    case Value::Type::Absent: rawValue("null"); return;
    case Value::Type::String: rawValue(quote(v.stringRef())); return;
    case Value::Type::Integer: rawValue(v.toString().toLatin1()); return;
    case Value::Type::Real: rawValue(number(v.toDouble())); return;
    case Value::Type::Boolean: rawValue(v.toBool() ? "true" : "false"); return;
    case Value::Type::Date:
        rawValue(QByteArrayLiteral("{\"$date\": ") + number(v.toDate()) + '}');
        return;
    case Value::Type::Data:
        rawValue(QByteArrayLiteral("{\"$data\": \"") + v.toData().toBase64() + "\"}");
        return;
    case Value::Type::Rect: {
        const Rect r = v.toRect();
        rawValue(QByteArrayLiteral("{\"$rect\": [") + number(r.x) + ", " + number(r.y) + ", " + number(r.width) +
                 ", " + number(r.height) + "]}");
        return;
    }
    case Value::Type::Array:
        beginArray();
        for (const Value& e : v.toArray()) value(e);
        endArray();
        return;
    case Value::Type::Dictionary: {
        const Dictionary d = v.toDictionary();
        beginObject();
        for (qsizetype i = 0; i < d.count(); ++i) {
            key(d.keyAt(i));
            value(d.valueAt(i));
        }
        endObject();
        return;
    }
    }
}

QByteArray JsonWriter::take() {
    QByteArray r = std::move(out_);
    out_.clear();
    stack_.clear();
    return r;
}

QByteArray JsonWriter::write(const Value& v) {
    value(v);
    return take();
}

}  // namespace qv
