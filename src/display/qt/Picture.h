#pragma once
// The canvas and its colour legend as one picture, drawn by the same code as the
// desktop's picture boxes, without any window; and pictures written as PNG or SVG.

#include <QFont>
#include <QImage>
#include <optional>
#include <string>
#include <vector>

#include "display/RecordingSurface.h"
#include "model/Model.h"

namespace quillane {

enum class PictureMap { None, Stress, Potential };

// Lays out a picture of `size` pixels as the main window lays out its client area
// (the legend's width is the canvas height / 21 x 5.5), fits the model's view to
// the canvas, and draws the model, then the chosen result map over it. Needs a
// QGuiApplication for the legend's texts.
QImage RenderPicture(Model& m, QSize size, PictureMap map);

// One picture box as it stands: its pixels, and the drawing that made them since its
// last clear, which draws the same picture again as vectors.
struct PictureBox {
    QImage image;
    std::vector<DrawOp> drawing;
    QFont font;
};

// The canvas and the legend of RenderPicture's picture, each with its drawing.
struct PictureParts {
    PictureBox canvas;
    PictureBox bar;
};
PictureParts DrawPicture(Model& m, QSize size, PictureMap map);

// The canvas with the legend to its right, as one image.
QImage SideBySide(const PictureBox& canvas, const PictureBox& bar);

// The bytes of a PNG file of the image.
std::string PngBytes(const QImage& image);

// The bytes of an SVG file of the canvas with the legend to its right, the same size
// in pixels as SideBySide's image: each box's drawing is drawn again through the same
// painter code into its own area, lines and boxes as shapes, texts as text.
std::string PictureSvg(const PictureBox& canvas, const PictureBox& bar);

enum class PictureFormat { Png, Svg };
// The format a file name asks for by its extension: .png or .svg in any case.
std::optional<PictureFormat> PictureFormatOf(const std::string& path);

// Writes the canvas with its legend to `path`, as PNG or SVG by its extension,
// through a temporary file that replaces `path` only when complete. Raises
// FileWriteError, or std::invalid_argument for another extension.
void WritePicture(const std::string& path, const PictureBox& canvas, const PictureBox& bar);

} // namespace quillane
