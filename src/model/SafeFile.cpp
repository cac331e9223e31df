#include "model/SafeFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillane {

namespace {

[[noreturn]] void raise(const char* action, const std::string& path, int error) {
    throw FileWriteError(std::string("cannot ") + action + " " + path + ": " +
                         std::strerror(error));
}

// An empty name or a folder cannot be replaced by a file.
void requireFileName(const std::string& path) {
    struct stat info {};
    if (path.empty() || path.back() == '/' ||
        (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))) {
        raise("create", path, path.empty() ? ENOENT : EISDIR);
    }
}

// A fresh file beside the target, opened with mode 0666 so that the user's umask
// decides the permissions, as for any newly written file.
int createTemporary(const std::string& path, std::string& tempPath) {
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
        tempPath = path + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
        const int fd = ::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
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

// Removes the temporary file, keeping errno for the message.
[[noreturn]] void discard(const std::string& tempPath, const char* action,
                          const std::string& path) {
    const int error = errno;
    ::unlink(tempPath.c_str());
    raise(action, path, error);
}

// Puts a complete temporary file in the target's place.
void replaceTarget(const std::string& tempPath, const std::string& path) {
    if (std::rename(tempPath.c_str(), path.c_str()) != 0) {
        discard(tempPath, "replace", path);
    }
}

} // namespace

void WriteFileReplacing(const std::string& path, std::string_view bytes) {
    requireFileName(path);
    std::string tempPath;
    const int fd = createTemporary(path, tempPath);
    if (fd < 0) {
        raise("create", path, errno);
    }
    if (!writeAll(fd, bytes) || ::fsync(fd) != 0) {
        const int error = errno; // close must not replace the reason
        ::close(fd);
        errno = error;
        discard(tempPath, "write", path);
    }
    if (::close(fd) != 0) {
        discard(tempPath, "write", path);
    }
    replaceTarget(tempPath, path);
}

void WriteFileReplacing(const std::string& path,
                        const std::function<void(const std::string& temporaryPath)>& write) {
    requireFileName(path);
    std::string tempPath;
    const int fd = createTemporary(path, tempPath);
    if (fd < 0) {
        raise("create", path, errno);
    }
    ::close(fd);
    try {
        write(tempPath);
    } catch (...) {
        ::unlink(tempPath.c_str());
        throw;
    }
    // The writer closed its file; make sure the bytes are on the disk before the
    // target is replaced.
    const int sync = ::open(tempPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (sync < 0 || ::fsync(sync) != 0) {
        const int error = errno;
        if (sync >= 0) {
            ::close(sync);
        }
        errno = error;
        discard(tempPath, "write", path);
    }
    ::close(sync);
    replaceTarget(tempPath, path);
}

} // namespace quillane
