#pragma once

// Small text helpers shared across the program: unique strings made of the time, trimming of
// plain spaces and quotes, and zero padding. Trimming means the space character only, unless a
// helper says otherwise: tabs and line ends are content.

#include "foundation/Value.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

namespace qv {

class ZKStringUtils {
public:
    static QString createUUIDString();
    static QString uniqueUUIDString();

    // Only the characters of `accepted`, in the order they stand in `text`.
    static QString trimString(const QString& text, const QString& accepted);

    // The local date and time as "%li%02li%02li%02li%02li%02li": 14 digits in this era.
    static QString uniqueTimeString();
    // The time string and a random number from 1 to 32000000000000, padded to five digits at
    // least and never cut, so the length varies.
    static QString uniqueTimeRandString();
    // 0 for a time string not seen last time, then 1, 2, ... while the same one comes again.
    static QString getNewSerialForTimeString(const QString& timeString);
    static QString uniqueTimeSerialString();

    // Without the leading white space; nothing at all when nothing else remains.
    static std::optional<QString> removeInitialSpaces(const QString& text);
    static QString trimLateralSpace(const QString& text);
    static QString removeLateralSpace(const QString& text) { return trimLateralSpace(text); }
    // Present and not empty once the plain spaces at both ends are gone.
    static bool spaceTrimmedNotEmpy(const Value& text);
    // Without the double quotes at both ends, however many there are.
    static QString trimLateralQuote(const QString& text);
    // "0" put in front until the text is `totalLen` long; a longer text stays as it is.
    static QString addLeading0(const QString& text, std::int64_t totalLen);

    // The clock the time strings read; tests set a fixed one. Empty means the system's.
    static std::function<QDateTime()>& clock();
};

}  // namespace qv
