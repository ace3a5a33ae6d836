#include "HostPlatform.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <mach-o/dyld.h>
#include <vector>

namespace corvane {

std::string executablePath() {
    std::uint32_t size = PATH_MAX;
    std::vector<char> path(size);
    if (::_NSGetExecutablePath(path.data(), &size) != 0) {
        path.resize(size);  // `size` now holds the length needed
        if (::_NSGetExecutablePath(path.data(), &size) != 0) return {};
    }
    char resolved[PATH_MAX];
    if (::realpath(path.data(), resolved)) return resolved;
    return {};
}

bool hostIsMacOS() { return true; }

}  // namespace corvane
