#include "model/View.h"

#include "model/Faults.h"
#include "model/NumberText.h"

namespace quillane {

void FitView(Model& m, double canvasWidth, double canvasHeight) {
    if (canvasWidth == 0.0) {
        raiseFloatingPoint("The canvas has no width, so the height of the view cannot be "
                           "derived from its aspect (division by zero).");
    }
    m.DomainHeight =
        static_cast<float>(static_cast<double>(m.DomainWidth) * canvasHeight / canvasWidth);
    m.ViewRight = m.OriginFracX * m.DomainWidth;
    m.ViewTop = m.OriginFracY * m.DomainHeight;
}

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

} // namespace quillane
