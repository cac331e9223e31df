#include "display/Layout.h"

#include "model/NumberText.h"

namespace quillane {

LayoutBoxes ComputeLayout(double clientHeight, double clientWidth, double strip,
                          double labelOffset) {
    // Each quantity is rounded as soon as it is computed, so the colour bar
    // follows the rounded canvas height and the canvas width the rounded bar.
    LayoutBoxes boxes;
    boxes.canvasHeight = roundToInt16(clientHeight - strip, "the canvas height");
    boxes.labelTop = roundToInt16(clientHeight - labelOffset, "the label top");
    boxes.colorBarWidth = roundToInt16(boxes.canvasHeight / 21.0 * 5.5, "the colour bar width");
    boxes.canvasWidth = roundToInt16(clientWidth - boxes.colorBarWidth, "the canvas width");
    return boxes;
}

LayoutBoxes FirstWindowLayout() {
    return ComputeLayout(kFirstClientHeightTwips, kFirstClientWidthTwips);
}

} // namespace quillane
