#pragma once

#include <cstdio>
#include <mutex>
#include <string_view>

namespace corvane {

// The headless shell's standard output, shared by the frame printer, the effect events and
// anything else that prints: every `write` reaches the stream whole and is flushed at once, so
// lines from different threads never interleave and a reader on a pipe sees them immediately.
class LineSink {
public:
    explicit LineSink(std::FILE* stream = stdout) : stream_(stream) {}

    // Writes `text` followed by a line end, as one unit. `text` may itself hold several lines (a
    // whole frame); they stay together.
    void write(std::string_view text) {
        std::lock_guard lock(mutex_);
        std::fwrite(text.data(), 1, text.size(), stream_);
        std::fputc('\n', stream_);
        std::fflush(stream_);
    }

    // Writes `text` as it is (no line end added), as one unit: a redrawn terminal screen.
    void writeRaw(std::string_view text) {
        std::lock_guard lock(mutex_);
        std::fwrite(text.data(), 1, text.size(), stream_);
        std::fflush(stream_);
    }

private:
    std::mutex mutex_;
    std::FILE* stream_;
};

}  // namespace corvane
