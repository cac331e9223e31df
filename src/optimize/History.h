#pragma once
// Recording the course of an optimization to a text file: a header line, then one
// record "step,max,avg,min" per event, lines ended by CR LF, numbers in their
// shortest general form.

#include <fstream>
#include <stdexcept>
#include <string>

#include "model/Messages.h"
#include "model/Model.h"

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

class HistoryRecorder {
  public:
    // `path` defaults to "History.tmp" in the current directory.
    explicit HistoryRecorder(std::string path = kHistoryFileName);

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

    // Closes the file if open and clears HistoryRecording.
    void Close(Model& m);

    bool isOpen() const { return file_.is_open(); }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
    std::ofstream file_;
};

} // namespace quillane
