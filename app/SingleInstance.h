#pragma once

// One process for all documents. The first launch holds a lock file and listens on a local
// socket in the user's runtime folder; a later launch hands its files to it and exits. A lock
// left by a crashed process is recognised as stale and taken over.

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QStringList>

#include <memory>

namespace qv::app {

class SingleInstance : public QObject {
    Q_OBJECT
public:
    // `name` tells programs apart (tests use their own).
    explicit SingleInstance(const QString& name = QStringLiteral("quorvane"), QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is the one: it then listens for later launches.
    bool becomePrimary();
    // Hands the files (made absolute) to the running process; true when it took them.
    bool sendToPrimary(const QStringList& files, int timeoutMs = 3000);

Q_SIGNALS:
    // A later launch asked to open these files (possibly none: then just come to the front).
    void filesReceived(const QStringList& files);

private:
    void accept();
    QString name_;
    QString socketName_;
    std::unique_ptr<QLockFile> lock_;
    QLocalServer server_;
};

}  // namespace qv::app
