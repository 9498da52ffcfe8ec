#pragma once

#include <QString>

#include <cstdint>

namespace qv {

// This release, and the only file generation written. Numbers are major * 10000 + minor * 100
// + patch; older files carry numbers of other shapes, which calcReleaseString still displays.
inline constexpr std::int64_t kReleaseNumber = 40200;
inline constexpr std::int64_t kDocumentGenerationWritten = 40100;

class ZKAppSupportUtility {
public:
    // The display text of a generation or release number: 40200 gives "4.2", 20801 "2.8.1",
    // 2510 "2.5.10"; three digits or fewer give "".
    static QString calcReleaseString(std::int64_t number);
};

}  // namespace qv
