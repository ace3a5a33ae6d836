#pragma once

#include <cstdlib>
#include <filesystem>
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

private:
    std::string path_;
};

}  // namespace corvane::testing
