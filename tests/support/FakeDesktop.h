#pragma once
// A desktop for tests: recording surfaces for the canvas and the legend, and a
// log of every message, beep, pointer change, caption and timer setting.

#include <string>
#include <utility>
#include <vector>

#include "display/RecordingSurface.h"
#include "ui/Desktop.h"

namespace quillane::test {

class FakeDesktop : public Desktop {
  public:
    struct Message {
        std::string text;
        std::string title;
    };

    explicit FakeDesktop(std::string historyPath = "History.tmp")
        : history_(std::move(historyPath)) {}

    DrawingSurface& canvas() override { return canvasSurface; }
    DrawingSurface& colorBar() override { return barSurface; }
    void showMessage(const std::string& text, const std::string& caption) override {
        messages.push_back({text, caption});
    }
    void beep() override { ++beeps; }
    void setBusy(bool isBusy) override {
        busy = isBusy;
        pointerChanges.push_back(isBusy);
    }
    void setStatus(const std::string& text) override { status = text; }
    void setMouseStatus(const std::string& text) override { mouseStatus = text; }
    void setTitle(const std::string& text) override { title = text; }
    void setResultMenusEnabled(bool enabled) override { resultMenusEnabled = enabled; }
    void setTimerInterval(int milliseconds) override { timerInterval = milliseconds; }
    double canvasWidth() override { return width; }
    double canvasHeight() override { return height; }
    HistoryRecorder& history() override { return history_; }

    RecordingSurface canvasSurface;
    RecordingSurface barSurface;
    std::vector<Message> messages;
    int beeps = 0;
    bool busy = false;
    std::vector<bool> pointerChanges;
    std::string status;
    std::string mouseStatus;
    std::string title;
    bool resultMenusEnabled = true;
    int timerInterval = 0;
    double width = 1380; // a 3 : 2 canvas of the usual size in pixels
    double height = 920;

  private:
    HistoryRecorder history_;
};

} // namespace quillane::test
