#include "ProcessRunner.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#if defined(__APPLE__)
#include <sys/event.h>
#include <util.h>
#elif defined(__linux__)
#include <sys/syscall.h>
#endif

extern char** environ;

namespace corvane {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// ---- Descriptors --------------------------------------------------------------------------------

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    void reset() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_ = -1;
};

// Pipes (and terminals on macOS) cannot be created close-on-exec in one step everywhere.
// Creating them and starting children under one lock keeps a concurrent start of ours from
// inheriting a descriptor in between.
std::mutex& descriptorLock() {
    static std::mutex lock;
    return lock;
}

void setCloseOnExec(int fd) { ::fcntl(fd, F_SETFD, FD_CLOEXEC); }

// A child's descriptors are renumbered with dup2 onto 0, 1 and 2; one of ours that already sits
// there (the app was started with a standard stream closed) is moved out of the way first.
Descriptor aboveStandardStreams(Descriptor descriptor) {
    if (!descriptor.valid() || descriptor.get() > 2) return descriptor;
    Descriptor moved(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 3));
    int saved = errno;
    descriptor.reset();
    errno = saved;
    return moved;
}

// Both ends close-on-exec. On failure errno says why.
bool makePipe(Descriptor& readEnd, Descriptor& writeEnd) {
    int fds[2];
    {
        std::lock_guard guard(descriptorLock());
        if (::pipe(fds) != 0) return false;
        setCloseOnExec(fds[0]);
        setCloseOnExec(fds[1]);
    }
    readEnd = aboveStandardStreams(Descriptor(fds[0]));
    writeEnd = aboveStandardStreams(Descriptor(fds[1]));
    return readEnd.valid() && writeEnd.valid();
}

bool setNonBlocking(int fd) {
    int flags = ::fcntl(fd, F_GETFL);
    return flags >= 0 && ::fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

// Primary and secondary side of a new pseudo-terminal, both close-on-exec. On failure errno says
// why.
bool openTerminal(Descriptor& primary, Descriptor& secondary) {
#if defined(__APPLE__)
    std::lock_guard guard(descriptorLock());
    int primaryFd = -1;
    int secondaryFd = -1;
    if (::openpty(&primaryFd, &secondaryFd, nullptr, nullptr, nullptr) != 0) return false;
    setCloseOnExec(primaryFd);
    setCloseOnExec(secondaryFd);
    primary = Descriptor(primaryFd);
    secondary = Descriptor(secondaryFd);
#else
    primary = Descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!primary.valid()) return false;
    if (::grantpt(primary.get()) != 0 || ::unlockpt(primary.get()) != 0) return false;
    char name[128];
    if (int error = ::ptsname_r(primary.get(), name, sizeof name); error != 0) {
        errno = error;
        return false;
    }
    secondary = Descriptor(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!secondary.valid()) return false;
#endif
    primary = aboveStandardStreams(std::move(primary));
    secondary = aboveStandardStreams(std::move(secondary));
    return primary.valid() && secondary.valid();
}

// ---- Arguments and environment ----------------------------------------------------------------

// Texts kept alive with a null-terminated array of pointers to them, as exec wants.
class CStringArray {
public:
    explicit CStringArray(std::vector<std::string> texts) : texts_(std::move(texts)) {
        pointers_.reserve(texts_.size() + 1);
        for (auto& text : texts_) pointers_.push_back(text.data());
        pointers_.push_back(nullptr);
    }
    char* const* get() const { return pointers_.data(); }

private:
    std::vector<std::string> texts_;
    std::vector<char*> pointers_;
};

CStringArray argumentArray(const std::string& executable, const std::vector<std::string>& arguments) {
    std::vector<std::string> texts;
    texts.reserve(arguments.size() + 1);
    texts.push_back(executable);
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    return CStringArray(std::move(texts));
}

