#pragma once

#include "Alert.h"
#include "Workspace.h"

#include <QString>

#include <cstdint>
#include <functional>

namespace qv {

// This release. Numbers are major * 10000 + minor * 100 + patch; older files carry numbers of
// other shapes, which calcReleaseString still displays. The file generation written is
// MyDocument::kGenerationWritten.
inline constexpr std::int64_t kReleaseNumber = 40200;

class ZKAppSupportUtility {
public:
    // The display text of a generation or release number: 40200 gives "4.2", 20801 "2.8.1",
    // 2510 "2.5.10"; three digits or fewer give "".
    static QString calcReleaseString(std::int64_t number);

    // The maker's pages and support mail, opened by the desktop's handlers.
    static inline const QString kMakerSite = QStringLiteral("https://www.zenmorrow.com/");
    static inline const QString kAppPage = QStringLiteral("https://www.zenmorrow.com/quorvane/");
    static inline const QString kSocialPage = QStringLiteral("https://twitter.com/zenmorrow");
    static inline const QString kSupportMail = QStringLiteral("mailto:support@zenmorrow.com");
    static void visitUs(Workspace& workspace);
    static void visitAppUrl(Workspace& workspace);
    static void visitTwitter(Workspace& workspace);
    // A new mail to support whose subject names the program, its release and the system.
    static QString supportMailUrl(const QString& releaseString, const QString& systemVersion);
    static void emailUs(Workspace& workspace, const QString& releaseString);
    // The alert for a data file of a newer release; true when the user chose to visit the site.
    static bool dataIn_ApplicationSupportFolder_CreatedWithANewerVersion(
        Workspace& workspace, const std::function<int(const Alert&)>& runModal);
};

}  // namespace qv
