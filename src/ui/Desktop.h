#pragma once
// What the editing operations and commands need from the main window. The window
// implements it with its widgets; tests implement it with recording surfaces and
// a list of the messages shown.

#include <string>

#include "display/Surface.h"
#include "model/Messages.h"
#include "optimize/History.h"

namespace quillane {

class Desktop {
  public:
    virtual ~Desktop() = default;

    virtual DrawingSurface& canvas() = 0;   // picCanvas
    virtual DrawingSurface& colorBar() = 0; // picColorBar

    // A modal message box with the exclamation icon and an OK button only.
    virtual void showMessage(const std::string& text, const std::string& title = kWarningTitle) = 0;
    virtual void beep() = 0;
    // The pointer: true is the busy (hourglass) pointer, code 11; false the default, 0.
    virtual void setBusy(bool busy) = 0;

    virtual void setStatus(const std::string& text) = 0;      // lblUpDate
    virtual void setMouseStatus(const std::string& text) = 0; // lblMouseXY
    virtual void setTitle(const std::string& text) = 0;
    // mnuOptimization and mnuHistory together.
    virtual void setResultMenusEnabled(bool enabled) = 0;
    // tmrOpt: 0 stops it; otherwise it ticks every `milliseconds`.
    virtual void setTimerInterval(int milliseconds) = 0;

    // The canvas's present size in pixels, for the view's aspect.
    virtual double canvasWidth() = 0;
    virtual double canvasHeight() = 0;

    // The history file (History.tmp in the current directory).
    virtual HistoryRecorder& history() = 0;

    // The run record or its stop notice changed (an analysis, a step, a rule that
    // fired, a cleared or opened model): views that follow the run catch up.
    virtual void runRecordChanged() {}
};

} // namespace quillane
