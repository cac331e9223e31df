// The shape of the occupied cells: its rings against independent counts on random and
// hand-made layouts, and the STL and DXF files read back.
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <dl_creationadapter.h>
#include <dl_dxf.h>

#include "display/Shape.h"
#include "display/ShapeExport.h"
#include "model/SafeFile.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

namespace fs = std::filesystem;

// A layout from rows of text, top row first: '#' design, '@' non-design, '.' empty,
// ' ' cut out; cells of 12.5 mm with the domain's lower-left corner at (-37.5, 25).
Model layout(const std::vector<std::string>& rows) {
    const int r = static_cast<int>(rows.size());
    const int c = static_cast<int>(rows.front().size());
    Model m = makePlate(r, c, 12.5f, kCellEmpty, -37.5f, 25.0f);
    for (int i = 0; i < r; ++i) {
        for (int j = 0; j < c; ++j) {
            const char cell =
                rows[static_cast<std::size_t>(r - 1 - i)][static_cast<std::size_t>(j)];
            m.CellState(i + 1, j + 1) = cell == '#'   ? kCellDesign
                                        : cell == '@' ? kCellNonDesign
                                        : cell == ' ' ? kCellCutOut
                                                      : kCellEmpty;
        }
    }
    return m;
}

Model randomLayout(std::mt19937& random) {
    std::uniform_int_distribution<int> size(1, 14);
    std::uniform_int_distribution<int> percent(0, 99);
    const int rows = size(random);
    const int columns = size(random);
    const int density = percent(random);
    std::vector<std::string> text(static_cast<std::size_t>(rows));
    for (std::string& row : text) {
        for (int j = 0; j < columns; ++j) {
            const int p = percent(random);
            row += p < density ? (p % 5 == 0 ? '@' : '#') : (p % 3 == 0 ? ' ' : '.');
        }
    }
    return layout(text);
}

// Independent of the shape: whether cell (row, column), 0-based, holds material.
bool holds(const Model& m, int row, int column) {
    return row >= 0 && row < m.CellRowCount && column >= 0 && column < m.CellColumnCount &&
           m.CellState(row + 1, column + 1) > 0;
}

int occupiedCells(const Model& m) {
    int n = 0;
    for (int i = 0; i < m.CellRowCount; ++i) {
        for (int j = 0; j < m.CellColumnCount; ++j) {
            n += holds(m, i, j) ? 1 : 0;
        }
    }
    return n;
}

// Cell sides between material and the rest: the outline's length in cell edges.
int boundarySides(const Model& m) {
    int n = 0;
    for (int i = 0; i < m.CellRowCount; ++i) {
        for (int j = 0; j < m.CellColumnCount; ++j) {
            if (holds(m, i, j)) {
                n += !holds(m, i - 1, j) + !holds(m, i + 1, j) + !holds(m, i, j - 1) +
                     !holds(m, i, j + 1);
            }
        }
    }
    return n;
}

// Corners where exactly two diagonal cells hold material.
int cornerContacts(const Model& m) {
    int n = 0;
    for (int i = 0; i <= m.CellRowCount; ++i) {
        for (int j = 0; j <= m.CellColumnCount; ++j) {
            const bool ll = holds(m, i - 1, j - 1), lr = holds(m, i - 1, j);
            const bool ul = holds(m, i, j - 1), ur = holds(m, i, j);
            n += ((ll && ur && !lr && !ul) || (lr && ul && !ll && !ur)) ? 1 : 0;
        }
    }
    return n;
}

// The rings as lists of corners, (column, row) each.
std::vector<std::vector<std::array<int, 2>>> corners(const Shape& shape) {
    std::vector<std::vector<std::array<int, 2>>> out;
    for (const ShapeRing& ring : shape.rings) {
        out.emplace_back();
        for (const GridCorner c : ring) {
            out.back().push_back({c.column, c.row});
        }
    }
    return out;
}

