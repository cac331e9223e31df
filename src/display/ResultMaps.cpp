#include "display/ResultMaps.h"

#include <array>
#include <string>

#include "display/Canvas.h"
#include "display/ColorScale.h"
#include "model/Faults.h"
#include "model/NumberText.h"

namespace quillane {

namespace {

// The map shared by both fields: the legend with its 16 labels, the occupied cells
// coloured by level, and the loads and supports on top.
void drawMap(const Model& m, DrawingSurface& canvas, DrawingSurface& bar, const char* title,
             double maxValue, double minValue, const Array2<double>& values) {
    canvas.setBackColor(PaletteColor(15));
    DrawColorBar(m, bar, title);
    const Rgb blue = PaletteColor(1);

    // Single-precision limits, as the legend shows them; index 0 unused.
    std::array<float, 17> limit{};
    const float delta = toSingle((maxValue - minValue) / 15.0, "the level width");
    for (int k = 1; k <= 15; ++k) {
        const float step = static_cast<float>(k - 1) * delta;
        limit[static_cast<std::size_t>(k)] = toSingle(step + minValue, "a level limit");
        bar.setTextPosition(2.0, k);
        bar.print(formatScientific(limit[static_cast<std::size_t>(k)]), blue);
    }
    limit[16] = toSingle(maxValue, "a level limit");
    bar.setTextPosition(2.0, 16);
    bar.print(formatScientific(limit[16]), blue);

    const int columns = m.CellColumnCount;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= columns; ++j) {
            if (m.CellState(i, j) <= 0) {
                continue;
            }
            const float v = toSingle(values(i, j), "a cell value");
            // The smallest level whose limit is not below the value; a value that
            // compares with none (above the top, or not a number) has no level.
            int k = 1;
            while (!(v <= limit[static_cast<std::size_t>(k)])) {
                k = k + 1;
                if (k > 16) {
                    raiseSubscript("The value " + formatGeneral(v) + " of cell (" +
                                   std::to_string(i) + ", " + std::to_string(j) +
                                   ") lies above the top of the colour scale (" +
                                   formatGeneral(limit[16]) + "), so it has no level.");
                }
            }
            const int e = (i - 1) * columns + j;
            const int n1 = m.ElementNodes(e, 1);
            const int n3 = m.ElementNodes(e, 3);
            canvas.filledBox(m.NodeXY(n1, 1), m.NodeXY(n1, 2), m.NodeXY(n3, 1), m.NodeXY(n3, 2),
                             LevelColor(m, k));
        }
    }

    // The map covers the symbols drawn with the model; put them back on top.
    DrawLoadArrows(m, canvas);
    DrawSupports(m, canvas);
}

} // namespace

void DrawStressMap(const Model& m, DrawingSurface& canvas, DrawingSurface& bar, double maxValue,
                   double minValue, const Array2<double>& values) {
    drawMap(m, canvas, bar, "stress(MPa)", maxValue, minValue, values);
}

void DrawNeuronMap(const Model& m, DrawingSurface& canvas, DrawingSurface& bar,
                   const Array2<double>& values) {
    // Both extremes start from 0, so the scale always includes 0.
    double maxValue = 0.0;
    double minValue = 0.0;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            if (values(i, j) > maxValue) {
                maxValue = values(i, j);
            }
            if (values(i, j) < minValue) {
                minValue = values(i, j);
            }
        }
    }
    drawMap(m, canvas, bar, "Potential", maxValue, minValue, values);
}

} // namespace quillane
