#include "model/SafeFile.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillane {

namespace {

[[noreturn]] void raise(const char* action, const std::string& path, int error) {
    throw FileWriteError(std::string("cannot ") + action + " " + path + ": " +
                         std::strerror(error));
}

// ---------------------------------------------------------------------------
// The temporary files being written, for the signal handler. Fixed storage and
// lock-free flags only, since a handler may run at any instruction: a slot is
// claimed, filled, then marked ready; the handler looks at ready slots alone.

constexpr int kSlots = 16;
constexpr std::size_t kPathCapacity = 4096;
enum SlotState : int { kFree = 0, kFilling = 1, kReady = 2 };

struct Slot {
    std::atomic<int> state{kFree};
    bool commit = false; // put in the target's place instead of removed
    char temporary[kPathCapacity] = {};
    char target[kPathCapacity] = {};
};

Slot slots[kSlots];

// The slot taken, or -1 when none is free or a path is too long: the file is then
// written all the same, only not cleaned up on a signal.
int remember(const std::string& temporary, const std::string& target, bool commit) {
    if (temporary.size() >= kPathCapacity || target.size() >= kPathCapacity) {
        return -1;
    }
    for (int i = 0; i < kSlots; ++i) {
        int expected = kFree;
        if (slots[i].state.compare_exchange_strong(expected, kFilling)) {
            std::memcpy(slots[i].temporary, temporary.c_str(), temporary.size() + 1);
            std::memcpy(slots[i].target, target.c_str(), target.size() + 1);
            slots[i].commit = commit;
            slots[i].state.store(kReady, std::memory_order_release);
            return i;
        }
    }
    return -1;
}

void forget(int slot) {
    if (slot >= 0) {
        slots[slot].state.store(kFree, std::memory_order_release);
    }
}

extern "C" void cleanUpAndEnd(int signal) {
    for (Slot& slot : slots) {
        if (slot.state.load(std::memory_order_acquire) == kReady) {
            if (slot.commit) {
                ::rename(slot.temporary, slot.target);
            } else {
                ::unlink(slot.temporary);
            }
        }
    }
    // The signal is blocked while this runs: raised again with its default action,
    // it ends the program as soon as the handler returns.
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

// ---------------------------------------------------------------------------
// The target of a path.

struct Target {
    std::string file; // the path with every symbolic link followed
    bool exists = false;
    mode_t mode = 0;     // its permission bits when it exists
    std::string problem; // why it cannot be replaced, "" when it can
};

std::string folderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : file.substr(0, slash);
}

Target examine(const std::string& path) {
    Target t;
    if (path.empty()) {
        t.problem = "no file name was given";
        return t;
    }
    if (path.back() == '/') {
        t.problem = "it is a folder";
        return t;
    }
    // Follow the links one by one, so that a link to a file not yet written names
    // where the file will be.
    t.file = path;
    for (int hop = 0;; ++hop) {
        struct stat info {};
        if (::lstat(t.file.c_str(), &info) != 0) {
            if (errno != ENOENT) {
                t.problem = std::strerror(errno);
            }
            return t;
        }
        if (!S_ISLNK(info.st_mode)) {
            break;
        }
        char link[kPathCapacity];
        const ssize_t n = ::readlink(t.file.c_str(), link, sizeof link);
        if (hop == 40 || n < 0 || static_cast<std::size_t>(n) == sizeof link) {
            t.problem = std::strerror(hop == 40 ? ELOOP : n < 0 ? errno : ENAMETOOLONG);
            return t;
        }
        const std::string next(link, static_cast<std::size_t>(n));
        t.file = next.front() == '/' ? next : folderOf(t.file) + "/" + next;
    }
    struct stat info {};
    if (::stat(t.file.c_str(), &info) != 0) {
        t.problem = std::strerror(errno);
        return t;
    }
    t.exists = true;
    t.mode = info.st_mode & 07777;
    if (S_ISDIR(info.st_mode)) {
        t.problem = "it is a folder";
    } else if (!S_ISREG(info.st_mode)) {
        // Renaming over a device or a pipe would replace it, not write into it.
        t.problem = "it is not a plain file";
    } else if ((info.st_mode & 0222) == 0 ||
               (::access(t.file.c_str(), W_OK) != 0 && errno == EACCES)) {
        t.problem = "the file is write-protected (make it writable or choose another name)";
    }
    return t;
}

Target examineForWriting(const std::string& path) {
    Target t = examine(path);
    if (!t.problem.empty()) {
        throw FileWriteError("cannot write " + path + ": " + t.problem);
    }
    return t;
}

// A fresh file beside the target. A new file gets mode 0666 so that the user's umask
// decides, as for any newly written file; a replaced one keeps the old file's bits.
int createTemporary(const Target& t, std::string& temporary) {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary = t.file + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            if (t.exists) {
                ::fchmod(fd, t.mode);
            }
            return fd;
        }
        if (errno != EEXIST) {
            return -1;
        }
    }
    errno = EEXIST;
    return -1;
}

