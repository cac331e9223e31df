// quillane-make-examples DIR: writes the example models into DIR.
//
// The models are built the way the desktop builds them (a design domain laid out
// on the grid, cells marked, nodes fixed and loaded) and written by SaveModel, so
// the files are exactly what the program itself would save. The optimization
// parameters were tuned by running each model with quillane-cli.

#include <algorithm>
#include <cmath>
#include <exception>
#include <iostream>
#include <string>

#include "display/Layout.h"
#include "fem/Mesh.h"
#include "model/Model.h"
#include "model/ModelFile.h"

namespace {

using quillane::int16;
using quillane::Model;

// Canvas aspect (height / width) of the desktop's first layout.
double canvasAspect() {
    const quillane::LayoutBoxes first = quillane::FirstWindowLayout();
    return static_cast<double>(first.canvasHeight) / static_cast<double>(first.canvasWidth);
}

class Example {
  public:
    // A domain of `columns` x `rows` cells of `size` mm with its lower-left corner at
    // the origin, every cell design material.
    Example(int columns, int rows, float size) {
        m_.ElementSize = size;
        m_.DomainX1 = 0.0f;
        m_.DomainY1 = 0.0f;
        m_.DomainX2 = static_cast<float>(columns) * size;
        m_.DomainY2 = static_cast<float>(rows) * size;
        quillane::BuildDomainMesh(m_);
        m_.DomainDefined = -1;
        cells(1, rows, 1, columns, quillane::kCellDesign);
        frame();
    }

    // Cells of rows i1..i2 and columns j1..j2 get `state`.
    void cells(int i1, int i2, int j1, int j2, int16 state) {
        for (int i = i1; i <= i2; ++i) {
            for (int j = j1; j <= j2; ++j) {
                m_.CellState(i, j) = state;
            }
        }
    }

    // The grid corner in node row i (1 = bottom) and node column j (1 = left).
    int node(int i, int j) const { return (m_.CellColumnCount + 1) * (i - 1) + j; }

    void fix(int i, int j, bool x, bool y) {
        m_.NodeFreedom(node(i, j), 1) = x ? 1 : 0;
        m_.NodeFreedom(node(i, j), 2) = y ? 1 : 0;
    }

    void load(int i, int j, double fx, double fy) {
        m_.NodeLoad(node(i, j), 1) = fx;
        m_.NodeLoad(node(i, j), 2) = fy;
    }

    void parameters(float stressTarget, int16 epsilon, float lambda) {
        m_.StressTarget = stressTarget;
        m_.Epsilon = epsilon;
        m_.Lambda = lambda;
    }

    void save(const std::string& path) { quillane::SaveModel(m_, path); }

  private:
    // A view that shows the whole domain in the middle of the canvas with a margin,
    // its width rounded to a whole 100 mm and the origin fractions to three decimals.
    void frame() {
        const double w = m_.DomainX2 - m_.DomainX1;
        const double h = m_.DomainY2 - m_.DomainY1;
        const double width = std::ceil(std::max(w * 1.4, h * 1.4 / canvasAspect()) / 100.0) * 100.0;
        const double height = width * canvasAspect();
        const double right = (m_.DomainX1 + m_.DomainX2) / 2.0 + width / 2.0;
        const double top = (m_.DomainY1 + m_.DomainY2) / 2.0 + height / 2.0;
        m_.DomainWidth = static_cast<float>(width);
        m_.OriginFracX = static_cast<float>(std::round(right / width * 1000.0) / 1000.0);
        m_.OriginFracY = static_cast<float>(std::round(top / height * 1000.0) / 1000.0);
    }

    Model m_;
};

constexpr int16 kDesign = quillane::kCellDesign;
constexpr int16 kFixed = quillane::kCellNonDesign;
constexpr int16 kCut = quillane::kCellCutOut;

// 40 x 20 cells of 10 mm, clamped on the left, pulled down at the middle of the
// right edge.
void cantilever(const std::string& dir) {
    Example e(40, 20, 10.0f);
    for (int i = 1; i <= 21; ++i) {
        e.fix(i, 1, true, true);
    }
    e.cells(10, 11, 39, 40, kFixed);
    e.load(11, 41, 0.0, -1000.0);
    e.parameters(12.5f, 6, 0.2f);
    e.save(dir + "/cantilever.model");
}

// The MBB beam's right half, 60 x 20 cells: symmetric about the left edge (fixed
// in x), on a roller at the bottom-right corner, loaded at the top-left corner.
void mbb(const std::string& dir) {
    Example e(60, 20, 10.0f);
    for (int i = 1; i <= 21; ++i) {
        e.fix(i, 1, true, false);
    }
    e.fix(1, 61, false, true);
    e.cells(19, 20, 1, 2, kFixed);
    e.cells(1, 2, 59, 60, kFixed);
    e.load(21, 1, 0.0, -1000.0);
    e.parameters(15.0f, 6, 0.1f);
    e.save(dir + "/mbb.model");
}

// 60 x 30 cells: a non-design deck along the top carrying five loads, pinned at
// both bottom corners, with an opening under the middle of the deck where no
// material may go.
void bridge(const std::string& dir) {
    Example e(60, 30, 10.0f);
    e.cells(30, 30, 1, 60, kFixed);
    e.cells(1, 12, 21, 40, kCut);
    e.cells(1, 2, 1, 2, kFixed);
    e.cells(1, 2, 59, 60, kFixed);
    e.fix(1, 1, true, true);
    e.fix(1, 2, true, true);
    e.fix(1, 60, true, true);
    e.fix(1, 61, true, true);
    for (const int j : {11, 21, 31, 41, 51}) {
        e.load(31, j, 0.0, -400.0);
    }
    e.parameters(5.0f, 6, 0.1f);
    e.save(dir + "/bridge.model");
}

// 40 x 40 cells with the upper-right quarter cut out: the vertical arm is clamped
// along its top edge, the horizontal arm is pulled down at its tip.
void lbracket(const std::string& dir) {
    Example e(40, 40, 10.0f);
    e.cells(21, 40, 21, 40, kCut);
    for (int j = 1; j <= 21; ++j) {
        e.fix(41, j, true, true);
    }
    e.cells(15, 16, 39, 40, kFixed);
    e.load(17, 41, 0.0, -500.0);
    e.parameters(7.5f, 5, 0.1f);
    e.save(dir + "/lbracket.model");
}

// 6 x 3 cells: a small cantilever for the runner's tests.
void tiny(const std::string& dir) {
    Example e(6, 3, 10.0f);
    for (int i = 1; i <= 4; ++i) {
        e.fix(i, 1, true, true);
    }
    e.cells(2, 2, 6, 6, kFixed);
    e.load(3, 7, 0.0, -100.0);
    e.parameters(10.0f, 3, 0.5f);
    e.save(dir + "/tiny.model");
}

// Clamped but never loaded: the analysis has nothing to solve for.
void noload(const std::string& dir) {
    Example e(4, 2, 10.0f);
    for (int i = 1; i <= 3; ++i) {
        e.fix(i, 1, true, true);
    }
    e.save(dir + "/noload.model");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: quillane-make-examples DIR\n";
        return 2;
    }
    const std::string dir = argv[1];
    try {
        cantilever(dir);
        mbb(dir);
        bridge(dir);
        lbracket(dir);
        tiny(dir);
        noload(dir);
    } catch (const quillane::ModelFileError& e) {
        std::cerr << "error: " << e.reason() << '\n';
        return 3;
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
