// Writing files so that the user's files survive every failure: links, permissions,
// write-protected and special files, a full disk, and a program ended by a signal.
#include "model/SafeFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace quillane {
namespace {

namespace fs = std::filesystem;

struct SafeFileTest : ::testing::Test {
    const fs::path dir = fs::temp_directory_path() /
                         ("quillane-safefile-" + std::to_string(::getpid()) + "-" +
                          ::testing::UnitTest::GetInstance()->current_test_info()->name());
    SafeFileTest() { fs::create_directories(dir); }
    ~SafeFileTest() override { fs::remove_all(dir); }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    std::string read(const std::string& name) const {
        std::ifstream in(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(file(name), std::ios::binary) << text;
    }
    long entries() const { return std::distance(fs::directory_iterator(dir), {}); }
    unsigned mode(const std::string& name) const {
        struct stat info {};
        ::stat(file(name).c_str(), &info);
        return info.st_mode & 07777;
    }
    std::string failure(const std::string& path, const std::string& text) const {
        try {
            WriteFileReplacing(path, text);
        } catch (const FileWriteError& error) {
            return error.what();
        }
        return "written";
    }
};

TEST_F(SafeFileTest, WritesThroughLinksAndKeepsPermissions) {
    write("a.txt", "old");
    ::chmod(file("a.txt").c_str(), 0600);
    fs::create_symlink("a.txt", file("link"));
    fs::create_symlink(file("link"), file("link2")); // a chain, absolute then relative
    WriteFileReplacing(file("link2"), "new");
    EXPECT_TRUE(fs::is_symlink(file("link")));
    EXPECT_TRUE(fs::is_symlink(file("link2")));
    EXPECT_EQ(read("a.txt"), "new");
    EXPECT_EQ(mode("a.txt"), 0600u);
    ::chmod(file("a.txt").c_str(), 0640);
    WriteFileReplacing(file("a.txt"), [](const std::string& temporary) {
        std::ofstream(temporary, std::ios::binary | std::ios::trunc) << "by name";
    });
    EXPECT_EQ(read("a.txt"), "by name");
    EXPECT_EQ(mode("a.txt"), 0640u);
    // A link to a file not yet written creates that file.
    fs::create_symlink("later.txt", file("dangling"));
    WriteFileReplacing(file("dangling"), "first");
    EXPECT_TRUE(fs::is_symlink(file("dangling")));
    EXPECT_EQ(read("later.txt"), "first");
    EXPECT_EQ(entries(), 5);
}

TEST_F(SafeFileTest, RefusesWhatItMustNotReplaceAndLeavesNoTemporary) {
    write("ro.txt", "keep");
    ::chmod(file("ro.txt").c_str(), 0444);
    fs::create_symlink("ro.txt", file("ro-link"));
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
    fs::create_directory(file("folder"));
    const std::pair<std::string, std::string> cases[] = {
        {file("ro.txt"), "the file is write-protected (make it writable or choose another name)"},
        {file("ro-link"), "the file is write-protected (make it writable or choose another name)"},
        {file("pipe"), "it is not a plain file"},
        {file("folder"), "it is a folder"},
        {file("folder") + "/", "it is a folder"},
        {"", "no file name was given"},
    };
    for (const auto& [path, why] : cases) {
        EXPECT_EQ(failure(path, "new"), "cannot write " + path + ": " + why);
        EXPECT_EQ(WriteProblem(path), why);
    }
    EXPECT_EQ(failure(file("no/such.txt"), "new"),
              "cannot create " + file("no/such.txt") + ": " + std::strerror(ENOENT));
    EXPECT_EQ(WriteProblem(file("no/such.txt")), "the folder " + file("no") + " does not exist");
    EXPECT_EQ(WriteProblem(file("ro.txt/x")), std::strerror(ENOTDIR));
    EXPECT_EQ(WriteProblem(file("new.txt")), "");
    // A writer that fails takes its temporary file with it.
    EXPECT_THROW(WriteFileReplacing(file("new.txt"),
                                    [](const std::string&) { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_EQ(read("ro.txt"), "keep");
    EXPECT_EQ(entries(), 4);
}

TEST_F(SafeFileTest, AFullDiskKeepsTheOldFileAndSaysWhy) {
    write("a.txt", "old");
    // The file size limit stands in for a full disk: the write fails part way.
    struct rlimit saved {};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = saved;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string message = failure(file("a.txt"), std::string(100000, 'x'));
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(message, "cannot write " + file("a.txt") + ": " + std::strerror(EFBIG));
    EXPECT_EQ(read("a.txt"), "old");
    EXPECT_EQ(entries(), 1);
}

// In a child process: the cleanup is installed, `work` runs, and the child's end is
// returned as the wait status.
template <class Work> int inChild(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
        InstallTemporaryFileCleanup();
        work();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

TEST_F(SafeFileTest, ASignalRemovesUnfinishedWritesAndKeepsAGrowingFile) {
    write("a.txt", "old");
    const int interrupted = inChild([this] {
        WriteFileReplacing(file("a.txt"), [](const std::string& temporary) {
            std::ofstream(temporary, std::ios::binary | std::ios::trunc) << "half";
            ::raise(SIGTERM);
        });
    });
    EXPECT_TRUE(WIFSIGNALED(interrupted) && WTERMSIG(interrupted) == SIGTERM) << interrupted;
    EXPECT_EQ(read("a.txt"), "old");
    EXPECT_EQ(entries(), 1);

    // What a growing file holds when the program is stopped replaces the old one.
    const int stopped = inChild([this] {
        ReplacingFile history(file("a.txt"));
        std::ofstream(history.temporaryPath(), std::ios::binary) << "step 1\n";
        ::raise(SIGINT);
    });
    EXPECT_TRUE(WIFSIGNALED(stopped) && WTERMSIG(stopped) == SIGINT) << stopped;
    EXPECT_EQ(read("a.txt"), "step 1\n");
    EXPECT_EQ(entries(), 1);

    // Destroyed without a commit, it leaves the target alone; committed, it replaces it.
    { ReplacingFile dropped(file("a.txt")); }
    ReplacingFile kept(file("a.txt"));
    std::ofstream(kept.temporaryPath(), std::ios::binary) << "step 2\n";
    EXPECT_EQ(read("a.txt"), "step 1\n");
    kept.commit();
    EXPECT_EQ(read("a.txt"), "step 2\n");
    EXPECT_EQ(entries(), 1);

    // A signal the program was started with ignored stays ignored.
    std::signal(SIGTERM, SIG_IGN);
    const int ignored = inChild([] {
        ::raise(SIGTERM);
        ::_exit(7);
    });
    std::signal(SIGTERM, SIG_DFL);
    EXPECT_TRUE(WIFEXITED(ignored) && WEXITSTATUS(ignored) == 7) << ignored;
}

TEST_F(SafeFileTest, SameFileByInodeOrByNormalizedPath) {
    write("a.txt", "x");
    fs::create_symlink("a.txt", file("link"));
    EXPECT_TRUE(SameFile(file("link"), file("a.txt")));
    EXPECT_TRUE(SameFile(file("a.txt"), (dir / "." / "a.txt").string()));
    EXPECT_FALSE(SameFile(file("a.txt"), file("b.txt")));
    EXPECT_TRUE(SameFile(file("sub/../b.txt"), file("b.txt"))); // neither exists yet
    EXPECT_FALSE(SameFile(file("b.txt"), file("c.txt")));
}

} // namespace
} // namespace quillane
