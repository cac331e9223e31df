#pragma once
// Recording the course of an optimization to a text file: a header line, then one
// record "step,max,avg,min" per event, lines ended by CR LF, numbers in their
// shortest general form.

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "model/Messages.h"
#include "model/Model.h"
#include "model/SafeFile.h"

namespace quillane {

inline constexpr const char* kHistoryFileName = "History.tmp";
inline constexpr const char* kHistoryHeader = "Iteration, Max, Avg, Min";

// The history file could not be created or written; what() says why in plain words.
class HistoryFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One record line without its line end: StepCount, MaxStress, AvgStress, MinStress.
std::string HistoryRecord(const Model& m);

// How the file is written: straight into it, so that it can be followed while the steps
// run (the desktop's History.tmp), or beside it under a temporary name that replaces it
// when the recording is closed, so an earlier file stays whole until then (the runner's
// --history; the temporary file can be followed instead).
enum class HistoryWriting { Direct, ReplaceWhenClosed };

class HistoryRecorder {
  public:
    // `path` defaults to "History.tmp" in the current directory.
    explicit HistoryRecorder(std::string path = kHistoryFileName,
                             HistoryWriting writing = HistoryWriting::Direct);

    // Starts recording: returns false and changes nothing when HistoryRecording is
    // already set (the caller shows kHistoryAlreadyRecording). Otherwise sets
    // HistoryRecording = -1, creates or empties the file, writes the header and one
    // record of the present state. Raises HistoryFileError when the file cannot be
    // created; the flag is then already set, as the program sets it first.
    bool Start(Model& m);

    // Appends one record when HistoryRecording is set and the file is open, and
    // flushes it so the file can be read while the steps run. Raises
    // HistoryFileError when the write fails.
    void Record(const Model& m);

    // Closes the file if open and clears HistoryRecording. Written beside its target,
    // the file then replaces the target, unless a write failed: the earlier file then
    // stays. Raises HistoryFileError when it cannot replace the target.
    void Close(Model& m);

    bool isOpen() const { return file_.is_open(); }
    const std::string& path() const { return path_; }
    // Where the records go while recording: path(), or the temporary file beside it.
    std::string writingPath() const;

  private:
    [[noreturn]] void writeFailed();

    std::string path_;
    HistoryWriting writing_;
    std::unique_ptr<ReplacingFile> replacing_;
    std::ofstream file_;
    bool failed_ = false;
};

} // namespace quillane
