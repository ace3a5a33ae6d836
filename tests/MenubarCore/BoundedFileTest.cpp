#include "BoundedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support/TempFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

void write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// Whatever sits at the path, a read answers at once: only a regular file within the limit has
// content. A FIFO without a writer would block a plain read forever; /dev/zero never ends.
TEST(BoundedFile, OnlyRegularFilesWithinTheLimitAreRead) {
    testing::TempFolder temp;
    write(temp / "file", "hello");
    write(temp / "empty", "");
    fs::create_directory(temp / "folder");
    fs::create_directory_symlink(temp / "folder", temp / "folder-link");
    fs::create_symlink(temp / "file", temp / "file-link");
    ASSERT_EQ(::mkfifo((temp / "fifo").c_str(), 0600), 0);
    struct Row { std::string path; std::size_t limit; std::optional<std::string> content; };
    const Row rows[] = {
        {temp / "file", 5, "hello"},          {temp / "file", 4, std::nullopt}, {temp / "empty", 0, ""},
        {temp / "file-link", 5, "hello"},     {temp / "folder", 1 << 20, std::nullopt},
        {temp / "folder-link", 1 << 20, std::nullopt}, {temp / "fifo", 1 << 20, std::nullopt},
        {"/dev/zero", 1 << 20, std::nullopt}, {temp / "missing", 1 << 20, std::nullopt}, {"", 1, std::nullopt},
    };
    for (const auto& row : rows) EXPECT_EQ(readBoundedFile(row.path, row.limit), row.content) << row.path;
}

std::string contentOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The open request a hostile CLI may point anywhere: only a missing file or one holding what the
// app writes there is replaced, through a rename; nothing else is truncated, followed or blocked
// on, and a folder others can write to is not used at all.
TEST(BoundedFile, ReplacingTouchesOnlyWhatTheAppWroteThere) {
    testing::TempFolder temp;
    write(temp / "ours", "then");
    write(temp / "bashrc", "export PATH=/usr/bin\n");
    write(temp / "large", "then" + std::string(100, ' '));
    write(temp / "theirs", "then");
    ASSERT_EQ(::chown((temp / "theirs").c_str(), 65534, 65534), 0);
    fs::create_symlink(temp / "ours", temp / "link");
    fs::create_directory(temp / "folder");
    fs::create_directory(temp / "shared");
    fs::permissions(temp / "shared", fs::perms::all);
    ASSERT_EQ(::mkfifo((temp / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((temp / "read-fifo").c_str(), 0600), 0);
    // A reader on the FIFO lets a blocking writer's open through; it still must not be written.
    int reader = ::open((temp / "read-fifo").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    const auto ourOwn = [](std::string_view current) { return current.empty() || current == "then"; };
    struct Row { std::string path; bool written; };
    const Row rows[] = {
        {temp / "new", true},         {temp / "ours", true},      {temp / "bashrc", false},
        {temp / "large", false},      {temp / "theirs", false},   {temp / "link", false},
        {temp / "folder", false},     {temp / "fifo", false},     {temp / "read-fifo", false},
        {temp / "shared/new", false}, {"relative", false},    {std::string(temp / "nul") + '\0' + "x", false},
    };
    for (const auto& row : rows) {
        const std::string before = fs::is_regular_file(row.path) ? contentOf(row.path) : "";
        EXPECT_EQ(replaceOwnedFile(row.path, "now", 0600, 64, ourOwn), row.written) << row.path;
        if (!row.written) {
            if (fs::is_regular_file(row.path)) {
                EXPECT_EQ(contentOf(row.path), before) << row.path;
            }
            continue;
        }
        EXPECT_EQ(contentOf(row.path), "now") << row.path;
        struct stat info {};
        ::lstat(row.path.c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << row.path;
    }
    char byte;
    EXPECT_LE(::read(reader, &byte, 1), 0);
    ::close(reader);
    EXPECT_EQ(contentOf(temp / "ours"), "now");  // the link to it was left alone, not followed
    EXPECT_TRUE(fs::is_symlink(temp / "link"));
    // No temporary file stays behind.
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(temp.path())) ++entries;
    EXPECT_EQ(entries, 10u);
}

}  // namespace
}  // namespace corvane
