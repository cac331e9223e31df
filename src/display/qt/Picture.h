#pragma once
// The canvas and its colour legend as one image, drawn by the same code as the
// desktop's picture boxes, without any window.

#include <QImage>

#include "model/Model.h"

namespace quillane {

enum class PictureMap { None, Stress, Potential };

// Lays out a picture of `size` pixels as the main window lays out its client area
// (the legend's width is the canvas height / 21 x 5.5), fits the model's view to
// the canvas, and draws the model, then the chosen result map over it. Needs a
// QGuiApplication for the legend's texts.
QImage RenderPicture(Model& m, QSize size, PictureMap map);

} // namespace quillane