// Checks every property of the outline that can be counted without it.
void checkOutline(const Model& m, const std::string& label) {
    SCOPED_TRACE(label);
    const Shape shape = TraceShape(m);
    const double cell = double{m.ElementSize} * m.ElementSize;
    const int occupied = occupiedCells(m);
    ASSERT_EQ(shape.cells.size(), static_cast<std::size_t>(occupied));

    double area = 0.0;
    int sides = 0;
    std::set<std::array<int, 4>> edges;
    for (const ShapeRing& ring : shape.rings) {
        area += SignedArea(shape, ring);
        ASSERT_GE(ring.size(), 4u);
        const auto lowest = *std::min_element(ring.begin(), ring.end(), [](auto a, auto b) {
            return a.row != b.row ? a.row < b.row : a.column < b.column;
        });
        EXPECT_EQ(ring.front(), lowest);
        std::set<std::array<int, 2>> seen;
        for (std::size_t k = 0; k < ring.size(); ++k) {
            const GridCorner a = ring[k];
            const GridCorner b = ring[(k + 1) % ring.size()];
            const GridCorner c = ring[(k + 2) % ring.size()];
            EXPECT_TRUE(seen.insert({a.column, a.row}).second) << "a corner visited twice";
            // Axis-parallel segments, turning at every corner (collinear runs merged).
            EXPECT_TRUE((a.row == b.row) != (a.column == b.column));
            EXPECT_NE(a.row == b.row, b.row == c.row);
            const int dx = (b.column > a.column) - (b.column < a.column);
            const int dy = (b.row > a.row) - (b.row < a.row);
            for (GridCorner p = a; !(p == b); p = {p.column + dx, p.row + dy}) {
                // The cells left and right of the unit edge from p, found from its
                // midpoint in doubled grid units: material on the left only, so no edge
                // runs inside the material or outside it.
                const int mx = 2 * p.column + dx, my = 2 * p.row + dy;
                const int lj = (mx - dy - 1) / 2, li = (my + dx - 1) / 2;
                const int rj = (mx + dy - 1) / 2, ri = (my - dx - 1) / 2;
                EXPECT_TRUE(holds(m, li, lj));
                EXPECT_FALSE(holds(m, ri, rj));
                EXPECT_TRUE(edges.insert({p.column, p.row, dx, dy}).second);
                ++sides;
            }
        }
    }
    EXPECT_EQ(sides, boundarySides(m));
    EXPECT_EQ(area, occupied * cell);
    // Winding numbers: every cell centre is wound once by the rings if it holds
    // material and not at all otherwise, so holes turn against their pieces.
    for (int i = 0; i < m.CellRowCount; ++i) {
        for (int j = 0; j < m.CellColumnCount; ++j) {
            int winding = 0;
            for (const ShapeRing& ring : shape.rings) {
                for (std::size_t k = 0; k < ring.size(); ++k) {
                    const GridCorner a = ring[k];
                    const GridCorner b = ring[(k + 1) % ring.size()];
                    if (a.column == b.column && a.column > j && std::min(a.row, b.row) <= i &&
                        std::max(a.row, b.row) > i) {
                        winding += b.row > a.row ? 1 : -1;
                    }
                }
            }
            EXPECT_EQ(winding, holds(m, i, j) ? 1 : 0) << "cell " << i << "," << j;
        }
    }
}

TEST(ShapeOutline, RandomLayoutsAgainstIndependentCounts) {
    std::mt19937 random(20240611);
    int holes = 0;
    int contacts = 0;
    for (int n = 0; n < 300; ++n) {
        const Model m = randomLayout(random);
        checkOutline(m, "layout " + std::to_string(n));
        const Shape shape = TraceShape(m);
        holes += static_cast<int>(
            std::count_if(shape.rings.begin(), shape.rings.end(),
                          [&](const ShapeRing& r) { return SignedArea(shape, r) < 0; }));
        contacts += cornerContacts(m);
    }
    // The layouts cover what the outline has to get right.
    EXPECT_GT(holes, 100);
    EXPECT_GT(contacts, 100);
}

