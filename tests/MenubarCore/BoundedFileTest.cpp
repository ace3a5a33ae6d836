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

TEST(BoundedFile, ReplacingWritesOnlyRegularFilesAndNeverBlocks) {
    testing::TempFolder temp;
    write(temp / "old", "a much longer old content");
    write(temp / "target", "kept");
    fs::create_symlink(temp / "target", temp / "link");
    fs::create_directory(temp / "folder");
    ASSERT_EQ(::mkfifo((temp / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo((temp / "read-fifo").c_str(), 0600), 0);
    // A reader on the FIFO lets a blocking writer's open through; it still must not be written.
    int reader = ::open((temp / "read-fifo").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    const std::pair<std::string, bool> rows[] = {{temp / "new", true},   {temp / "old", true},    {temp / "link", false},
                        {temp / "folder", false}, {temp / "fifo", false}, {temp / "read-fifo", false}};
    for (const auto& [path, written] : rows) {
        EXPECT_EQ(replaceRegularFile(path, "now", 0600), written) << path;
        if (!written) continue;
        std::ifstream in(path);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "now") << path;
        struct stat info {};
        ::stat(path.c_str(), &info);
        EXPECT_EQ(info.st_mode & 0777, 0600u) << path;
    }
    char byte;
    EXPECT_LE(::read(reader, &byte, 1), 0);
    ::close(reader);
    std::ifstream target(temp / "target");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(target), {}), "kept");
}

}  // namespace
}  // namespace corvane
