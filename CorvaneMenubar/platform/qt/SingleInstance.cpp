#include "SingleInstance.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>

#include "UntrustedInput.h"

namespace corvane {
namespace {
const QByteArray openRequest = QByteArrayLiteral("open\n");
constexpr int answerMilliseconds = 1500;
}  // namespace

SingleInstance::SingleInstance(const QString& folder, const QString& name)
    : lockPath_(folder + QLatin1Char('/') + name + QStringLiteral(".lock")),
      socketPath_(folder + QLatin1Char('/') + name + QStringLiteral(".socket")),
      unguarded_(folder.isEmpty()) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultFolder() {
    // Another local user must not be able to hold the lock or answer on the socket.
    const std::string folder = privateRuntimeFolder();
    return QString::fromLocal8Bit(folder.data(), qsizetype(folder.size()));
}

SingleInstance::Role SingleInstance::claim(std::function<void()> onOpenRequest) {
    if (unguarded_) {
        qWarning("corvane-menubar: no private folder for the single-instance lock; not checking for a running copy");
        return Role::primary;
    }
    lock_ = std::make_unique<QLockFile>(lockPath_);
    lock_->setStaleLockTime(0);  // only a dead holder's lock is stale, however old
    if (!lock_->tryLock(0)) {
        lock_.reset();
        QLocalSocket socket;
        socket.connectToServer(socketPath_);
        if (!socket.waitForConnected(answerMilliseconds)) return Role::failed;
        socket.write(openRequest);
        if (!socket.waitForBytesWritten(answerMilliseconds)) return Role::failed;
        socket.disconnectFromServer();
        return Role::secondary;
    }
    onOpenRequest_ = std::move(onOpenRequest);
    // The socket of a crashed instance stays behind; we hold the lock, so it is nobody's.
    QLocalServer::removeServer(socketPath_);
    server_ = std::make_unique<QLocalServer>();
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(socketPath_)) return Role::primary;
    connect(server_.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = server_->nextPendingConnection()) {
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                // A client says one short word; anything longer is not ours.
                const QByteArray line = client->read(64);
                client->disconnectFromServer();
                if (line == openRequest && onOpenRequest_) onOpenRequest_();
            });
        }
    });
    return Role::primary;
}

}  // namespace corvane
