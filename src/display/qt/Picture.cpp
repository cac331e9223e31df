#include "display/qt/Picture.h"

#include <QPainter>
#include <algorithm>

#include "display/Canvas.h"
#include "display/ColorScale.h"
#include "display/Layout.h"
#include "display/ResultMaps.h"
#include "display/qt/ImageSurface.h"
#include "model/View.h"

namespace quillane {

QImage RenderPicture(Model& m, QSize size, PictureMap map) {
    // The window's rule with the whole height for the pictures (no label strip).
    const int height = std::max(1, size.height());
    const LayoutBoxes boxes = ComputeLayout(height, size.width(), 0, 0);
    const int barWidth = std::clamp<int>(boxes.colorBarWidth, 1, size.width());
    const int canvasWidth = std::max(1, size.width() - barWidth);

    ImageSurface canvas(QSize(canvasWidth, height));
    ImageSurface bar(QSize(barWidth, height));
    canvas.setBackColor(kCanvasBackground);
    bar.setBackColor(Rgb{240, 240, 240});
    bar.clear();

    FitView(m, canvasWidth, height);
    ApplyCanvasScale(m, canvas);
    DrawCanvas(m, canvas);
    DrawColorBar(m, bar, "stress(MPa)");
    if (map == PictureMap::Stress) {
        DrawStressMap(m, canvas, bar, m.MaxStress, m.MinStress, m.CellStress);
    } else if (map == PictureMap::Potential) {
        DrawNeuronMap(m, canvas, bar, m.Potential);
    }

    QImage picture(QSize(canvasWidth + barWidth, height), QImage::Format_RGB32);
    QPainter p(&picture);
    p.drawImage(0, 0, canvas.image());
    p.drawImage(canvasWidth, 0, bar.image());
    return picture;
}

} // namespace quillane