bool writeAll(int fd, std::string_view bytes) {
    const char* p = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    return true;
}

// Removes the temporary file and raises the error that made it useless.
[[noreturn]] void discard(const std::string& temporary, int slot, const char* action,
                          const std::string& path, int error) {
    ::unlink(temporary.c_str());
    forget(slot);
    raise(action, path, error);
}

// Makes sure a closed temporary file is on the disk, then puts it in the target's place.
void syncAndReplace(const std::string& temporary, int slot, const Target& t,
                    const std::string& path) {
    const int fd = ::open(temporary.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::fsync(fd) != 0) {
        const int error = errno;
        if (fd >= 0) {
            ::close(fd);
        }
        discard(temporary, slot, "write", path, error);
    }
    ::close(fd);
    if (t.exists) {
        ::chmod(temporary.c_str(), t.mode);
    }
    if (std::rename(temporary.c_str(), t.file.c_str()) != 0) {
        discard(temporary, slot, "replace", path, errno);
    }
    forget(slot);
}

} // namespace

void WriteFileReplacing(const std::string& path, std::string_view bytes) {
    const Target t = examineForWriting(path);
    std::string temporary;
    const int fd = createTemporary(t, temporary);
    if (fd < 0) {
        raise("create", path, errno);
    }
    const int slot = remember(temporary, t.file, false);
    int error = 0;
    if (!writeAll(fd, bytes) || ::fsync(fd) != 0) {
        error = errno;
    }
    if (::close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        discard(temporary, slot, "write", path, error);
    }
    if (std::rename(temporary.c_str(), t.file.c_str()) != 0) {
        discard(temporary, slot, "replace", path, errno);
    }
    forget(slot);
}

void WriteFileReplacing(const std::string& path,
                        const std::function<void(const std::string& temporaryPath)>& write) {
    const Target t = examineForWriting(path);
    std::string temporary;
    const int fd = createTemporary(t, temporary);
    if (fd < 0) {
        raise("create", path, errno);
    }
    ::close(fd);
    const int slot = remember(temporary, t.file, false);
    try {
        write(temporary);
    } catch (...) {
        ::unlink(temporary.c_str());
        forget(slot);
        throw;
    }
    syncAndReplace(temporary, slot, t, path);
}

ReplacingFile::ReplacingFile(const std::string& path) : path_(path) {
    const Target t = examineForWriting(path);
    const int fd = createTemporary(t, temporary_);
    if (fd < 0) {
        raise("create", path, errno);
    }
    ::close(fd);
    target_ = t.file;
    mode_ = t.exists ? t.mode : 0;
    slot_ = remember(temporary_, target_, true);
}

ReplacingFile::~ReplacingFile() {
    discard();
}

void ReplacingFile::commit() {
    if (temporary_.empty()) {
        return;
    }
    Target t;
    t.file = target_;
    t.exists = mode_ != 0;
    t.mode = static_cast<mode_t>(mode_);
    const std::string temporary = std::move(temporary_);
    temporary_.clear();
    const int slot = slot_;
    slot_ = -1;
    syncAndReplace(temporary, slot, t, path_);
}

void ReplacingFile::discard() noexcept {
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
        forget(slot_);
        temporary_.clear();
        slot_ = -1;
    }
}

std::string WriteProblem(const std::string& path) {
    const Target t = examine(path);
    if (!t.problem.empty()) {
        return t.problem;
    }
    const std::string folder = folderOf(t.file);
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0) {
        return errno == ENOENT
                   ? "the folder " + folder + " does not exist"
                   : "the folder " + folder + " cannot be reached: " + std::strerror(errno);
    }
    if (!S_ISDIR(info.st_mode)) {
        return folder + " is not a folder";
    }
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        return "the folder " + folder + " cannot be written to: " + std::strerror(errno);
    }
    return {};
}

bool SameFile(const std::string& a, const std::string& b) {
    struct stat sa {};
    struct stat sb {};
    const bool aExists = ::stat(a.c_str(), &sa) == 0;
    const bool bExists = ::stat(b.c_str(), &sb) == 0;
    if (aExists || bExists) {
        return aExists && bExists && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
    }
    // Neither exists yet: the same place once the links on the way are followed.
    const auto normal = [](const std::string& p) {
        std::error_code error;
        std::filesystem::path absolute = std::filesystem::absolute(p, error);
        if (error) {
            absolute = p;
        }
        std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
        return error ? absolute.lexically_normal() : canonical.lexically_normal();
    };
    return normal(a) == normal(b);
}

void InstallTemporaryFileCleanup() {
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction old {};
        ::sigaction(signal, nullptr, &old);
        if (old.sa_handler == SIG_IGN) {
            continue; // e.g. a runner started in the background by a shell
        }
        struct sigaction action {};
        action.sa_handler = cleanUpAndEnd;
        sigemptyset(&action.sa_mask);
        sigaddset(&action.sa_mask, SIGINT);
        sigaddset(&action.sa_mask, SIGTERM);
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace quillane
