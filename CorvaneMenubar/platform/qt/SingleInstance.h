#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QLocalServer;
class QLockFile;

namespace corvane {

// One running app per user and environment. The first instance holds a lock file and listens on
// a local socket beside it (both in the user's runtime folder); a later start finds the lock
// held, asks the running instance to open its menu and is told to exit. A lock left by a crashed
// instance is taken over (QLockFile checks the holder's pid) and its stale socket removed.
// GUI thread only.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Role { primary, secondary, failed };

    // `folder` holds "<name>.lock" and "<name>.socket". With an empty folder (no private one
    // exists) nothing is locked and every start serves.
    SingleInstance(const QString& folder, const QString& name);
    ~SingleInstance() override;

    // Takes the lock or hands over to the running instance. `primary`: this process serves, and
    // `onOpenRequest` runs whenever a later start asks. `secondary`: the running instance was
    // asked to open its menu; exit with status 0. `failed`: the lock is held but the holder did
    // not answer (the caller runs anyway rather than leave the user with nothing).
    Role claim(std::function<void()> onOpenRequest);

    // The user's private runtime folder (`privateRuntimeFolder`); empty when there is none.
    static QString defaultFolder();

private:
    QString lockPath_;
    QString socketPath_;
    std::unique_ptr<QLockFile> lock_;
    std::unique_ptr<QLocalServer> server_;
    std::function<void()> onOpenRequest_;
    bool unguarded_ = false;
};

}  // namespace corvane
