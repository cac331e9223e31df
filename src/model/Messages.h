#pragma once
// The texts the program shows the user in its message boxes, exactly as written.
// A line break inside a message is CR LF; the desktop turns it into its own.

namespace quillane {

inline constexpr const char* kWarningTitle = "警告";

// A click for an element (a rectangle of cells or an element read-out) missed the
// design domain.
inline constexpr const char* kElementNotInDomain = "選ばれた要素は設計領域にありません。";
// A click for a node (support, load or node read-out) missed the design domain.
inline constexpr const char* kNodeNotInDomain = "選ばれた節点は設計領域にありません。";
// A tool that works on the domain was chosen before any domain exists; the empty
// first line belongs to the text.
inline constexpr const char* kDomainFirst = "\r\n設計領域をはじめに入力してください。";
// Recording was started a second time.
inline constexpr const char* kHistoryAlreadyRecording = "すでに履歴を記録しています。";

} // namespace quillane

namespace quillane {

// A domain set-up whose two corners share a grid line in x or y.
inline constexpr const char* kDomainWithoutCells =
    "The design domain needs at least one row and one column of cells: click the two corners "
    "on different grid lines in x and in y. The previous domain is kept.";
// A domain set-up with more cells or nodes than the program can count.
inline constexpr const char* kDomainTooLarge =
    "The design domain is too large: it may have at most 32767 cells and 32767 nodes. Choose "
    "a smaller domain or a larger element size. The previous domain is kept.";
// A potential read-out in the lowest row or the leftmost column: the read-out shows the
// cell one row down and one column to the left of the one clicked, and there is none.
inline constexpr const char* kNoPotentialHere =
    "There is no potential to show for this position: the read-out shows the cell one row "
    "below and one column to the left of the one clicked, and the lowest row and the leftmost "
    "column have no such cell.";
// A stress read-out whose cell lies beyond the grid (after a change of the element size).
inline constexpr const char* kNoStressHere =
    "There is no stress to show for this position: the grid of the element size in use goes "
    "beyond the cells of the design domain here.";
// A width or element size that is not above 0.
inline constexpr const char* kWidthNotPositive =
    "The display width and the element size must be greater than 0. Nothing was changed.";

} // namespace quillane

namespace quillane {

// The two export commands at the end of the File menu, their message box titles and
// what they say when there is nothing to write or the name says no format.
inline constexpr const char* kExportImageTitle = "Export Image";
inline constexpr const char* kExportShapeTitle = "Export Shape";
inline constexpr const char* kNoShapeToExport =
    "There is no shape to export: no cell holds material. Set up a design domain and add "
    "material, or open a model, first.";
inline constexpr const char* kImageFileName =
    "Choose a file name ending in .png or .svg: the ending decides the format.";
inline constexpr const char* kShapeFileName =
    "Choose a file name ending in .svg, .dxf or .stl: the ending decides the format.";

} // namespace quillane