TEST(ShapeOutline, HandMadeLayouts) {
    using Rings = std::vector<std::vector<std::array<int, 2>>>;
    EXPECT_EQ(corners(TraceShape(layout({"#"}))), (Rings{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}}));
    // A full rectangle: one ring of four corners, whatever the number of cells.
    EXPECT_EQ(corners(TraceShape(layout({"#@##", "####", "##@#"}))),
              (Rings{{{0, 0}, {4, 0}, {4, 3}, {0, 3}}}));
    // A hole runs clockwise.
    const Shape holed = TraceShape(layout({"###", "#.#", "###"}));
    EXPECT_EQ(corners(holed),
              (Rings{{{0, 0}, {3, 0}, {3, 3}, {0, 3}}, {{1, 1}, {1, 2}, {2, 2}, {2, 1}}}));
    EXPECT_EQ(SignedArea(holed, holed.rings[1]), -12.5 * 12.5);
    // Two cells that touch at a corner: two rings sharing that point.
    EXPECT_EQ(corners(TraceShape(layout({".#", "#."}))),
              (Rings{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}, {{1, 1}, {2, 1}, {2, 2}, {1, 2}}}));
    EXPECT_EQ(corners(TraceShape(layout({"#.", ".#"}))),
              (Rings{{{1, 0}, {2, 0}, {2, 1}, {1, 1}}, {{0, 1}, {1, 1}, {1, 2}, {0, 2}}}));
    // A hole that touches the outside at a corner is still a ring of its own.
    const Shape pinched = TraceShape(layout({"##.", "#.#", "###"}));
    ASSERT_EQ(pinched.rings.size(), 2u);
    EXPECT_EQ(corners(pinched)[1],
              (std::vector<std::array<int, 2>>{{1, 1}, {1, 2}, {2, 2}, {2, 1}}));
    // Four cells around an empty one, touching only at corners: four pieces, no hole.
    const Shape diamond = TraceShape(layout({".#.", "#.#", ".#."}));
    ASSERT_EQ(diamond.rings.size(), 4u);
    for (const ShapeRing& ring : diamond.rings) {
        EXPECT_EQ(SignedArea(diamond, ring), 12.5 * 12.5);
    }
    for (const auto& rows : {std::vector<std::string>{"#"},
                             {"###", "#.#", "###"},
                             {"##.", "#.#", "###"},
                             {".#.", "#.#", ".#."},
                             {"#.#.", ".#.#"}}) {
        checkOutline(layout(rows), rows.front());
    }
    // Nothing to trace: no domain, or no cell with material.
    EXPECT_TRUE(TraceShape(Model{}).rings.empty());
    EXPECT_TRUE(TraceShape(layout({"..", " ."})).empty());
    EXPECT_TRUE(TraceShape(layout({"..", " ."})).rings.empty());
}

// --- STL -----------------------------------------------------------------------------

using Point3 = std::array<float, 3>;
struct Triangle {
    Point3 normal;
    std::array<Point3, 3> corner;
};

std::vector<Triangle> parseStl(const std::string& bytes) {
    EXPECT_GE(bytes.size(), 84u);
    EXPECT_NE(bytes.rfind("solid", 0), 0u) << "a binary STL must not look like an ASCII one";
    std::uint32_t count = 0;
    std::memcpy(&count, bytes.data() + 80, 4);
    EXPECT_EQ(bytes.size(), 84u + 50u * count);
    std::vector<Triangle> out(count);
    for (std::uint32_t t = 0; t < count && bytes.size() == 84u + 50u * count; ++t) {
        const char* at = bytes.data() + 84 + 50 * t;
        std::memcpy(out[t].normal.data(), at, 12);
        for (std::size_t k = 0; k < 3; ++k) {
            std::memcpy(out[t].corner[k].data(), at + 12 + 12 * k, 12);
        }
    }
    return out;
}

