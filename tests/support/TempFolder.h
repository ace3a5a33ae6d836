#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace corvane::testing {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempFolder {
public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "corvane-test-XXXXXX").string();
        if (::mkdtemp(pattern.data())) path_ = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    // The content of the file `name` in the folder (empty when it cannot be read).
    std::string read(const std::string& name) const {
        std::stringstream text;
        text << std::ifstream(*this / name, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::string path_;
};

}  // namespace corvane::testing
