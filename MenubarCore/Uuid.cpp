#include "Uuid.h"

#include <array>
#include <chrono>
#include <cerrno>
#include <cstdint>
#include <random>

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

namespace corvane {
namespace {

bool readUrandom(unsigned char* bytes, std::size_t count) {
    int fd = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::size_t done = 0;
    while (done < count) {
        ssize_t n = ::read(fd, bytes + done, count - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            break;
        }
    }
    ::close(fd);
    return done == count;
}

void fillRandom(std::array<unsigned char, 16>& bytes) {
    if (::getentropy(bytes.data(), bytes.size()) == 0) return;
    if (readUrandom(bytes.data(), bytes.size())) return;
    // Last resort: a generator seeded from the clock, the process and an address.
    std::seed_seq seed{static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()),
                       static_cast<std::uint64_t>(::getpid()), reinterpret_cast<std::uintptr_t>(&bytes)};
    std::mt19937_64 generator(seed);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(generator());
}

}  // namespace

std::string makeUuid() {
    std::array<unsigned char, 16> bytes{};
    fillRandom(bytes);
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant

    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

}  // namespace corvane
