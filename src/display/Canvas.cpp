#include "display/Canvas.h"

#include "display/ColorScale.h"
#include "fem/Mesh.h"
#include "model/Faults.h"
#include "model/NumberText.h"

namespace quillane {

namespace {

// Sgn: -1, 0 or 1.
int sign(double value) {
    return (value > 0) - (value < 0);
}

// The canvas's visible edges (mm), from the view.
struct VisibleArea {
    float left, right, top, bottom;
};

VisibleArea visibleArea(const Model& m) {
    return {m.ViewRight - m.DomainWidth, m.ViewRight, m.ViewTop, m.ViewTop - m.DomainHeight};
}

// One pass over the cell grid, drawing the cells of one state. The element number
// runs over every cell, drawn or not, so it always matches the cell.
void drawCellsOfState(const Model& m, DrawingSurface& canvas, int16 state, Rgb fill) {
    const Rgb outline = PaletteColor(3);
    int e = 1;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            if (m.CellState(i, j) == state) {
                const int n1 = m.ElementNodes(e, 1);
                const int n3 = m.ElementNodes(e, 3);
                const double x1 = m.NodeXY(n1, 1);
                const double y1 = m.NodeXY(n1, 2);
                const double x3 = m.NodeXY(n3, 1);
                const double y3 = m.NodeXY(n3, 2);
                canvas.filledBox(x1, y1, x3, y3, fill);
                canvas.box(x1, y1, x3, y3, outline);
            }
            e = e + 1;
        }
    }
}

} // namespace

void ApplyCanvasScale(const Model& m, DrawingSurface& canvas) {
    const VisibleArea v = visibleArea(m);
    canvas.setScale(v.left, v.top, v.right, v.bottom);
}

void DrawCanvas(Model& m, DrawingSurface& canvas) {
    canvas.setBackColor(kCanvasBackground);
    MarkActiveNodes(m);
    canvas.clear();
    // A map drawn before may have left the arrows' width in force.
    canvas.setDrawWidth(1);
    if (m.DomainDefined != 0) {
        canvas.filledBox(m.DomainX1, m.DomainY1, m.DomainX2, m.DomainY2, PaletteColor(15));
    }
    drawCellsOfState(m, canvas, kCellDesign, PaletteColor(10));
    drawCellsOfState(m, canvas, kCellNonDesign, PaletteColor(11));
    drawCellsOfState(m, canvas, kCellCutOut, kCanvasBackground);
    DrawLoadArrows(m, canvas);
    DrawSupports(m, canvas);
    drawGrid(m, canvas);
}

void DrawLoadArrows(const Model& m, DrawingSurface& canvas) {
    const Rgb magenta = PaletteColor(13);
    canvas.setDrawWidth(2);
    // Every arrow has the same length on the screen; only the force's sign counts.
    const float s = m.DomainWidth / 30.0f;
    for (int k = 1; k <= m.NodeCount; ++k) {
        const float ax = static_cast<float>(sign(m.NodeLoad(k, 1))) * s;
        const float ay = static_cast<float>(sign(m.NodeLoad(k, 2))) * s;
        if (ax == 0.0f && ay == 0.0f) {
            continue;
        }
        const double x = m.NodeXY(k, 1);
        const double y = m.NodeXY(k, 2);

        const double tipX = x + ax;
        canvas.line(x, y, tipX, y, magenta);
        canvas.line(tipX, y, tipX + -ax / 3.0f, y + ax / 5.0f, magenta);
        canvas.line(x, y, tipX, y, magenta);
        canvas.line(tipX, y, tipX + -ax / 3.0f, y + -ax / 5.0f, magenta);

        const double tipY = y + ay;
        canvas.line(x, y, x, tipY, magenta);
        canvas.line(x, tipY, x + ay / 5.0f, tipY + -ay / 3.0f, magenta);
        canvas.line(x, y, x, tipY, magenta);
        canvas.line(x, tipY, x + -ay / 5.0f, tipY + -ay / 3.0f, magenta);
    }
}

