#include "ZKStringUtils.h"

#include "crypto/ZKRandom.h"

#include <QUuid>

namespace qv {

std::function<QDateTime()>& ZKStringUtils::clock() {
    static std::function<QDateTime()> c;
    return c;
}

namespace {
QDateTime now() {
    const auto& c = ZKStringUtils::clock();
    return c ? c() : QDateTime::currentDateTime();
}
}  // namespace

QString ZKStringUtils::createUUIDString() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }

QString ZKStringUtils::uniqueUUIDString() { return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(); }

QString ZKStringUtils::trimString(const QString& text, const QString& accepted) {
    QString out;
    out.reserve(text.size());
    for (const QChar c : text)
        if (accepted.contains(c)) out.append(c);
    return out;
}

QString ZKStringUtils::uniqueTimeString() {
    const QDateTime t = now().toLocalTime();
    const QDate d = t.date();
    const QTime h = t.time();
    return QString::asprintf("%li%02li%02li%02li%02li%02li", long(d.year()), long(d.month()), long(d.day()),
                             long(h.hour()), long(h.minute()), long(h.second()));
}

QString ZKStringUtils::uniqueTimeRandString() {
    return uniqueTimeString() + QString::asprintf("%05li", long(ZKRandomInteger(1, 32000000000000LL)));
}

QString ZKStringUtils::getNewSerialForTimeString(const QString& timeString) {
    // One counter for the whole program, as the unique strings of a second must not repeat.
    static QString last;
    static std::int64_t serial = 0;
    if (timeString == last) ++serial;
    else serial = 0;
    last = timeString;
    return QString::asprintf("%li", long(serial));
}

QString ZKStringUtils::uniqueTimeSerialString() {
    const QString t = uniqueTimeString();
    return t + getNewSerialForTimeString(t);
}

std::optional<QString> ZKStringUtils::removeInitialSpaces(const QString& text) {
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace()) ++i;
    if (i == text.size()) return std::nullopt;
    return text.mid(i);
}

QString ZKStringUtils::trimLateralSpace(const QString& text) {
    qsizetype from = 0, to = text.size();
    while (from < to && text.at(from) == QLatin1Char(' ')) ++from;
    while (to > from && text.at(to - 1) == QLatin1Char(' ')) --to;
    return text.mid(from, to - from);
}

bool ZKStringUtils::spaceTrimmedNotEmpy(const Value& text) {
    if (text.isAbsent()) return false;
    return !trimLateralSpace(text.toString()).isEmpty();
}

QString ZKStringUtils::trimLateralQuote(const QString& text) {
    qsizetype from = 0, to = text.size();
    while (from < to && text.at(from) == QLatin1Char('"')) ++from;
    while (to > from && text.at(to - 1) == QLatin1Char('"')) --to;
    return text.mid(from, to - from);
}

QString ZKStringUtils::addLeading0(const QString& text, std::int64_t totalLen) {
    if (text.size() >= totalLen) return text;
    return QString(qsizetype(totalLen - text.size()), QLatin1Char('0')) + text;
}

}  // namespace qv
