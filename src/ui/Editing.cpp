#include "ui/Editing.h"

#include <cmath>
#include <utility>

#include "display/Canvas.h"
#include "display/ValueReadouts.h"
#include "fem/Mesh.h"
#include "model/NumberText.h"

namespace quillane {

namespace {

// The nearest grid line as a real number, before any conversion: corners and
// nodes are placed from it directly, so a far press never overflows here.
float gridLine(float v, float size) {
    return std::floor(v / size + 0.5f);
}

// The lower-left corner of the cell under a press.
float cellCorner(float v, float size) {
    return std::floor(v / size) * size;
}

// A 1-based grid index (px - origin) / size + 1, accepted only when it lies in
// 1..limit. In a consistent model the rectangle tests already guarantee this; the
// check keeps a click made after a change of ElementSize (the domain keeps the
// size it was built with) from indexing outside the arrays or overflowing.
bool gridIndex(float p, float origin, float size, int limit, int16& index) {
    const float q = (p - origin) / size + 1.0f;
    const double nearest = std::nearbyint(static_cast<double>(q));
    if (!(nearest >= 1.0 && nearest <= static_cast<double>(limit))) {
        return false;
    }
    index = roundToInt16(q, "a grid index");
    return true;
}

// A 1-based grid number (p - origin) / size + 1, rounded as a 16-bit index; false
// when it cannot be one.
bool gridNumber(float p, float origin, float size, int16& number) {
    const float q = (p - origin) / size + 1.0f;
    const double nearest = std::nearbyint(static_cast<double>(q));
    if (!(nearest >= kInt16Min && nearest <= kInt16Max)) {
        return false;
    }
    number = roundToInt16(q, "a grid number");
    return true;
}

// A cell count of the domain, rounded as the mesh will round it; false when it
// cannot be counted in 16 bits.
bool cellCount(float low, float high, float size, long long& count) {
    const float q = (high - low) / size;
    const double nearest = std::nearbyint(static_cast<double>(q));
    if (!(nearest >= kInt16Min && nearest <= kInt16Max)) {
        return false;
    }
    count = roundToInt16(q, "a cell count");
    return true;
}

void showReadout(Desktop& d, const Readout& r) {
    if (r.inside) {
        d.setStatus(r.text);
    } else {
        d.showMessage(r.text);
    }
}

// The two clicks of the four rectangle operations, writing `code` to every cell
// between the two clicked cells.
void rectangleOperation(Model& m, Desktop& d, float X, float Y, int16 code) {
    m.ClickCount = add16(m.ClickCount, 1, "the click count");
    const float px = cellCorner(X, m.ElementSize);
    const float py = cellCorner(Y, m.ElementSize);
    bool accepted = m.DomainDefined != 0 && m.DomainX1 <= px && px < m.DomainX2 &&
                    m.DomainY1 <= py && py < m.DomainY2;
    int16 column = 0;
    int16 row = 0;
    accepted = accepted && gridIndex(px, m.DomainX1, m.ElementSize, m.CellColumnCount, column) &&
               gridIndex(py, m.DomainY1, m.ElementSize, m.CellRowCount, row);

    if (m.ClickCount == 1) {
        if (!accepted) {
            d.showMessage(kElementNotInDomain);
            m.ClickCount = 0;
            return;
        }
        m.FirstCornerColumn = column;
        m.FirstCornerRow = row;
        // The first corner cell lights up until the second click redraws.
        const int e = (m.FirstCornerRow - 1) * m.CellColumnCount + m.FirstCornerColumn;
        const int lowerLeft = m.ElementNodes(e, 1);
        const int upperRight = m.ElementNodes(e, 3);
        DrawingSurface& canvas = d.canvas();
        canvas.filledBox(m.NodeXY(lowerLeft, 1), m.NodeXY(lowerLeft, 2), m.NodeXY(upperRight, 1),
                         m.NodeXY(upperRight, 2), PaletteColor(4));
        canvas.box(m.NodeXY(lowerLeft, 1), m.NodeXY(lowerLeft, 2), m.NodeXY(upperRight, 1),
                   m.NodeXY(upperRight, 2), PaletteColor(3));
    } else if (m.ClickCount == 2) {
        if (!accepted) {
            // The first corner stays; the user clicks the second one again.
            d.showMessage(kElementNotInDomain);
            m.ClickCount = 1;
            return;
        }
        m.SecondCornerColumn = column;
        m.SecondCornerRow = row;
        if (m.FirstCornerColumn > m.SecondCornerColumn) {
            std::swap(m.FirstCornerColumn, m.SecondCornerColumn);
        }
        if (m.FirstCornerRow > m.SecondCornerRow) {
            std::swap(m.FirstCornerRow, m.SecondCornerRow);
        }
        const bool adding = code == kCellDesign || code == kCellNonDesign;
        for (int r = m.FirstCornerRow; r <= m.SecondCornerRow; ++r) {
            for (int c = m.FirstCornerColumn; c <= m.SecondCornerColumn; ++c) {
                m.CellState(r, c) = code;
                if (adding) {
                    // Indexed by the element number, not a node: harmless, since
                    // DrawCanvas recomputes every node flag right below.
                    m.NodeActive((r - 1) * m.CellColumnCount + c) = 1;
                }
            }
        }
        m.ClickCount = 0;
        DrawCanvas(m, d.canvas());
    }
}

// The node nearest to a press, or false (with the warning shown) when it lies
// outside the domain rectangle, edges included.
bool pickNode(Model& m, Desktop& d, float X, float Y, int& node) {
    const float px = gridLine(X, m.ElementSize) * m.ElementSize;
    const float py = gridLine(Y, m.ElementSize) * m.ElementSize;
    bool accepted = m.DomainDefined != 0 && m.DomainX1 <= px && px <= m.DomainX2 &&
                    m.DomainY1 <= py && py <= m.DomainY2;
    // Column and row come from the element size in use, measured against the domain as
    // it was built: after a change of the size they may name another node than the one
    // under the click, as the program always has. Only a number that is no node of the
    // model is refused.
    int16 column = 0;
    int16 row = 0;
    accepted = accepted && gridNumber(px, m.DomainX1, m.ElementSize, column) &&
               gridNumber(py, m.DomainY1, m.ElementSize, row);
    const long long number = (static_cast<long long>(row) - 1) * (m.CellColumnCount + 1) + column;
    if (!accepted || number < 1 || number > m.NodeCount) {
        d.showMessage(kNodeNotInDomain);
        return false;
    }
    node = static_cast<int>(number);
    return true;
}

} // namespace

void StopEditing(Model& m) {
    m.EditMode = kEditNothing;
}

int16 NearestGridLine(float v, float size) {
    return roundToInt16(gridLine(v, size), "a grid line number");
}

std::string MouseText(float X, float Y) {
    return "x = " + formatWhole(X) + "mm" + "  y = " + formatWhole(Y) + "mm";
}

void CanvasMouseDown(Model& m, Desktop& d, float X, float Y) {
    if (m.EditMode == kEditMoveOrigin) {
        // Only the view moves; the fractions stay, so a resize recentres it.
        m.ViewRight = m.ViewRight - X;
        m.ViewTop = m.ViewTop - Y;
        ApplyCanvasScale(m, d.canvas());
        DrawCanvas(m, d.canvas());
    }
    if (m.EditMode == kEditDomain) {
        DesignDomainSet(m, d, X, Y);
    }
    if (m.EditMode == kEditAddDesign) {
        AddDesignElements(m, d, X, Y);
    }
    if (m.EditMode == kEditAddNonDesign) {
        AddNonDesignElements(m, d, X, Y);
    }
    if (m.EditMode == kEditCutOut) {
        DeleteDesignDomain(m, d, X, Y);
    }
    if (m.EditMode == kEditEmpty) {
        RemoveElements(m, d, X, Y);
    }
    if (m.EditMode == kEditLoad) {
        LoadSet(m, d, X, Y);
    }
    if (m.EditMode == kEditDisplacementValue) {
        showReadout(d, dispValue(m, X, Y));
    }
    if (m.EditMode == kEditStressValue) {
        showReadout(d, stressValue(m, X, Y));
    }
    if (m.EditMode == kEditPotentialValue) {
        showReadout(d, neuronValue(m, X, Y));
    }
    if (m.EditMode == kEditLoadValue) {
        showReadout(d, loadValue(m, X, Y));
    }
    if (m.EditMode > 10) {
        FreedomSet(m, d, X, Y);
    }
}

void DesignDomainSet(Model& m, Desktop& d, float X, float Y) {
    m.ClickCount = add16(m.ClickCount, 1, "the click count");
    const float size = m.ElementSize;
    if (m.ClickCount == 1) {
        // The corner waits beside the domain until the second click completes the
        // set-up, so an abandoned or refused set-up leaves the domain as it was.
        m.DomainCornerX = gridLine(X, size) * size;
        m.DomainCornerY = gridLine(Y, size) * size;
        const float x = m.DomainCornerX;
        const float y = m.DomainCornerY;
        const float r = m.DomainWidth / 200.0f;
        DrawingSurface& canvas = d.canvas();
        const Rgb mark = PaletteColor(12);
        canvas.circle(x, y, r, mark);
        canvas.line(x - 2 * r, y, x + 2 * r, y, mark);
        canvas.line(x, y - 2 * r, x, y + 2 * r, mark);
    } else if (m.ClickCount == 2) {
        float x1 = m.DomainCornerX;
        float y1 = m.DomainCornerY;
        float x2 = gridLine(X, size) * size;
        float y2 = gridLine(Y, size) * size;
        if (x1 > x2) {
            std::swap(x1, x2);
        }
        if (y1 > y2) {
            std::swap(y1, y2);
        }

        // Refuse what the mesh cannot hold, before anything of the old domain is
        // lost: no whole row or column, or counts beyond 16 bits.
        long long rows = 0;
        long long columns = 0;
        const char* refusal = nullptr;
        const bool counted = cellCount(y1, y2, size, rows) && cellCount(x1, x2, size, columns);
        if (counted && (rows <= 0 || columns <= 0)) {
            refusal = kDomainWithoutCells;
        } else if (!counted || rows * columns > kInt16Max ||
                   (rows + 1) * (columns + 1) > kInt16Max) {
            refusal = kDomainTooLarge;
        }
        if (refusal != nullptr) {
            d.showMessage(refusal);
            m.ClickCount = 0;
            DrawCanvas(m, d.canvas()); // takes the corner mark away
            return;
        }

        m.DomainX1 = x1;
        m.DomainX2 = x2;
        m.DomainY1 = y1;
        m.DomainY2 = y2;
        BuildDomainMesh(m);
        m.DomainDefined = -1;
        m.EditMode = kEditNothing;
        m.ClickCount = 0;
        DrawCanvas(m, d.canvas());
    }
}

void AddDesignElements(Model& m, Desktop& d, float X, float Y) {
    rectangleOperation(m, d, X, Y, kCellDesign);
}

void AddNonDesignElements(Model& m, Desktop& d, float X, float Y) {
    rectangleOperation(m, d, X, Y, kCellNonDesign);
}

void RemoveElements(Model& m, Desktop& d, float X, float Y) {
    rectangleOperation(m, d, X, Y, kCellEmpty);
}

void DeleteDesignDomain(Model& m, Desktop& d, float X, float Y) {
    rectangleOperation(m, d, X, Y, kCellCutOut);
}

void FreedomSet(Model& m, Desktop& d, float X, float Y) {
    int node = 0;
    if (!pickNode(m, d, X, Y, node)) {
        return;
    }
    // Both flags are written, so a new kind replaces the old one.
    switch (m.EditMode) {
    case kEditFixX:
        m.NodeFreedom(node, 1) = 1;
        m.NodeFreedom(node, 2) = 0;
        break;
    case kEditFixY:
        m.NodeFreedom(node, 1) = 0;
        m.NodeFreedom(node, 2) = 1;
        break;
    case kEditFixXY:
        m.NodeFreedom(node, 1) = 1;
        m.NodeFreedom(node, 2) = 1;
        break;
    case kEditFree:
        m.NodeFreedom(node, 1) = 0;
        m.NodeFreedom(node, 2) = 0;
        break;
    default:
        break;
    }
    DrawCanvas(m, d.canvas());
}

void LoadSet(Model& m, Desktop& d, float X, float Y) {
    int node = 0;
    if (!pickNode(m, d, X, Y, node)) {
        m.ClickCount = 0;
        return;
    }
    // The node takes the entered force; loads are not added up.
    m.NodeLoad(node, 1) = m.LoadFx;
    m.NodeLoad(node, 2) = m.LoadFy;
    d.beep();
    DrawCanvas(m, d.canvas());
}

} // namespace quillane
