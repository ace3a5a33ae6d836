#include "HostPlatform.h"

#include <fcntl.h>
#include <unistd.h>

namespace corvane {

// pipe + fcntl rather than pipe2, which macOS lacks. A child forked on another thread between
// the two calls would inherit the ends, but the process runner marks every descriptor above
// stderr close-on-exec in its children, so the window does no harm.
bool openPipe(int fds[2], bool nonBlocking) {
    int made[2];
    if (::pipe(made) != 0) {
        fds[0] = fds[1] = -1;
        return false;
    }
    for (int fd : made) {
        bool ok = ::fcntl(fd, F_SETFD, FD_CLOEXEC) == 0;
        if (ok && nonBlocking) ok = ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK) == 0;
        if (!ok) {
            ::close(made[0]);
            ::close(made[1]);
            fds[0] = fds[1] = -1;
            return false;
        }
    }
    fds[0] = made[0];
    fds[1] = made[1];
    return true;
}

}  // namespace corvane
