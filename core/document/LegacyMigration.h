#pragma once

// Documents written before generation 30000 keep their tables open in the file, every field
// enciphered by itself with the old Blowfish engine. This turns such tables into the record
// model when the password is given; the file changes only at the next save, which writes the
// current format.

#include "foundation/Value.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace qv {

class MyDocument;

namespace LegacyMigration {

// The old cipher's fixed vector, the same in every old document.
inline constexpr unsigned char kInitVector[8] = {0x3C, 0x9A, 0x17, 0xE0, 0x4B, 0x62, 0xD8, 0x5F};
// Applied as the old releases applied it, by Unicode pattern rules: MM is the month in both
// places, DD the day of the year, SS a fraction of a second and ± a plain character.
inline const QString kDatePattern = QStringLiteral("YYYY-MM-DD HH:MM:SS \u00B1HHMM");

// 1 to 7 for the field-by-field groups; 0 for the road of the current format, which every
// unknown number takes too.
int groupOf(std::uint64_t generation);

// Seconds since 2001 in the local time zone, or nothing when the text doesn't fit the pattern.
std::optional<double> dateFromString(const QString& text);

// Runs the group's branch on the document: 0, or the first failing field's code. The records
// and categories deciphered before a failure stay in the tables.
std::int32_t decript(MyDocument& doc, int group);

}  // namespace LegacyMigration

}  // namespace qv