void DrawSupports(const Model& m, DrawingSurface& canvas) {
    for (int k = 1; k <= m.NodeCount; ++k) {
        const auto x = static_cast<float>(m.NodeXY(k, 1));
        const auto y = static_cast<float>(m.NodeXY(k, 2));
        if (m.NodeFreedom(k, 1) == 1) {
            drawSymbolFx(m, canvas, x, y);
        }
        if (m.NodeFreedom(k, 2) == 1) {
            drawSymbolFy(m, canvas, x, y);
        }
    }
}

void drawSymbolFx(const Model& m, DrawingSurface& canvas, float x, float y) {
    // Sized from the view width, not the mesh, so it looks the same at any density.
    const float h = m.DomainWidth / 100.0f;
    const Rgb blue = PaletteColor(1);
    canvas.setDrawWidth(1);
    canvas.line(x, y, x - h, y + h / 2.0f, blue);
    canvas.line(x - h, y + h / 2.0f, x - h, y - h / 2.0f, blue);
    canvas.line(x - h, y - h / 2.0f, x, y, blue);
    const float groundX = x - 4.0f * h / 3.0f;
    const float groundY = y - h / 2.0f;
    canvas.line(groundX, groundY, groundX, groundY + h, blue);
}

void drawSymbolFy(const Model& m, DrawingSurface& canvas, float x, float y) {
    const float h = m.DomainWidth / 100.0f;
    const Rgb blue = PaletteColor(1);
    canvas.setDrawWidth(1);
    canvas.line(x, y, x - h / 2.0f, y - h, blue);
    canvas.line(x - h / 2.0f, y - h, x + h / 2.0f, y - h, blue);
    canvas.line(x + h / 2.0f, y - h, x, y, blue);
    const float groundX = x - h / 2.0f;
    const float groundY = y - 4.0f * h / 3.0f;
    canvas.line(groundX, groundY, groundX + h, groundY, blue);
}

void drawGrid(const Model& m, DrawingSurface& canvas) {
    const VisibleArea v = visibleArea(m);
    canvas.setDrawWidth(1);
    const Rgb red = PaletteColor(4);
    canvas.line(0.0, v.top, 0.0, v.bottom, red);
    canvas.line(v.left, 0.0, v.right, 0.0, red);

    const float size = m.ElementSize;
    // A size of 0 or less has no grid; an opened file may still carry one.
    if (!(size > 0.0f)) {
        return;
    }
    const Rgb cyan = PaletteColor(3);
    const auto lines = [size](float distance) {
        const float count = distance / size;
        return roundToInt16(count, "the number of grid lines");
    };
    const int16 toLeft = lines(-v.left);
    for (int i = 1; i <= toLeft; ++i) {
        const float x = -static_cast<float>(i) * size;
        canvas.line(x, v.top, x, v.bottom, cyan);
    }
    const int16 toRight = lines(v.right);
    for (int i = 1; i <= toRight; ++i) {
        const float x = static_cast<float>(i) * size;
        canvas.line(x, v.top, x, v.bottom, cyan);
    }
    const int16 toBottom = lines(-v.bottom);
    for (int i = 1; i <= toBottom; ++i) {
        const float y = -static_cast<float>(i) * size;
        canvas.line(v.left, y, v.right, y, cyan);
    }
    const int16 toTop = lines(v.top);
    for (int i = 1; i <= toTop; ++i) {
        const float y = static_cast<float>(i) * size;
        canvas.line(v.left, y, v.right, y, cyan);
    }
}

void picCanvasClear(Model& m, DrawingSurface& canvas, DrawingSurface& bar) {
    ClearGeometry(m);
    DrawCanvas(m, canvas);
    DrawColorBar(m, bar, "stress(MPa)");
}

} // namespace quillane