void checkSolid(const Model& m, double thickness, const std::string& label) {
    SCOPED_TRACE(label);
    const Shape shape = TraceShape(m);
    const std::vector<Triangle> triangles = parseStl(ShapeStl(shape, thickness));
    // Two triangles per cell on top and bottom, two per cell edge of the outline, and two
    // more for the extra vertex at each corner contact.
    EXPECT_EQ(triangles.size(),
              static_cast<std::size_t>(4 * occupiedCells(m) + 2 * boundarySides(m) +
                                       2 * cornerContacts(m)));
    std::map<std::pair<Point3, Point3>, int> directed;
    double volume = 0.0;
    for (const Triangle& t : triangles) {
        for (std::size_t k = 0; k < 3; ++k) {
            ++directed[{t.corner[k], t.corner[(k + 1) % 3]}];
        }
        const auto d = [&](std::size_t k, std::size_t axis) { return double{t.corner[k][axis]}; };
        volume += (d(0, 0) * (d(1, 1) * d(2, 2) - d(1, 2) * d(2, 1)) -
                   d(0, 1) * (d(1, 0) * d(2, 2) - d(1, 2) * d(2, 0)) +
                   d(0, 2) * (d(1, 0) * d(2, 1) - d(1, 1) * d(2, 0))) /
                  6.0;
        // The stored normal is the unit normal of the corners' turn.
        const double ux = d(1, 0) - d(0, 0), uy = d(1, 1) - d(0, 1), uz = d(1, 2) - d(0, 2);
        const double vx = d(2, 0) - d(0, 0), vy = d(2, 1) - d(0, 1), vz = d(2, 2) - d(0, 2);
        const std::array<double, 3> n{uy * vz - uz * vy, uz * vx - ux * vz, ux * vy - uy * vx};
        const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        ASSERT_GT(length, 0.0) << "a degenerate triangle";
        for (std::size_t axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(t.normal[axis], n[axis] / length, 1e-6);
        }
    }
    // Every edge is used once in each direction: closed and consistently oriented.
    for (const auto& [edge, uses] : directed) {
        EXPECT_EQ(uses, 1);
        const auto back = directed.find({edge.second, edge.first});
        EXPECT_TRUE(back != directed.end() && back->second == 1);
    }
    // Positive: the normals point outward.
    EXPECT_NEAR(volume, occupiedCells(m) * double{m.ElementSize} * m.ElementSize * thickness,
                1e-9 * volume);
}

TEST(ShapeStl, ClosedOrientedSolidsOfTheRightVolume) {
    checkSolid(layout({"#"}), 1.0, "one cell");
    checkSolid(layout({"###", "#.#", "###"}), 2.5, "a hole");
    checkSolid(layout({".#", "#."}), 1.0, "a corner contact");
    checkSolid(layout({"##.", "#.#", "###"}), 1.0, "a hole touching the outside at a corner");
    checkSolid(layout({".#.", "#.#", ".#."}), 1.0, "four corner contacts");
    checkSolid(layout({"#.#", ".#.", "#.#"}), 1.0, "corner contacts on both sides of a cell");
    std::mt19937 random(7);
    for (int n = 0; n < 60; ++n) {
        const Model m = randomLayout(random);
        if (occupiedCells(m) > 0) {
            checkSolid(m, 3.0, "layout " + std::to_string(n));
        }
    }
    EXPECT_THROW(ShapeStl(TraceShape(layout({"#"})), 0.0), ShapeExportError);
    EXPECT_THROW(ShapeStl(TraceShape(layout({"."})), 1.0), ShapeExportError);
}

// --- DXF and the file names ----------------------------------------------------------

// What dxflib reads from a DXF file.
class DxfReader : public DL_CreationAdapter {
  public:
    using DL_CreationAdapter::setVariableInt;
    void setVariableInt(const std::string& key, int value, int) override { ints[key] = value; }
    void addLayer(const DL_LayerData& data) override { layers.push_back(data.name); }
    void addPolyline(const DL_PolylineData& data) override {
        polylines.push_back({getAttributes().getLayer(), data.flags, {}});
    }
    void addVertex(const DL_VertexData& data) override {
        polylines.back().vertices.push_back({data.x, data.y});
    }

    struct Polyline {
        std::string layer;
        int flags = 0;
        std::vector<ShapePoint> vertices;
    };
    std::map<std::string, int> ints;
    std::vector<std::string> layers;
    std::vector<Polyline> polylines;
};

class ShapeFiles : public ::testing::Test {
  protected:
    void SetUp() override { fs::create_directories(dir_); }
    void TearDown() override { fs::remove_all(dir_); }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(dir_)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    const fs::path dir_ =
        fs::temp_directory_path() / ("quillane-shape-" + std::to_string(::getpid()));
};

