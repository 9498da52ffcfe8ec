#include "SingleInstance.h"

#include "shell/InstanceMessage.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QStandardPaths>

namespace qv::app {

namespace {
QString runtimeFolder() {
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty()) dir = QDir::tempPath();
    QDir().mkpath(dir);
    return dir;
}
}  // namespace

SingleInstance::SingleInstance(const QString& name, QObject* parent) : QObject(parent), name_(name) {
    socketName_ = QDir(runtimeFolder()).filePath(name_ + QStringLiteral(".socket"));
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::accept);
}

SingleInstance::~SingleInstance() {
    server_.close();
    if (lock_) lock_->unlock();
}

bool SingleInstance::becomePrimary() {
    lock_ = std::make_unique<QLockFile>(QDir(runtimeFolder()).filePath(name_ + QStringLiteral(".lock")));
    // A lock whose process is gone is stale and removed by tryLock.
    lock_->setStaleLockTime(0);
    if (!lock_->tryLock(100)) {
        lock_.reset();
        return false;
    }
    QLocalServer::removeServer(socketName_);  // a socket file left by a crash
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    return server_.listen(socketName_);
}

bool SingleInstance::sendToPrimary(const QStringList& files, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(socketName_);
    if (!socket.waitForConnected(timeoutMs)) return false;
    QByteArray message;
    for (const QString& f : files) message += QFileInfo(f).absoluteFilePath().toUtf8() + '\n';
    message += '\n';  // an empty line ends the message
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMs)) return false;
    // The running process answers once it has taken the files.
    if (!socket.waitForReadyRead(timeoutMs)) return false;
    return socket.readAll().startsWith("ok");
}

void SingleInstance::accept() {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        socket->setReadBufferSize(64 * 1024);
        auto message = std::make_shared<InstanceMessage>();
        connect(socket, &QLocalSocket::readyRead, this, [this, socket, message] {
            if (message->state() != InstanceMessage::State::Incomplete) return;
            const InstanceMessage::State state = message->append(socket->readAll());
            if (state == InstanceMessage::State::TooLong) {
                socket->abort();  // not a launch of ours; nothing of it is kept
                return;
            }
            if (state != InstanceMessage::State::Complete) return;
            const QStringList files = message->files();
            socket->write("ok\n");
            socket->flush();
            Q_EMIT filesReceived(files);
        });
    }
}

}  // namespace qv::app
