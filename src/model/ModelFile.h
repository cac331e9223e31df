#pragma once
// The model file: plain text, one record per line ended by CR LF, fields separated
// by a single comma. Records in order: drawing-area settings; grid size; the two
// corners of the design domain; material; mesh size; one record per cell (rows
// outer, columns inner); per node k its coordinates "k,x,y"; per element
// "e,n1,n2,n3,n4"; per node its supports "k,fx,fy"; per node its loads "k,Fx,Fy";
// the optimization parameters. Results are not stored.

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/Model.h"

namespace quillane {

// What the user is told when a model file cannot be written or read, whichever
// way it failed. The same message and title serve saving and opening.
inline constexpr const char* kModelFileErrorMessage =
    "ファイルを開くときにエラーが発生しました。\r\nファイルを選んでください。";
inline constexpr const char* kModelFileErrorTitle = "データ読込";

// A model file could not be written or read. what() is the message above; reason()
// says what the system or the reader found, in plain English for logs and the
// headless runner, e.g. "cannot open /a/b.model: No such file or directory",
// "line 12, field 2: \"abc\" is not a number", "line 3: the file ends before the
// element records are complete" or "the model has no cells: 0 rows".
class ModelFileError : public std::runtime_error {
  public:
    explicit ModelFileError(std::string reason)
        : std::runtime_error(kModelFileErrorMessage), reason_(std::move(reason)) {}
    const std::string& reason() const noexcept { return reason_; }

  private:
    std::string reason_;
};

// The canvas's current size in its own units, needed to rebuild the view.
struct CanvasSize {
    double width = 0.0;
    double height = 0.0;
};

// Writes the whole model to `path` (kept in ModelFilePath) in one pass. The file is
// written beside the target under a temporary name and renamed over it, so a
// failed save leaves any earlier file intact. Raises ModelFileError.
void SaveModel(Model& m, const std::string& path);

// Reads a model written by SaveModel, all or nothing: the file is read and checked
// in full before the model changes. Then records 1 to 12 replace the model's, the
// arrays are re-created for the counts read, the view is rebuilt for the canvas size,
// ModelFilePath is the path, DomainDefined becomes -1, and a running history
// recording is closed (closeHistory is called and HistoryRecording set to 0). Nothing
// is regenerated from the domain: the file's coordinates and connectivity stand as
// written. Fields may be separated by commas or line ends (CR LF, LF or CR) alike and
// take any usual decimal form ("0.5", ".5", "5E-01"); Integer fields round halves to
// even.
//
// Refused with ModelFileError, whose reason names the line and field: anything but a
// plain file, or one larger than any model can be; counts that do not describe one
// grid of 1 to 32767 cells (nodes (rows + 1) x (columns + 1), elements rows x columns)
// or announce more records than the rest of the file can hold; a running number out
// of order; an element node outside 1..NodeCount; a field that is not a number of
// its type. On any failure the model stays exactly as it was. The caller redraws,
// sets the title and disables the menus that need results.
void OpenModel(Model& m, const std::string& path, CanvasSize canvas,
               const std::function<void()>& closeHistory = {});

} // namespace quillane