// Our environment with `overrides` replacing entries of the same name.
CStringArray environmentArray(const std::map<std::string, std::string>& overrides) {
    std::map<std::string, std::string> merged;
    if (environ != nullptr) {
        for (char** entry = environ; *entry != nullptr; ++entry) {
            std::string_view text(*entry);
            auto equals = text.find('=');
            if (equals == std::string_view::npos || equals == 0) continue;
            merged.emplace(std::string(text.substr(0, equals)), std::string(text.substr(equals + 1)));
        }
    }
    for (const auto& [name, value] : overrides) merged[name] = value;
    std::vector<std::string> texts;
    texts.reserve(merged.size());
    for (const auto& [name, value] : merged) texts.push_back(name + "=" + value);
    return CStringArray(std::move(texts));
}

// ---- Children -----------------------------------------------------------------------------------

// Waits until one of `fds` can be read (data, end of file or an error) or `timeoutMs` passes,
// setting `revents` of the ready ones. Returns how many are ready, or -1 with errno set.
// select() rather than poll(): macOS answers poll() on a terminal device with POLLNVAL at once,
// which would turn every wait into a busy loop.
int waitReadable(std::vector<pollfd>& fds, int timeoutMs) {
    int highest = -1;
    for (auto& entry : fds) {
        entry.revents = 0;
        highest = std::max(highest, entry.fd);
    }
    if (highest >= FD_SETSIZE) {
        // Beyond select's reach: poll, and sleep instead of spinning on a descriptor poll cannot
        // watch (its owner reads it at every round anyway).
        int ready = ::poll(fds.data(), static_cast<nfds_t>(fds.size()), timeoutMs);
        if (ready <= 0) return ready;
        int usable = 0;
        for (auto& entry : fds) {
            if (entry.revents & POLLNVAL) entry.revents = 0;
            if (entry.revents != 0) ++usable;
        }
        if (usable == 0) std::this_thread::sleep_for(std::chrono::milliseconds(std::min(timeoutMs, 20)));
        return usable;
    }
    fd_set readable;
    FD_ZERO(&readable);
    for (const auto& entry : fds) FD_SET(entry.fd, &readable);
    timeval timeout{timeoutMs / 1000, static_cast<decltype(timeval::tv_usec)>((timeoutMs % 1000) * 1000)};
    const int ready = ::select(highest + 1, &readable, nullptr, nullptr, &timeout);
    if (ready <= 0) return ready;
    for (auto& entry : fds)
        if (FD_ISSET(entry.fd, &readable)) entry.revents = POLLIN;
    return ready;
}

int exitCodeOf(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return WTERMSIG(status);
    return -1;
}

