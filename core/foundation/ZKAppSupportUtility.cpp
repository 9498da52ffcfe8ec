#include "ZKAppSupportUtility.h"

#include <QSysInfo>
#include <QUrl>

namespace qv {

QString ZKAppSupportUtility::calcReleaseString(std::int64_t number) {
    const QString s = QString::number(number);
    const qsizetype l = s.size();
    if (l <= 3) return QString();
    QString first, second, third;
    if (l == 4) {
        // The four-digit numbers of the first releases keep their parts as written ("1.0.00").
        first = s.left(1);
        second = s.mid(1, 1);
        third = s.mid(2);
    } else {
        first = s.left(l - 4);
        second = s.mid(l - 4, 2);
        third = s.mid(l - 2);
        if (second.startsWith(QLatin1Char('0'))) second = second.right(1);
        if (third.startsWith(QLatin1Char('0'))) third = third.right(1);
    }
    QString result = QStringLiteral("%1.%2.%3").arg(first, second, third);
    if (result.endsWith(QLatin1String(".0"))) result.chop(2);
    return result;
}

void ZKAppSupportUtility::visitUs(Workspace& workspace) { workspace.openUrl(kMakerSite); }
void ZKAppSupportUtility::visitAppUrl(Workspace& workspace) { workspace.openUrl(kAppPage); }
void ZKAppSupportUtility::visitTwitter(Workspace& workspace) { workspace.openUrl(kSocialPage); }

QString ZKAppSupportUtility::supportMailUrl(const QString& releaseString, const QString& systemVersion) {
    const QString subject = QStringLiteral("Support Request for %1 rel. %2 - macOS %3")
                                .arg(QStringLiteral("Quorvane 4"), releaseString, systemVersion);
    // The characters a URL query allows stay as they are; the rest is percent-encoded.
    const QByteArray encoded = QUrl::toPercentEncoding(subject, "!$&'()*+,;=:@/?");
    return QStringLiteral("%1?subject=%2").arg(kSupportMail, QString::fromLatin1(encoded));
}

void ZKAppSupportUtility::emailUs(Workspace& workspace, const QString& releaseString) {
    workspace.openUrl(supportMailUrl(releaseString, QSysInfo::productVersion()));
}

bool ZKAppSupportUtility::dataIn_ApplicationSupportFolder_CreatedWithANewerVersion(
    Workspace& workspace, const std::function<int(const Alert&)>& runModal) {
    Alert alert;
    alert.messageText = QStringLiteral(
        "Data file the software tryed to open from the Application Support folder was created with a more recent "
        "version of this application");
    alert.informativeText = QStringLiteral(
        "You need a release of this application equal or successive to the one used to create this data "
        "file.\n\nProbably you are using an outdated release.\nYou can download for free the last version of this "
        "application from our site");
    if (runModal(alert) != kAlertFirstButtonReturn) return false;
    visitUs(workspace);
    return true;
}

}  // namespace qv
