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

HistoryRecorder::HistoryRecorder(std::string path, HistoryWriting writing)
    : path_(std::move(path)), writing_(writing) {}

std::string HistoryRecorder::writingPath() const {
    return replacing_ ? replacing_->temporaryPath() : path_;
}

void HistoryRecorder::writeFailed() {
    failed_ = true;
    throw HistoryFileError("The history file \"" + path_ + "\" cannot be written" +
                           (errno != 0 ? std::string(": ") + std::strerror(errno) : "") + ".");
}

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
    failed_ = false;
    replacing_.reset();
    if (writing_ == HistoryWriting::ReplaceWhenClosed) {
        try {
            replacing_ = std::make_unique<ReplacingFile>(path_);
        } catch (const FileWriteError& error) {
            throw HistoryFileError(std::string("The history file cannot be created: ") +
                                   error.what() + ".");
        }
    }
    errno = 0;
    file_.open(writingPath(), std::ios::out | std::ios::binary | std::ios::trunc);
    if (!file_.is_open()) {
        const int error = errno;
        throw HistoryFileError("The history file \"" + path_ + "\" cannot be created: " +
                               (error != 0 ? std::strerror(error) : "reason unknown") + ".");
    }
    errno = 0;
    file_ << kHistoryHeader << kLineEnd << HistoryRecord(m) << kLineEnd;
    file_.flush();
    if (!file_) {
        writeFailed();
    }
    return true;
}

void HistoryRecorder::Record(const Model& m) {
    if (m.HistoryRecording == 0 || !file_.is_open()) {
        return;
    }
    // Flushed at once so the user can follow the file while the steps run, and a
    // stopped program loses nothing.
    errno = 0;
    file_ << HistoryRecord(m) << kLineEnd;
    file_.flush();
    if (!file_) {
        writeFailed();
    }
}

void HistoryRecorder::Close(Model& m) {
    if (file_.is_open()) {
        file_.close();
        failed_ = failed_ || file_.fail();
    }
    m.HistoryRecording = 0;
    if (!replacing_) {
        return;
    }
    // A file that could not be written whole does not replace the earlier one.
    const std::unique_ptr<ReplacingFile> replacing = std::move(replacing_);
    if (failed_) {
        replacing->discard();
        return;
    }
    try {
        replacing->commit();
    } catch (const FileWriteError& error) {
        throw HistoryFileError(std::string("The history file cannot be written: ") + error.what() +
                               ".");
    }
}

} // namespace quillane
