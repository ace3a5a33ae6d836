#include "BoundedFile.h"

#include "UntrustedInput.h"
#include "Uuid.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {

namespace {

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

bool isRegular(int fd, struct stat& info) { return ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode); }

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        auto count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

std::optional<std::string> readBoundedFile(const std::string& path, std::size_t limit) {
    if (path.empty()) return std::nullopt;
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat info {};
    if (file.get() < 0 || !isRegular(file.get(), info)) return std::nullopt;
    if (info.st_size < 0 || static_cast<unsigned long long>(info.st_size) > limit) return std::nullopt;

    // The file may grow between the size check and the read: read at most one byte past the
    // limit, so a file that grew over it is refused like one that was over it.
    std::string bytes;
    bytes.resize(static_cast<std::size_t>(info.st_size) + 1);
    std::size_t filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            if (bytes.size() > limit) return std::nullopt;
            bytes.resize(std::min(limit + 1, bytes.size() * 2));
        }
        ssize_t count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count > 0) {
            filled += static_cast<std::size_t>(count);
        } else if (count == 0) {
            break;
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
    if (filled > limit) return std::nullopt;
    bytes.resize(filled);
    return bytes;
}

bool replaceOwnedFile(const std::string& path, std::string_view bytes, unsigned mode, std::size_t limit,
                      const std::function<bool(std::string_view current)>& mayReplace) {
    if (!isPlainAbsolutePath(path) || path.back() == '/') return false;
    const std::size_t slash = path.rfind('/');
    const std::string name = path.substr(slash + 1);
    if (name == "." || name == "..") return false;
    // The folder may be reached through links (the CLI's state folder often is); what counts is
    // that it is this user's and not open to everyone (a shared temporary folder). Group write is
    // left alone: with per-user groups (umask 002) the CLI's own folders are made so.
    Descriptor folder(::open(slash == 0 ? "/" : path.substr(0, slash).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat info {};
    if (folder.get() < 0 || ::fstat(folder.get(), &info) != 0 || info.st_uid != ::geteuid() || (info.st_mode & 002) != 0)
        return false;

    if (::fstatat(folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (!S_ISREG(info.st_mode) || info.st_uid != ::geteuid()) return false;
        Descriptor current(::openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
        if (current.get() < 0 || !isRegular(current.get(), info) || info.st_size < 0 ||
            static_cast<unsigned long long>(info.st_size) > limit)
            return false;
        std::string content(static_cast<std::size_t>(info.st_size) + 1, '\0');
        ssize_t count;
        do {
            count = ::read(current.get(), content.data(), content.size());
        } while (count < 0 && errno == EINTR);
        if (count < 0 || static_cast<std::size_t>(count) > limit) return false;
        content.resize(static_cast<std::size_t>(count));
        if (!mayReplace || !mayReplace(content)) return false;
    } else if (errno != ENOENT) {
        return false;
    }

    const std::string temporary = "." + name + ".tmp-" + makeUuid();
    {
        Descriptor file(::openat(folder.get(), temporary.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, static_cast<mode_t>(mode)));
        if (file.get() < 0) return false;
        if (::fchmod(file.get(), static_cast<mode_t>(mode)) != 0 || !writeAll(file.get(), bytes)) {
            ::unlinkat(folder.get(), temporary.c_str(), 0);
            return false;
        }
    }
    if (::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
        ::unlinkat(folder.get(), temporary.c_str(), 0);
        return false;
    }
    return true;
}

std::optional<std::string> createPrivateFile(const std::string& folder, std::string_view prefix,
                                             std::string_view suffix, std::string_view bytes, unsigned mode) {
    Descriptor trusted(openTrustedFolder(folder, false, true));
    if (trusted.get() < 0) return std::nullopt;
    const std::string name = std::string(prefix) + makeUuid() + std::string(suffix);
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
    Descriptor file(::openat(trusted.get(), name.c_str(), flags, static_cast<mode_t>(mode)));
    if (file.get() < 0) return std::nullopt;
    if (::fchmod(file.get(), static_cast<mode_t>(mode)) != 0 || !writeAll(file.get(), bytes)) {
        ::unlinkat(trusted.get(), name.c_str(), 0);
        return std::nullopt;
    }
    return folder + "/" + name;
}

}  // namespace corvane
