#include "model/View.h"

#include "model/Faults.h"

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

} // namespace quillane
