#include "BoundedFile.h"

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

bool replaceRegularFile(const std::string& path, std::string_view bytes, unsigned mode) {
    if (path.empty()) return false;
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY,
                           static_cast<mode_t>(mode)));
    struct stat info {};
    // Truncating only after the type check leaves a FIFO or device untouched.
    if (file.get() < 0 || !isRegular(file.get(), info) || ::ftruncate(file.get(), 0) != 0) return false;
    ::fchmod(file.get(), static_cast<mode_t>(mode));
    while (!bytes.empty()) {
        auto written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace corvane
