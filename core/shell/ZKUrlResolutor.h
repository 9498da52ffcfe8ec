#pragma once

// What a record's URL field holds, and how to open it: web and feed addresses, FTP with the
// record's credentials put into the URL (the only scheme that carries them), e-mail addresses,
// and files that exist; anything else is tried once more as a web address.

#include "foundation/Workspace.h"

#include <QString>

#include <functional>
#include <optional>

namespace qv {

class ZKNetValidator {
public:
    static bool isValidEmail(const QString& text);
    static bool isValidEmailAlsoMultiple(const QString& text);
    static bool isValidDomain(const QString& text);
    static bool isNumericDomain(const QString& text);
};

class ZKUrlResolutor {
public:
    // `fileExists` answers for a path, file or directory; the program uses the file system.
    explicit ZKUrlResolutor(Workspace& workspace, std::function<bool(const QString&)> fileExists = {});

    QString defaultProtocolType() const { return defaultProtocolType_; }
    void setDefaultProtocolType(const QString& p) { defaultProtocolType_ = p; }

    // Absent texts are nullopt.
    using Text = std::optional<QString>;
    bool openUrl(const Text& url);
    bool openUrl(const Text& url, const Text& user);
    bool openUrl(const Text& url, const Text& user, const Text& password);
    bool smartOpenUrl(const Text& url, const Text& user, const Text& password);
    bool openWithDefaultProtocol(const Text& url, const Text& user, const Text& password);
    bool openHttp(const QString& url, const Text& user, const Text& password);
    bool openHttps(const QString& url, const Text& user, const Text& password);
    bool openMail(const QString& url, const Text& user, const Text& password);
    bool openFeed(const QString& url, const Text& user, const Text& password);
    bool openTelneet(const QString& url, const Text& user, const Text& password);
    bool openFtp(const QString& url, const Text& user, const Text& password);
    bool openFile(const QString& url, const Text& user, const Text& password);
    Text smartUrl(const Text& url, const Text& user, const Text& password, bool masked) const;

private:
    Workspace& workspace_;
    std::function<bool(const QString&)> fileExists_;
    QString defaultProtocolType_ = QStringLiteral("http://");
};

// Plain space characters only, from both ends.
QString trimSpaces(const QString& s);

}  // namespace qv
