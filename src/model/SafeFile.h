#pragma once
// Writing a file so that it is never left half-written: the bytes go to a temporary
// file beside the target, which replaces the target only once it is complete and on
// the disk. A failed write leaves any earlier file as it was and no temporary behind.

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

} // namespace quillane
