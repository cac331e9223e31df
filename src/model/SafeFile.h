#pragma once
// Writing a file so that it is never left half-written: the bytes go to a temporary
// file beside the target, which replaces the target only once it is complete and on
// the disk. A failed write leaves any earlier file as it was and no temporary behind.
//
// The target is the file a path finally names: a symbolic link is followed to the
// file it points to, which is replaced while the link stays a link. A replaced file
// keeps its permission bits. A file the user made write-protected (no write bit at
// all) is refused, not silently replaced, and so is anything that is not a plain file.

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace quillane {

// A file could not be written. what() says which file and why, in plain words with
// the system's reason, e.g. "cannot write /a/b.png: No space left on device".
class FileWriteError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Writes `bytes` to `path`. Raises FileWriteError.
void WriteFileReplacing(const std::string& path, std::string_view bytes);

// For writers that insist on a file name of their own: `write` is handed the path of
// the temporary file to create and fill; if it returns without throwing, the
// temporary file replaces `path`. Whatever `write` throws is passed on after the
// temporary file is removed. Raises FileWriteError.
void WriteFileReplacing(const std::string& path,
                        const std::function<void(const std::string& temporaryPath)>& write);

// A file that grows over a while (a history of steps): it is written under a temporary
// name beside the target and replaces the target at commit(), or when SIGINT or
// SIGTERM ends the program (see InstallTemporaryFileCleanup), so what was written up
// to then is kept. Until then the target stays as it was. Destroyed without commit(),
// the temporary file is removed.
class ReplacingFile {
  public:
    // Checks the target as WriteFileReplacing does and creates the empty temporary
    // file. Raises FileWriteError.
    explicit ReplacingFile(const std::string& path);
    ~ReplacingFile();
    ReplacingFile(const ReplacingFile&) = delete;
    ReplacingFile& operator=(const ReplacingFile&) = delete;

    // Where the writer puts its bytes.
    const std::string& temporaryPath() const noexcept { return temporary_; }
    // The temporary file, once synced to the disk, replaces the target. Raises
    // FileWriteError (the temporary file is then removed).
    void commit();
    // Removes the temporary file; the target stays as it was.
    void discard() noexcept;

  private:
    std::string path_;
    std::string target_;
    std::string temporary_;
    unsigned mode_ = 0;
    int slot_ = -1;
};

// Why `path` cannot be written as WriteFileReplacing would write it, or "" when nothing
// is in the way: e.g. "the folder /a/b does not exist", "it is a folder" or "the file is
// write-protected". Nothing is created.
std::string WriteProblem(const std::string& path);

// True when the two paths name the same file: by device and inode when both exist
// (links followed), otherwise by their absolute, normalized paths.
bool SameFile(const std::string& a, const std::string& b);

// Makes SIGINT and SIGTERM clean up before they end the program: temporary files of
// unfinished writes are removed, those of a ReplacingFile put in their target's place;
// then the signal ends the program as it would have. Only a program's main() calls
// this (library code installs no handlers); a signal the program was started with
// ignored stays ignored.
void InstallTemporaryFileCleanup();

} // namespace quillane
