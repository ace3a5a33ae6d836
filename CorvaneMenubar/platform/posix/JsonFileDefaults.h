#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "seams/Defaults.h"

namespace corvane {

// Defaults kept in one JSON file, rewritten atomically (temporary file + rename) after every
// change. The file is an object: a boolean is a JSON boolean; bytes are {"text": "..."} when they
// are valid UTF-8 and {"base64": "..."} otherwise. A file that does not parse is moved aside to
// "<file>.corrupt" (kept for support) and the store starts empty.
class JsonFileDefaults : public Defaults {
public:
    explicit JsonFileDefaults(std::string filePath);

    // `${XDG_CONFIG_HOME:-$HOME/.config}/corvane/menubar-<environment>.json`; an empty or
    // relative XDG_CONFIG_HOME is ignored. Absent when neither variable gives an absolute folder.
    static std::optional<std::string> defaultPath(std::string_view environment, const char* xdgConfigHome,
                                                  const char* home);

    std::optional<std::string> data(std::string_view key) const override;
    void setData(std::string_view key, std::string_view bytes) override;
    bool boolean(std::string_view key) const override;
    void setBoolean(std::string_view key, bool value) override;
    void remove(std::string_view key) override;
    // Writes the file again when the last write failed; true when the file holds every change.
    bool synchronize() override;

    const std::string& filePath() const { return path_; }

private:
    void load();
    void save();

    std::string path_;
    std::map<std::string, std::variant<std::string, bool>, std::less<>> values_;
    bool dirty_ = false;
};

}  // namespace corvane
