#include "optimize/History.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "model/NumberText.h"

namespace quillane {

namespace {

// Lines end in CR LF whatever the platform; the file is opened in binary mode so
// nothing translates them.
constexpr const char* kLineEnd = "\r\n";

} // namespace

std::string HistoryRecord(const Model& m) {
    return formatGeneral(static_cast<int>(m.StepCount)) + "," + formatGeneral(m.MaxStress) + "," +
           formatGeneral(m.AvgStress) + "," + formatGeneral(m.MinStress);
}

HistoryRecorder::HistoryRecorder(std::string path) : path_(std::move(path)) {}

bool HistoryRecorder::Start(Model& m) {
    if (m.HistoryRecording != 0) {
        return false;
    }
    // The flag goes up before the file is opened, so a failed open leaves it set.
    m.HistoryRecording = -1;
    if (file_.is_open()) {
        file_.close();
    }
    file_.clear();
    errno = 0;
    file_.open(path_, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!file_.is_open()) {
        const int error = errno;
        throw HistoryFileError("The history file \"" + path_ + "\" cannot be created: " +
                               (error != 0 ? std::strerror(error) : "reason unknown") + ".");
    }
    file_ << kHistoryHeader << kLineEnd << HistoryRecord(m) << kLineEnd;
    file_.flush();
    if (!file_) {
        throw HistoryFileError("The history file \"" + path_ + "\" cannot be written.");
    }
    return true;
}

void HistoryRecorder::Record(const Model& m) {
    if (m.HistoryRecording == 0 || !file_.is_open()) {
        return;
    }
    // Flushed at once so the user can follow the file while the steps run, and a
    // stopped program loses nothing.
    file_ << HistoryRecord(m) << kLineEnd;
    file_.flush();
    if (!file_) {
        throw HistoryFileError("The history file \"" + path_ + "\" cannot be written.");
    }
}

void HistoryRecorder::Close(Model& m) {
    if (file_.is_open()) {
        file_.close();
    }
    m.HistoryRecording = 0;
}

} // namespace quillane
