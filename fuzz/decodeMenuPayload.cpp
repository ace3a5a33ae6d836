// Feeds arbitrary bytes to the menu answer decoder: it must return a result for every input,
// without crashing, leaking or running away, whatever the CLI (or a damaged snapshot) sends.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "MenuDecode.h"
#include "MenuTime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const corvane::Instant now = *corvane::parseMenuTime("2025-03-01T10:05:00Z");
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    corvane::MenuDecodeResult result = corvane::decodeMenuPayload(bytes, now);
    // Decoding is deterministic: the same bytes give the same result.
    if (!(corvane::decodeMenuPayload(bytes, now) == result)) __builtin_trap();
    return 0;
}
