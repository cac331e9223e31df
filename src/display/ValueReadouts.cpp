#include "display/ValueReadouts.h"

#include <cmath>
#include <optional>

#include "model/Faults.h"
#include "model/Int16.h"
#include "model/Messages.h"
#include "model/NumberText.h"

namespace quillane {

namespace {

void requireElementSize(const Model& m) {
    if (m.ElementSize == 0.0f) {
        raiseFloatingPoint("The element size is 0, so the clicked point cannot be placed on "
                           "the grid (division by zero).");
    }
}

// Without a domain (at start-up or after Clear Model) nothing is inside: the
// rectangle's zeros would otherwise pass a click at the origin to empty arrays.
bool insideDomain(const Model& m, float x, float y) {
    return m.DomainDefined != 0 &&
           !(x < m.DomainX1 || x > m.DomainX2 || y < m.DomainY1 || y > m.DomainY2);
}

// The element read-outs' cell: zero-based offsets of the clicked cell's lower-left
// corner from the domain's, or nothing when that corner lies outside the domain.
struct CellOffset {
    bool inside = false;
    int16 row = 0;
    int16 column = 0;
};

CellOffset cellUnder(const Model& m, float X, float Y) {
    requireElementSize(m);
    const float xs = std::floor(X / m.ElementSize) * m.ElementSize;
    const float ys = std::floor(Y / m.ElementSize) * m.ElementSize;
    if (!insideDomain(m, xs, ys)) {
        return {};
    }
    const float columnExact = (xs - m.DomainX1) / m.ElementSize;
    const float rowExact = (ys - m.DomainY1) / m.ElementSize;
    return {true, roundToInt16(rowExact, "the row of the clicked cell"),
            roundToInt16(columnExact, "the column of the clicked cell")};
}

// The node read-outs' node: the nearest grid point (halves up), or none outside
// the domain.
std::optional<int> nodeUnder(const Model& m, float X, float Y) {
    requireElementSize(m);
    const float xs = std::floor(X / m.ElementSize + 0.5f) * m.ElementSize;
    const float ys = std::floor(Y / m.ElementSize + 0.5f) * m.ElementSize;
    if (!insideDomain(m, xs, ys)) {
        return std::nullopt;
    }
    const float columnExact = (xs - m.DomainX1) / m.ElementSize;
    const float rowExact = (ys - m.DomainY1) / m.ElementSize;
    const int16 c = add16(roundToInt16(columnExact, "the column of the clicked node"), 1);
    const int16 r = add16(roundToInt16(rowExact, "the row of the clicked node"), 1);
    const int node =
        add16(mul16(sub16(r, 1), add16(m.CellColumnCount, 1)), c, "the number of the clicked node");
    // After a change of the element size the grid in use may name no node of the model.
    if (node < 1 || node > m.NodeCount) {
        return std::nullopt;
    }
    return node;
}

std::string cellCaption(const CellOffset& cell) {
    return formatGeneral(static_cast<int>(cell.row)) + "," +
           formatGeneral(static_cast<int>(cell.column));
}

} // namespace

Readout loadValue(const Model& m, float X, float Y) {
    const std::optional<int> node = nodeUnder(m, X, Y);
    if (!node) {
        return {false, kNodeNotInDomain};
    }
    return {true, "Px = " + formatGeneral(m.NodeLoad(*node, 1)) + "N" +
                      "  Py = " + formatGeneral(m.NodeLoad(*node, 2)) + "N"};
}

Readout dispValue(const Model& m, float X, float Y) {
    const std::optional<int> node = nodeUnder(m, X, Y);
    if (!node) {
        return {false, kNodeNotInDomain};
    }
    return {true, "u = " + formatGeneral(m.NodeDisp(*node, 1)) + "mm" +
                      "  v = " + formatGeneral(m.NodeDisp(*node, 2)) + "mm"};
}

Readout stressValue(const Model& m, float X, float Y) {
    const CellOffset cell = cellUnder(m, X, Y);
    if (!cell.inside) {
        return {false, kElementNotInDomain};
    }
    // The offsets index the field as they stand (kept behaviour): the border at
    // index 0 makes the lowest row and leftmost column read 0.
    if (!m.CellStress.contains(cell.row, cell.column)) {
        return {false, kNoStressHere};
    }
    const float value = toSingle(m.CellStress(cell.row, cell.column), "the stress read");
    return {true, cellCaption(cell) + "   stress = " + formatGeneral(value) + "MPa"};
}

Readout neuronValue(const Model& m, float X, float Y) {
    const CellOffset cell = cellUnder(m, X, Y);
    if (!cell.inside) {
        return {false, kElementNotInDomain};
    }
    // Potential has no border: at offset 0 there is no cell whose potential could be
    // shown, and the user is told so.
    if (!m.Potential.contains(cell.row, cell.column)) {
        return {false, kNoPotentialHere};
    }
    const float value = toSingle(m.Potential(cell.row, cell.column), "the potential read");
    return {true, cellCaption(cell) + "   Potential = " + formatGeneral(value)};
}

} // namespace quillane
