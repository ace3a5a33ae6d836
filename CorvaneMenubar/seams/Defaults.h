#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// The app's small persistent key/value store (user preferences, the persisted update
// presentation). A key holds either bytes or a boolean; writing one kind replaces the other.
// AppKit: `NSUserDefaults.standardUserDefaults` (`dataForKey:`, `boolForKey:`); Qt: `QSettings`
// (QByteArray and bool values). Main thread only.
class Defaults {
public:
    virtual ~Defaults() = default;

    // The bytes stored under `key`; absent when the key is missing or holds a boolean.
    virtual std::optional<std::string> data(std::string_view key) const = 0;

    // Stores `bytes` (any bytes, UTF-8 text included) under `key`.
    virtual void setData(std::string_view key, std::string_view bytes) = 0;

    // The boolean stored under `key`; false when the key is missing or holds bytes.
    virtual bool boolean(std::string_view key) const = 0;

    virtual void setBoolean(std::string_view key, bool value) = 0;

    // Forgets `key` (nothing happens when it is missing).
    virtual void remove(std::string_view key) = 0;

    // Writes every change to permanent storage now (before the process exits, e.g. for the
    // unregister flag). Returns false when the store could not be written.
    virtual bool synchronize() = 0;
};

}  // namespace corvane