TEST_F(ShapeFiles, DxfReadBackByDxflib) {
    const Model m = layout({"####.", "#..#.", "#####", "....#"});
    const Shape shape = TraceShape(m);
    WriteShapeFile(shape, 1.0, path("bracket.DXF"));
    DxfReader dxf;
    DL_Dxf reader;
    ASSERT_TRUE(reader.in(path("bracket.DXF"), &dxf));
    EXPECT_EQ(dxf.ints["$INSUNITS"], 4); // millimetres
    EXPECT_NE(std::find(dxf.layers.begin(), dxf.layers.end(), "SHAPE"), dxf.layers.end());
    ASSERT_EQ(dxf.polylines.size(), shape.rings.size());
    ASSERT_EQ(dxf.polylines.size(), 2u);
    double area = 0.0;
    for (std::size_t r = 0; r < shape.rings.size(); ++r) {
        const DxfReader::Polyline& line = dxf.polylines[r];
        EXPECT_EQ(line.layer, "SHAPE");
        EXPECT_EQ(line.flags & 1, 1); // closed
        ASSERT_EQ(line.vertices.size(), shape.rings[r].size());
        double twice = 0.0;
        for (std::size_t k = 0; k < line.vertices.size(); ++k) {
            EXPECT_EQ(line.vertices[k], shape.at(shape.rings[r][k]));
            const ShapePoint a = line.vertices[k];
            const ShapePoint b = line.vertices[(k + 1) % line.vertices.size()];
            twice += a.x * b.y - b.x * a.y;
        }
        area += twice / 2.0;
    }
    EXPECT_EQ(area, occupiedCells(m) * 12.5 * 12.5);
    EXPECT_EQ(files(), std::vector<std::string>{"bracket.DXF"});
}

TEST_F(ShapeFiles, FormatsByExtensionAndNothingHalfWritten) {
    EXPECT_EQ(ShapeFormatOf("a/b.Svg"), ShapeFormat::Svg);
    EXPECT_EQ(ShapeFormatOf("b.stl"), ShapeFormat::Stl);
    EXPECT_EQ(ShapeFormatOf("b.dxf"), ShapeFormat::Dxf);
    for (const char* name : {"b.png", "b", "svg", "dir.svg/b", "b.svg.bak"}) {
        EXPECT_FALSE(ShapeFormatOf(name).has_value()) << name;
    }
    const Shape shape = TraceShape(layout({"#."}));
    WriteShapeFile(shape, 1.0, path("s.stl"));
    WriteShapeFile(shape, 1.0, path("s.svg"));
    EXPECT_EQ(fs::file_size(path("s.stl")), 84u + 50u * (4 + 8));
    // Refused before anything is written: an unknown extension, no material, no thickness.
    EXPECT_THROW(WriteShapeFile(shape, 1.0, path("s.png")), ShapeExportError);
    EXPECT_THROW(WriteShapeFile(TraceShape(layout({"."})), 1.0, path("e.dxf")), ShapeExportError);
    EXPECT_THROW(WriteShapeFile(shape, 0.0, path("s.stl")), ShapeExportError);
    // A folder that does not exist: nothing is left behind, and an earlier file stays.
    for (const char* name : {"none/s.svg", "none/s.dxf", "none/s.stl"}) {
        EXPECT_THROW(WriteShapeFile(shape, 1.0, path(name)), FileWriteError) << name;
    }
    fs::create_directories(path("locked"));
    fs::permissions(path("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    if (::access(path("locked").c_str(), W_OK) != 0) { // root may write anyway
        EXPECT_THROW(WriteShapeFile(shape, 1.0, path("locked/s.dxf")), FileWriteError);
        EXPECT_TRUE(fs::is_empty(path("locked")));
    }
    fs::permissions(path("locked"), fs::perms::owner_all);
    EXPECT_EQ(files(), (std::vector<std::string>{"locked", "s.stl", "s.svg"}));
    EXPECT_EQ(fs::file_size(path("s.stl")), 84u + 50u * (4 + 8));
}

} // namespace
