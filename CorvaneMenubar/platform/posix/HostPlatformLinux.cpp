#include "HostPlatform.h"

#include <climits>
#include <cstdlib>

namespace corvane {

std::string executablePath() {
    char resolved[PATH_MAX];
    if (::realpath("/proc/self/exe", resolved)) return resolved;
    return {};
}

bool hostIsMacOS() { return false; }

}  // namespace corvane
