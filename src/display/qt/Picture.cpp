#include "display/qt/Picture.h"

#include <QBuffer>
#include <QImageWriter>
#include <QPainter>
#include <QSvgGenerator>
#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "display/Canvas.h"
#include "display/ColorScale.h"
#include "display/Layout.h"
#include "display/ResultMaps.h"
#include "display/qt/ImageSurface.h"
#include "model/SafeFile.h"
#include "model/View.h"

namespace quillane {

namespace {

// An image surface and the record of what is on it, drawn on together.
struct RecordedImage {
    explicit RecordedImage(QSize size) : image(size) {}
    PictureBox box() const { return {image.image(), record.ops(), image.font()}; }

    ImageSurface image;
    RecordingSurface record{true};
    TeeSurface both{image, record};
};

} // namespace

PictureParts DrawPicture(Model& m, QSize size, PictureMap map) {
    // The window's rule with the whole height for the pictures (no label strip).
    const int height = std::max(1, size.height());
    const LayoutBoxes boxes = ComputeLayout(height, size.width(), 0, 0);
    const int barWidth = std::clamp<int>(boxes.colorBarWidth, 1, size.width());
    const int canvasWidth = std::max(1, size.width() - barWidth);

    RecordedImage canvas(QSize(canvasWidth, height));
    RecordedImage bar(QSize(barWidth, height));
    canvas.both.setBackColor(kCanvasBackground);
    bar.both.setBackColor(Rgb{240, 240, 240});
    bar.both.clear();

    FitView(m, canvasWidth, height);
    ApplyCanvasScale(m, canvas.both);
    DrawCanvas(m, canvas.both);
    DrawColorBar(m, bar.both, "stress(MPa)");
    if (map == PictureMap::Stress) {
        DrawStressMap(m, canvas.both, bar.both, m.MaxStress, m.MinStress, m.CellStress);
    } else if (map == PictureMap::Potential) {
        DrawNeuronMap(m, canvas.both, bar.both, m.Potential);
    }
    return {canvas.box(), bar.box()};
}

QImage SideBySide(const PictureBox& canvas, const PictureBox& bar) {
    QImage picture(QSize(canvas.image.width() + bar.image.width(),
                         std::max(canvas.image.height(), bar.image.height())),
                   QImage::Format_RGB32);
    QPainter p(&picture);
    p.drawImage(0, 0, canvas.image);
    p.drawImage(canvas.image.width(), 0, bar.image);
    return picture;
}

QImage RenderPicture(Model& m, QSize size, PictureMap map) {
    const PictureParts parts = DrawPicture(m, size, map);
    return SideBySide(parts.canvas, parts.bar);
}

std::string PngBytes(const QImage& image) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image)) {
        throw std::runtime_error("the picture could not be encoded as PNG: " +
                                 writer.errorString().toStdString());
    }
    return buffer.data().toStdString();
}

std::string PictureSvg(const PictureBox& canvas, const PictureBox& bar) {
    const QSize size(canvas.image.width() + bar.image.width(),
                     std::max(canvas.image.height(), bar.image.height()));
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QSvgGenerator svg;
    svg.setOutputDevice(&buffer);
    svg.setSize(size);
    svg.setViewBox(QRect(QPoint(0, 0), size));
    // Texts get the size in pixels they have in the image.
    svg.setResolution(canvas.image.logicalDpiX());
    svg.setTitle("Quillane");
    QPainter painter(&svg);
    PainterSurface canvasArea(painter, QPoint(0, 0), canvas.image.size());
    canvasArea.setFont(canvas.font);
    Replay(canvas.drawing, canvasArea);
    PainterSurface barArea(painter, QPoint(canvas.image.width(), 0), bar.image.size());
    barArea.setFont(bar.font);
    Replay(bar.drawing, barArea);
    painter.end();
    return buffer.data().toStdString();
}

std::optional<PictureFormat> PictureFormatOf(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) {
        return std::nullopt;
    }
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == "png") {
        return PictureFormat::Png;
    }
    if (extension == "svg") {
        return PictureFormat::Svg;
    }
    return std::nullopt;
}

void WritePicture(const std::string& path, const PictureBox& canvas, const PictureBox& bar) {
    const std::optional<PictureFormat> format = PictureFormatOf(path);
    if (!format) {
        throw std::invalid_argument("The file name \"" + path +
                                    "\" does not end in .png or .svg, so the format is unknown.");
    }
    WriteFileReplacing(path, *format == PictureFormat::Png ? PngBytes(SideBySide(canvas, bar))
                                                           : PictureSvg(canvas, bar));
}

} // namespace quillane