// A child of ours until it has been reaped. `descriptor` becomes readable when the child ends
// (a pidfd on Linux, a kqueue on macOS); without one the caller polls with short ticks.
class Child {
public:
    explicit Child(pid_t pid) : pid_(pid) {
#if defined(__linux__) && defined(SYS_pidfd_open)
        // A pidfd is always close-on-exec. Kernels before 5.3 (or a sandbox) refuse it.
        watch_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
#elif defined(__APPLE__)
        watch_ = Descriptor(::kqueue());
        if (watch_.valid()) {
            struct kevent change;
            EV_SET(&change, pid, EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
            // A child that has already ended cannot be registered; the next reap finds it.
            if (::kevent(watch_.get(), &change, 1, nullptr, 0, nullptr) != 0) watch_.reset();
        }
#endif
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // A child that is still running when we give up on it is reaped by a thread of its own, so
    // that no zombie is left behind.
    ~Child() {
        if (reaped_) return;
        try {
            std::thread([pid = pid_] {
                int status = 0;
                while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
                }
            }).detach();
        } catch (...) {
            // No thread to be had: the zombie stays until the app exits.
        }
    }

    pid_t pid() const { return pid_; }
    int watchDescriptor() const { return watch_.get(); }
    bool ended() const { return reaped_; }
    int exitCode() const { return exitCode_; }

    // Reaps the child if it has ended; true once it has.
    bool tryReap() {
        if (reaped_) return true;
        int status = 0;
        pid_t result;
        do {
            result = ::waitpid(pid_, &status, WNOHANG);
        } while (result < 0 && errno == EINTR);
        if (result == pid_) {
            reaped_ = true;
            exitCode_ = exitCodeOf(status);
        } else if (result < 0) {
            // Someone else reaped it (SIGCHLD ignored by the process): it is gone, status unknown.
            reaped_ = true;
            exitCode_ = -1;
        }
        return reaped_;
    }

    // Waits until the child ends, `until` passes or `interrupted()` holds after a round of
    // reading. Before every wait `collect` adds the descriptors to watch besides the child; each
    // one that becomes ready goes to `onReady`. True when the child has ended.
    template <class Collect, class OnReady, class Interrupted>
    bool waitUntil(Clock::time_point until, Collect collect, OnReady onReady, Interrupted interrupted) {
        std::vector<pollfd> fds;
        auto tick = 1ms;
        bool check = true;
        for (;;) {
            if (check && tryReap()) return true;
            const auto now = Clock::now();
            if (now >= until) return tryReap();
            auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - now);
            if (!watch_.valid()) {
                // No exit notification: look again after a tick that grows to 50 ms.
                wait = std::min<std::chrono::milliseconds>(wait, tick);
                tick = std::min<std::chrono::milliseconds>(tick * 2, 50ms);
            }
            fds.clear();
            collect(fds);
            const std::size_t watched = fds.size();
            if (watch_.valid()) fds.push_back(pollfd{watch_.get(), POLLIN, 0});
            const int ready = waitReadable(fds, static_cast<int>(std::min<std::int64_t>(wait.count(), 60'000)));
            if (ready < 0) {
                // Interrupted, or the wait itself failed (out of memory): look at the child again.
                if (errno != EINTR) std::this_thread::sleep_for(1ms);
                check = true;
                continue;
            }
            check = !watch_.valid() || fds[watched].revents != 0;
            for (std::size_t i = 0; i < watched; ++i)
                if (fds[i].revents != 0) onReady(fds[i]);
            if (interrupted()) return tryReap();
        }
    }

private:
    pid_t pid_;
    Descriptor watch_;
    bool reaped_ = false;
    int exitCode_ = -1;
};

// ---- Output ------------------------------------------------------------------------------------

// One output pipe of a foreground run: its reading end and the bytes read so far, at most
// `limit` of them. A capped pipe gives up at the limit (`overflowed`, bytes dropped, reading end
// closed); a tail pipe keeps only about the last `limit` bytes.
struct OutputPipe {
    enum class Keep { capped, tail };
    Keep keep;
    std::size_t limit;
    Descriptor readEnd{};
    std::string bytes{};
    bool overflowed = false;
    static constexpr std::size_t largeOutput = std::size_t{1} << 20;

    // Reads what is available now, at most `maxReads` chunks; closes the pipe at its end.
    void readAvailable(int maxReads) {
        char buffer[65536];
        for (int i = 0; i < maxReads && readEnd.valid(); ++i) {
            ssize_t count = ::read(readEnd.get(), buffer, sizeof buffer);
            if (count > 0) {
                append(buffer, static_cast<std::size_t>(count));
                if (static_cast<std::size_t>(count) < sizeof buffer) return;
            } else if (count < 0 && errno == EINTR) {
                continue;
            } else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return;
            } else {
                readEnd.reset();
            }
        }
    }

    void append(const char* data, std::size_t count) {
        if (keep == Keep::tail) {
            bytes.append(data, count);
            // Trimming only at twice the limit keeps the cost of moving bytes linear.
            if (bytes.size() > 2 * limit) bytes.erase(0, bytes.size() - limit);
            return;
        }
        if (count > limit - bytes.size()) {
            overflowed = true;
            std::string().swap(bytes);
            readEnd.reset();
            return;
        }
        // A large answer gets room for the whole cap at once: pages not yet written cost no
        // memory, while growing by doubling would hold an old and a new copy at the same time.
        if (bytes.capacity() < bytes.size() + count)
            bytes.reserve(bytes.size() + count > largeOutput ? limit : std::max(bytes.size() + count, 2 * bytes.capacity()));
        bytes.append(data, count);
    }

    // The kept bytes; a trimmed tail starts at a line start when it holds one.
    std::string take() {
        if (keep == Keep::tail && bytes.size() > limit) {
            std::size_t start = bytes.size() - limit;
            if (auto newline = bytes.find('\n', start); newline != std::string::npos) start = newline + 1;
            bytes.erase(0, start);
        }
        return std::move(bytes);
    }
};

// Standard error of a run whose output is discarded: an unlinked file of ours, which a child
// can write to even after the app has gone. Only the last `limit` bytes are ever read; the part
// before them is punched out of the file as it grows (the child appends, so nothing moves), which
// keeps the disk space bounded too where the file system can punch holes.
class TailFile {
public:
    explicit TailFile(std::size_t limit) : limit_(limit) {}

    // False when no file could be made; the child's stderr then goes to /dev/null.
    bool create() {
        const char* folder = std::getenv("TMPDIR");
        std::string path = (folder && *folder == '/' ? std::string(folder) : std::string("/tmp")) + "/corvane-err.XXXXXX";
        {
            std::lock_guard guard(descriptorLock());
            file_ = Descriptor(::mkstemp(path.data()));
            if (!file_.valid()) return false;
            setCloseOnExec(file_.get());
        }
        ::unlink(path.c_str());
        const int flags = ::fcntl(file_.get(), F_GETFL);
        if (flags < 0 || ::fcntl(file_.get(), F_SETFL, flags | O_APPEND) != 0) file_.reset();
        file_ = aboveStandardStreams(std::move(file_));
        return file_.valid();
    }
    int get() const { return file_.get(); }

    // Frees what lies before the last `limit` bytes, in whole 64 KiB blocks.
    void trim() {
        constexpr std::size_t block = 65536;
        const std::size_t size = this->size();
        if (size < 2 * limit_) return;
        const std::size_t end = (size - limit_) / block * block;
        if (end <= punched_) return;
#if defined(__linux__)
        ::fallocate(file_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(punched_),
                    static_cast<off_t>(end - punched_));
#elif defined(__APPLE__)
        fpunchhole_t hole{};
        hole.fp_offset = static_cast<off_t>(punched_);
        hole.fp_length = static_cast<off_t>(end - punched_);
        ::fcntl(file_.get(), F_PUNCHHOLE, &hole);
#endif
        punched_ = end;
    }

    // The last `limit` bytes written, from a line start when they hold one.
    std::string take() const {
        const std::size_t total = size();
        const std::size_t count = std::min(total, limit_);
        std::string bytes(count, '\0');
        std::size_t got = 0;
        while (got < count) {
            const ssize_t n = ::pread(file_.get(), bytes.data() + got, count - got, static_cast<off_t>(total - count + got));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
        bytes.resize(got);
        if (count < total)
            if (auto newline = bytes.find('\n'); newline != std::string::npos) bytes.erase(0, newline + 1);
        return bytes;
    }

private:
    std::size_t size() const {
        struct stat info {};
        return file_.valid() && ::fstat(file_.get(), &info) == 0 ? static_cast<std::size_t>(info.st_size) : 0;
    }

    std::size_t limit_;
    Descriptor file_;
    std::size_t punched_ = 0;
};

std::string decodedOutput(std::string bytes);

// After the time limit the CLI gets this long to end on SIGTERM; a stop the app asks for (or an
// overflowing answer) only `stopGrace`, so that quitting is never held up.
constexpr auto terminateGrace = 5s;
constexpr auto stopGrace = 200ms;
constexpr auto killGrace = 5s;
constexpr auto cancellationTick = 20ms;
// How often a run with discarded output looks at the size of its stderr file.
constexpr auto tailFileTick = 100ms;

Clock::time_point deadlineAfter(double seconds) {
    if (!(seconds > 0)) return Clock::now();
    // Anything beyond a year is as good as never.
    seconds = std::min(seconds, 365.0 * 24 * 3600);
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

ProcessRunner::Failure startFailure(DiagnosticOperation operation, int error) {
    return ProcessRunner::Failure::spawnFailed(ClientDiagnostic::system(operation, SystemError::posix(error)));
}

// Spawn attributes that give the child an empty signal mask and default signal handling,
// whatever this process blocks or ignores.
class SpawnAttributes {
public:
    enum class Group { inherited, own };
    explicit SpawnAttributes(Group group = Group::inherited) {
        ok_ = ::posix_spawnattr_init(&attributes_) == 0;
        if (!ok_) return;
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        sigdelset(&all, SIGKILL);
        sigdelset(&all, SIGSTOP);
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (group == Group::own) {
            flags |= POSIX_SPAWN_SETPGROUP;
            ok_ = ::posix_spawnattr_setpgroup(&attributes_, 0) == 0;
        }
#if defined(__APPLE__)
        flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
        ok_ = ok_ && ::posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
              ::posix_spawnattr_setsigdefault(&attributes_, &all) == 0 &&
              ::posix_spawnattr_setflags(&attributes_, flags) == 0;
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    bool ok() const { return ok_; }
    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
    bool ok_ = false;
};

class SpawnFileActions {
public:
    SpawnFileActions() { ok_ = ::posix_spawn_file_actions_init(&actions_) == 0; }
    ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    SpawnFileActions(const SpawnFileActions&) = delete;
    SpawnFileActions& operator=(const SpawnFileActions&) = delete;

    void open(int fd, const char* path, int flags) {
        ok_ = ok_ && ::posix_spawn_file_actions_addopen(&actions_, fd, path, flags, 0) == 0;
    }
    void dup2(int from, int to) { ok_ = ok_ && ::posix_spawn_file_actions_adddup2(&actions_, from, to) == 0; }
    // Descriptors that other code opened without close-on-exec stay out of the child too.
    void closeFrom([[maybe_unused]] int lowest) {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
        ok_ = ok_ && ::posix_spawn_file_actions_addclosefrom_np(&actions_, lowest) == 0;
#endif
    }
    bool ok() const { return ok_; }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
    bool ok_ = false;
};

}  // namespace

// ---- Foreground runs ----------------------------------------------------------------------------

ProcessRunner::Result ProcessRunner::run(const std::string& executable, const std::vector<std::string>& arguments,
                                         const std::string& searchPath, double timeoutSeconds,
                                         const std::map<std::string, std::string>& environment,
                                         const RunCancellation* cancellation, Output output) {
    constexpr auto operation = DiagnosticOperation::menuPoll;
    std::map<std::string, std::string> overrides = environment;
    overrides["PATH"] = searchPath;
    overrides["CORVANE_NATIVE_DIAGNOSTICS"] = "1";
    const CStringArray argv = argumentArray(executable, arguments);
    const CStringArray envp = environmentArray(overrides);

    const bool discard = output == Output::discard;
    OutputPipe out{OutputPipe::Keep::capped, maxStdoutBytes};
    OutputPipe err{OutputPipe::Keep::tail, maxStderrBytes};
    TailFile errFile(maxStderrBytes);
    Descriptor outWrite;
    Descriptor errWrite;
    if (!discard && (!makePipe(out.readEnd, outWrite) || !makePipe(err.readEnd, errWrite)))
        return startFailure(operation, errno);

    SpawnFileActions actions;
    actions.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    if (!discard) {
        actions.dup2(outWrite.get(), STDOUT_FILENO);
        actions.dup2(errWrite.get(), STDERR_FILENO);
    } else {
        actions.open(STDOUT_FILENO, "/dev/null", O_WRONLY);
        if (errFile.create())
            actions.dup2(errFile.get(), STDERR_FILENO);
        else
            actions.open(STDERR_FILENO, "/dev/null", O_WRONLY);
    }
    actions.closeFrom(3);
    // A process group of its own, so that stopping the CLI reaches everything it started.
    SpawnAttributes attributes(SpawnAttributes::Group::own);
    if (!actions.ok() || !attributes.ok()) return startFailure(operation, ENOMEM);

    pid_t pid = -1;
    int spawnError;
    {
        std::lock_guard guard(descriptorLock());
        spawnError = ::posix_spawn(&pid, executable.c_str(), actions.get(), attributes.get(), argv.get(), envp.get());
    }
    outWrite.reset();
    errWrite.reset();
    if (spawnError != 0) return startFailure(operation, spawnError);

    Child child(pid);
    setNonBlocking(out.readEnd.get());
    setNonBlocking(err.readEnd.get());

    auto collect = [&](std::vector<pollfd>& fds) {
        for (auto* pipe : {&out, &err})
            if (pipe->readEnd.valid()) fds.push_back(pollfd{pipe->readEnd.get(), POLLIN, 0});
    };
    auto onReady = [&](const pollfd& ready) {
        for (auto* pipe : {&out, &err})
            if (pipe->readEnd.get() == ready.fd) pipe->readAvailable(16);
    };
    auto overflowed = [&] { return out.overflowed; };
    auto never = [] { return false; };

    enum class Stop { none, deadline, cancelled, outputLimit };
    Stop stop = Stop::none;
    const auto deadline = deadlineAfter(timeoutSeconds);
    for (;;) {
        const auto sliceEnd = cancellation ? std::min(deadline, Clock::now() + cancellationTick)
                              : discard    ? std::min(deadline, Clock::now() + tailFileTick)
                                           : deadline;
        const bool ended = child.waitUntil(sliceEnd, collect, onReady, overflowed);
        if (discard) errFile.trim();
        if (out.overflowed) {
            stop = Stop::outputLimit;
            break;
        }
        if (ended) break;
        if (Clock::now() >= deadline) {
            stop = Stop::deadline;
            break;
        }
        if (cancellation && cancellation->requested()) {
            stop = Stop::cancelled;
            break;
        }
    }

    if (stop != Stop::none) {
        auto signalGroup = [&](int signal) {
            ::kill(-pid, signal);
            // The child may have left the group; a reaped child's id may already be someone else's.
            if (!child.ended()) ::kill(pid, signal);
        };
        signalGroup(SIGTERM);
        child.waitUntil(Clock::now() + (stop == Stop::deadline ? terminateGrace : stopGrace), collect, onReady, never);
        // Whatever of the group is still there (the child, or what it started) is killed.
        signalGroup(SIGKILL);
        if (!child.ended()) child.waitUntil(Clock::now() + killGrace, collect, onReady, never);
    }

    // What the child wrote just before it ended; a grandchild that keeps the pipe open and keeps
    // writing cannot hold the run up for more than a few chunks.
    out.readAvailable(256);
    err.readAvailable(256);

    Outcome outcome;
    outcome.stdout = decodedOutput(out.take());
    outcome.stderr = decodedOutput(discard ? errFile.take() : err.take());
    outcome.timedOut = stop == Stop::deadline;
    outcome.outputLimitExceeded = stop == Stop::outputLimit;
    outcome.exitCode = stop != Stop::none ? -1 : child.exitCode();
    return outcome;
}

// ---- Background runs ----------------------------------------------------------------------------

ProcessRunner::Result BackgroundProcessRunner::run(const std::string& executable,
                                                   const std::vector<std::string>& arguments,
                                                   const std::string& searchPath, double timeoutSeconds,
                                                   const RunCancellation& cancellation) {
    constexpr auto operation = DiagnosticOperation::cliRun;
    const CStringArray argv = argumentArray(executable, arguments);
    const CStringArray envp = environmentArray({{"PATH", searchPath}});

    Descriptor primary;
    Descriptor secondary;
    if (!openTerminal(primary, secondary)) return startFailure(operation, errno);
    if (!setNonBlocking(primary.get())) return startFailure(operation, errno);

    // The child reports a failed exec through this pipe; a successful exec closes it.
    Descriptor errorRead;
    Descriptor errorWrite;
    if (!makePipe(errorRead, errorWrite)) return startFailure(operation, errno);

    // Everything the child needs is prepared before fork: between fork and exec it may only make
    // async-signal-safe calls.
    sigset_t allSignals;
    sigset_t previousMask;
    sigfillset(&allSignals);
    const int secondaryFd = secondary.get();
    const int errorFd = errorWrite.get();
    const char* path = executable.c_str();
    const long openMax = ::sysconf(_SC_OPEN_MAX);
    const int highestDescriptor = openMax > 0 && openMax < 65536 ? static_cast<int>(openMax) : 65536;

    pid_t pid;
    {
        std::lock_guard guard(descriptorLock());
        // No handler of ours may run in the child before its dispositions are reset.
        ::pthread_sigmask(SIG_SETMASK, &allSignals, &previousMask);
        pid = ::fork();
        if (pid == 0) {
            struct sigaction defaultAction {};
            defaultAction.sa_handler = SIG_DFL;
            sigemptyset(&defaultAction.sa_mask);
            for (int signal = 1; signal < NSIG; ++signal)
                if (signal != SIGKILL && signal != SIGSTOP) ::sigaction(signal, &defaultAction, nullptr);
            // Its own session and process group, with the terminal as controlling terminal, so
            // that stopping reaches everything it started.
            ::setsid();
            ::ioctl(secondaryFd, TIOCSCTTY, 0);
            if (::dup2(secondaryFd, STDIN_FILENO) < 0 || ::dup2(secondaryFd, STDOUT_FILENO) < 0 ||
                ::dup2(secondaryFd, STDERR_FILENO) < 0) {
                int error = errno;
                [[maybe_unused]] auto written = ::write(errorFd, &error, sizeof error);
                ::_exit(127);
            }
            // Descriptors other code opened without close-on-exec do not reach the CLI.
#if defined(__linux__) && defined(SYS_close_range)
            if (::syscall(SYS_close_range, 3u, ~0u, 4u /* CLOSE_RANGE_CLOEXEC */) != 0)
#endif
                for (int fd = 3; fd < highestDescriptor; ++fd) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
            sigset_t none;
            sigemptyset(&none);
            ::sigprocmask(SIG_SETMASK, &none, nullptr);
            ::execve(path, argv.get(), envp.get());
            int error = errno;
            [[maybe_unused]] auto written = ::write(errorFd, &error, sizeof error);
            ::_exit(127);
        }
        int forkError = errno;
        ::pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
        if (pid < 0) return startFailure(operation, forkError);
    }
    secondary.reset();
    errorWrite.reset();

    int execError = 0;
    ssize_t count;
    do {
        count = ::read(errorRead.get(), &execError, sizeof execError);
    } while (count < 0 && errno == EINTR);
    if (count == static_cast<ssize_t>(sizeof execError)) {
        int status;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        return startFailure(operation, execError);
    }
    errorRead.reset();

    Child child(pid);
    const auto deadline = deadlineAfter(timeoutSeconds);
    std::array<char, 4096> buffer;
    bool terminalOpen = true;

    // Output is only read so that the child never blocks on a full terminal; it is discarded.
    auto drain = [&] {
        for (int i = 0; i < 16 && terminalOpen; ++i) {
            ssize_t got = ::read(primary.get(), buffer.data(), buffer.size());
            if (got > 0) continue;
            // End of output (no one holds the terminal any longer) stops the watching of it.
            if (got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) terminalOpen = false;
            return;
        }
    };
    auto collect = [&](std::vector<pollfd>& fds) {
        if (terminalOpen) fds.push_back(pollfd{primary.get(), POLLIN, 0});
    };
    auto onReady = [&](const pollfd&) { drain(); };
    auto never = [] { return false; };

    enum class Stop { none, deadline, cancelled };
    Stop stop = Stop::none;
    for (;;) {
        if (child.waitUntil(Clock::now() + cancellationTick, collect, onReady, never)) break;
        drain();
        if (Clock::now() >= deadline) {
            stop = Stop::deadline;
            break;
        }
        if (cancellation.requested()) {
            stop = Stop::cancelled;
            break;
        }
    }

    if (stop == Stop::none) return ProcessRunner::Outcome{{}, {}, child.exitCode(), false, false};

    // The child leads its own group unless it left it; then the whole group is stopped.
    const pid_t target = ::getpgid(pid) == pid ? -pid : pid;
    ::kill(target, SIGTERM);
    std::this_thread::sleep_for(stopGrace);
    ::kill(target, SIGKILL);
    child.waitUntil(Clock::now() + 2s, collect, onReady, never);
    return ProcessRunner::Outcome{{}, {}, -1, stop == Stop::deadline, false};
}

void ignoreProcessSignals() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    ::sigaction(SIGPIPE, &ignore, nullptr);
    ::sigaction(SIGXFSZ, &ignore, nullptr);
}

bool processIsRunning(pid_t pid) {
    // 0 and negative ids name process groups, never one process.
    if (pid <= 0) return false;
    return ::kill(pid, 0) == 0 || errno == EPERM;
}

// ---- UTF-8 ----------------------------------------------------------------------------------------

namespace {

struct Sequence {
    bool valid;
    std::size_t length;  // of the character, or of the maximal invalid part to replace
};

// The UTF-8 sequence at `i` (not ASCII): a whole valid character, or the longest prefix of one
// that could still have become valid (at least one byte).
Sequence sequenceAt(const unsigned char* data, std::size_t size, std::size_t i) {
    const unsigned char lead = data[i];
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;   // no overlong forms
        if (lead == 0xED) high = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;  // nothing above U+10FFFF
    }
    if (length == 0) return {false, 1};
    std::size_t valid = 1;
    while (valid < length && i + valid < size) {
        const unsigned char next = data[i + valid];
        if (next < (valid == 1 ? low : 0x80) || next > (valid == 1 ? high : 0xBF)) break;
        ++valid;
    }
    return {valid == length, valid};
}

std::size_t firstInvalid(std::string_view bytes) {
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t i = 0;
    while (i < bytes.size()) {
        if (data[i] < 0x80) {
            ++i;
            continue;
        }
        Sequence sequence = sequenceAt(data, bytes.size(), i);
        if (!sequence.valid) return i;
        i += sequence.length;
    }
    return std::string_view::npos;
}

std::string decodedFrom(std::string_view bytes, std::size_t start) {
    static constexpr std::string_view replacement = "\xEF\xBF\xBD";
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    std::string text;
    text.reserve(bytes.size() + 16);
    text.append(bytes.substr(0, start));
    std::size_t i = start;
    while (i < bytes.size()) {
        if (data[i] < 0x80) {
            text.push_back(static_cast<char>(data[i++]));
            continue;
        }
        Sequence sequence = sequenceAt(data, bytes.size(), i);
        if (sequence.valid)
            text.append(bytes.substr(i, sequence.length));
        else
            text.append(replacement);
        i += sequence.length;
    }
    return text;
}

// Output that is already valid UTF-8 (the usual case) is kept as it is, without a copy.
std::string decodedOutput(std::string bytes) {
    std::size_t invalid = firstInvalid(bytes);
    if (invalid == std::string_view::npos) return bytes;
    return decodedFrom(bytes, invalid);
}

}  // namespace

std::string decodeUtf8Lossy(std::string_view bytes) {
    std::size_t invalid = firstInvalid(bytes);
    if (invalid == std::string_view::npos) return std::string(bytes);
    return decodedFrom(bytes, invalid);
}

}  // namespace corvane
