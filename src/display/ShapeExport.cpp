#include "display/ShapeExport.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <memory>

#include <dl_dxf.h>

#include "model/SafeFile.h"

namespace quillane {

namespace {

// The bounding box of the grid corners.
struct Bounds {
    double left = 0.0, bottom = 0.0, right = 0.0, top = 0.0;
};

Bounds boundsOf(const Shape& shape) {
    Bounds b{shape.points.front().x, shape.points.front().y, shape.points.front().x,
             shape.points.front().y};
    for (const ShapePoint p : shape.points) {
        b.left = std::min(b.left, p.x);
        b.right = std::max(b.right, p.x);
        b.bottom = std::min(b.bottom, p.y);
        b.top = std::max(b.top, p.y);
    }
    return b;
}

// A coordinate in its shortest fixed form that reads back to the same value. The
// nodes were laid out in single precision, so a value that is a float is written as
// one: 0.1 rather than 0.100000001490116.
std::string number(double value) {
    std::array<char, 64> buffer{};
    const auto single = static_cast<float>(value);
    const auto result = static_cast<double>(single) == value
                            ? std::to_chars(buffer.data(), buffer.data() + buffer.size(), single,
                                            std::chars_format::fixed)
                            : std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                            std::chars_format::fixed);
    std::string text(buffer.data(), result.ptr);
    return text == "-0" ? "0" : text;
}

void requireMaterial(const Shape& shape) {
    if (shape.empty()) {
        throw ShapeExportError("The model has no cell with material, so there is no shape.");
    }
}

// --- STL ---------------------------------------------------------------------------

struct Vertex {
    float x, y, z;
};

class StlWriter {
  public:
    explicit StlWriter(std::size_t triangles) { bytes_.reserve(84 + 50 * triangles); }

    void triangle(const Vertex& a, const Vertex& b, const Vertex& c) {
        triangles_.push_back({a, b, c});
    }

    std::string finish(double thickness) {
        std::string header = "Quillane shape, mm, extruded by " + number(thickness) + " mm";
        header.resize(80, ' ');
        bytes_ = header;
        put32(static_cast<std::uint32_t>(triangles_.size()));
        for (const auto& [a, b, c] : triangles_) {
            // The normal from the corners, in double so a thin wall keeps its direction.
            const double ux = double{b.x} - a.x, uy = double{b.y} - a.y, uz = double{b.z} - a.z;
            const double vx = double{c.x} - a.x, vy = double{c.y} - a.y, vz = double{c.z} - a.z;
            double nx = uy * vz - uz * vy;
            double ny = uz * vx - ux * vz;
            double nz = ux * vy - uy * vx;
            const double length = std::sqrt(nx * nx + ny * ny + nz * nz);
            if (length > 0.0) {
                nx /= length;
                ny /= length;
                nz /= length;
            }
            putVertex({static_cast<float>(nx), static_cast<float>(ny), static_cast<float>(nz)});
            putVertex(a);
            putVertex(b);
            putVertex(c);
            bytes_.append(2, '\0'); // attribute byte count
        }
        return std::move(bytes_);
    }

  private:
    void put32(std::uint32_t value) {
        for (int k = 0; k < 4; ++k) {
            bytes_.push_back(static_cast<char>((value >> (8 * k)) & 0xFFU));
        }
    }
    void putVertex(const Vertex& v) {
        put32(std::bit_cast<std::uint32_t>(v.x));
        put32(std::bit_cast<std::uint32_t>(v.y));
        put32(std::bit_cast<std::uint32_t>(v.z));
    }

    std::string bytes_;
    std::vector<std::array<Vertex, 3>> triangles_;
};

// The walls of one ring: a quad per cell edge, outward to the right of the ring's
// direction (the material is on its left).
void addWalls(const Shape& shape, const ShapeRing& ring, float z0, float z1, StlWriter& out) {
    const auto vertex = [&](GridCorner c, float z) {
        const ShapePoint p = shape.at(c);
        return Vertex{static_cast<float>(p.x), static_cast<float>(p.y), z};
    };
    const auto middle = [&](GridCorner c) { return vertex(c, (z0 + z1) / 2.0f); };
    // At a corner contact the ring that leaves westward or northward (the one of the
    // cell left of the corner) takes the extra vertex halfway up.
    const std::size_t n = ring.size();
    std::vector<bool> split(n);
    for (std::size_t k = 0; k < n; ++k) {
        const GridCorner here = ring[k];
        const GridCorner next = ring[(k + 1) % n];
        const bool west = next.column < here.column;
        const bool north = next.row > here.row;
        split[k] = IsCornerContact(shape, here) && (west || north);
    }
    for (std::size_t k = 0; k < n; ++k) {
        const GridCorner from = ring[k];
        const GridCorner to = ring[(k + 1) % n];
        const int dx = (to.column > from.column) - (to.column < from.column);
        const int dy = (to.row > from.row) - (to.row < from.row);
        const int steps = std::abs(to.column - from.column) + std::abs(to.row - from.row);
        for (int s = 0; s < steps; ++s) {
            const GridCorner p{from.column + s * dx, from.row + s * dy};
            const GridCorner q{p.column + dx, p.row + dy};
            const bool pMid = s == 0 && split[k];
            const bool qMid = s == steps - 1 && split[(k + 1) % n];
            const Vertex p0 = vertex(p, z0), q0 = vertex(q, z0);
            const Vertex p1 = vertex(p, z1), q1 = vertex(q, z1);
            if (!pMid && !qMid) {
                out.triangle(p0, q0, q1);
                out.triangle(p0, q1, p1);
            } else if (!pMid) {
                out.triangle(p0, q0, middle(q));
                out.triangle(p0, middle(q), q1);
                out.triangle(p0, q1, p1);
            } else if (!qMid) {
                out.triangle(p0, q0, middle(p));
                out.triangle(middle(p), q0, q1);
                out.triangle(middle(p), q1, p1);
            } else {
                out.triangle(p0, q0, middle(q));
                out.triangle(p0, middle(q), middle(p));
                out.triangle(middle(p), middle(q), q1);
                out.triangle(middle(p), q1, p1);
            }
        }
    }
}

// --- DXF ---------------------------------------------------------------------------

// dxflib writes through a stream it does not report on: a file is complete only when
// it ends with the end-of-file marker.
bool endsWithEof(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = in.tellg();
    if (!in || size < 4) {
        return false;
    }
    std::string tail(4, '\0');
    in.seekg(size - 4);
    in.read(tail.data(), 4);
    return in.good() && tail == "EOF\n";
}

void writeDxfTables(DL_Dxf& dxf, DL_WriterA& dw) {
    dw.sectionTables();
    dxf.writeVPort(dw);
    dw.tableLinetypes(3);
    dxf.writeLinetype(dw, DL_LinetypeData("BYBLOCK", "BYBLOCK", 0, 0, 0.0));
    dxf.writeLinetype(dw, DL_LinetypeData("BYLAYER", "BYLAYER", 0, 0, 0.0));
    dxf.writeLinetype(dw, DL_LinetypeData("CONTINUOUS", "Continuous", 0, 0, 0.0));
    dw.tableEnd();
    dw.tableLayers(2);
    dxf.writeLayer(dw, DL_LayerData("0", 0),
                   DL_Attributes("", DL_Codes::black, 100, "CONTINUOUS", 1.0));
    dxf.writeLayer(dw, DL_LayerData(kShapeLayer, 0),
                   DL_Attributes("", DL_Codes::black, 100, "CONTINUOUS", 1.0));
    dw.tableEnd();
    dw.tableStyle(1);
    dxf.writeStyle(dw, DL_StyleData("standard", 0, 2.5, 1.0, 0.0, 0, 2.5, "txt", ""));
    dw.tableEnd();
    dxf.writeView(dw);
    dxf.writeUcs(dw);
    dw.tableAppid(1);
    dxf.writeAppid(dw, "ACAD");
    dw.tableEnd();
    dxf.writeDimStyle(dw, 1, 1, 1, 1, 1);
    dxf.writeBlockRecord(dw);
    dw.tableEnd();
    dw.sectionEnd();

    dw.sectionBlocks();
    for (const char* block : {"*Model_Space", "*Paper_Space", "*Paper_Space0"}) {
        dxf.writeBlock(dw, DL_BlockData(block, 0, 0.0, 0.0, 0.0));
        dxf.writeEndBlock(dw, block);
    }
    dw.sectionEnd();
}

// Writes the DXF file at `path`; false when it could not be written completely.
bool writeDxf(const Shape& shape, const std::string& path) {
    DL_Dxf dxf;
    const std::unique_ptr<DL_WriterA> dw(dxf.out(path.c_str(), DL_Codes::AC1015));
    if (!dw || dw->openFailed()) {
        return false;
    }
    dxf.writeHeader(*dw);
    const Bounds b = boundsOf(shape);
    dw->dxfString(9, "$INSUNITS");
    dw->dxfInt(70, 4); // millimetres
    dw->dxfString(9, "$MEASUREMENT");
    dw->dxfInt(70, 1); // metric
    dw->dxfString(9, "$EXTMIN");
    dw->coord(10, b.left, b.bottom, 0.0);
    dw->dxfString(9, "$EXTMAX");
    dw->coord(10, b.right, b.top, 0.0);
    dw->sectionEnd();
    writeDxfTables(dxf, *dw);

    dw->sectionEntities();
    const DL_Attributes onLayer(kShapeLayer, DL_Codes::bylayer, -1, "BYLAYER", 1.0);
    for (const ShapeRing& ring : shape.rings) {
        dxf.writePolyline(*dw, DL_PolylineData(static_cast<int>(ring.size()), 0, 0, 1), onLayer);
        for (const GridCorner c : ring) {
            const ShapePoint p = shape.at(c);
            dxf.writeVertex(*dw, DL_VertexData(p.x, p.y, 0.0, 0.0));
        }
        dxf.writePolylineEnd(*dw);
    }
    dw->sectionEnd();
    dxf.writeObjects(*dw);
    dxf.writeObjectsEnd(*dw);
    dw->dxfEOF();
    dw->close();
    return endsWithEof(path);
}

} // namespace

std::optional<ShapeFormat> ShapeFormatOf(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) {
        return std::nullopt;
    }
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == "svg") {
        return ShapeFormat::Svg;
    }
    if (extension == "dxf") {
        return ShapeFormat::Dxf;
    }
    if (extension == "stl") {
        return ShapeFormat::Stl;
    }
    return std::nullopt;
}

std::string ShapeSvg(const Shape& shape) {
    requireMaterial(shape);
    const Bounds b = boundsOf(shape);
    const std::string width = number(b.right - b.left);
    const std::string height = number(b.top - b.bottom);
    // y is negated (0 - y keeps a zero positive), so the drawing stands upright.
    const auto x = [](ShapePoint p) { return number(p.x); };
    const auto y = [](ShapePoint p) { return number(0.0 - p.y); };
    std::string d;
    for (const ShapeRing& ring : shape.rings) {
        const ShapePoint start = shape.at(ring.front());
        d += (d.empty() ? "M" : " M") + x(start) + ' ' + y(start);
        ShapePoint last = start;
        for (std::size_t k = 1; k <= ring.size(); ++k) {
            const ShapePoint p = shape.at(ring[k % ring.size()]);
            if (k == ring.size() && p == start) {
                break; // Z closes it
            }
            if (p.y == last.y) {
                d += " H" + x(p);
            } else if (p.x == last.x) {
                d += " V" + y(p);
            } else {
                d += " L" + x(p) + ' ' + y(p);
            }
            last = p;
        }
        d += " Z";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" +
           width + "mm\" height=\"" + height + "mm\" viewBox=\"" + number(b.left) + ' ' +
           number(0.0 - b.top) + ' ' + width + ' ' + height +
           "\">\n"
           "<title>Quillane shape</title>\n"
           "<path fill=\"#000000\" stroke=\"none\" fill-rule=\"evenodd\" d=\"" +
           d + "\"/>\n</svg>\n";
}

std::string ShapeStl(const Shape& shape, double thickness) {
    requireMaterial(shape);
    if (!(thickness > 0.0)) {
        throw ShapeExportError("The plate thickness is " + number(thickness) +
                               " mm; a solid needs a thickness greater than 0. Set it in "
                               "Parameter > Design Property.");
    }
    std::size_t edges = 0;
    for (const ShapeRing& ring : shape.rings) {
        for (std::size_t k = 0; k < ring.size(); ++k) {
            const GridCorner a = ring[k];
            const GridCorner b = ring[(k + 1) % ring.size()];
            edges +=
                static_cast<std::size_t>(std::abs(a.column - b.column) + std::abs(a.row - b.row));
        }
    }
    StlWriter out(4 * shape.cells.size() + 2 * edges);
    const float z0 = 0.0f;
    const auto z1 = static_cast<float>(thickness);
    for (const GridCorner cell : shape.cells) {
        const auto at = [&](int dc, int dr, float z) {
            const ShapePoint p = shape.at({cell.column + dc, cell.row + dr});
            return Vertex{static_cast<float>(p.x), static_cast<float>(p.y), z};
        };
        // Top counter-clockwise seen from above, bottom the other way round.
        out.triangle(at(0, 0, z1), at(1, 0, z1), at(1, 1, z1));
        out.triangle(at(0, 0, z1), at(1, 1, z1), at(0, 1, z1));
        out.triangle(at(0, 0, z0), at(1, 1, z0), at(1, 0, z0));
        out.triangle(at(0, 0, z0), at(0, 1, z0), at(1, 1, z0));
    }
    for (const ShapeRing& ring : shape.rings) {
        addWalls(shape, ring, z0, z1, out);
    }
    return out.finish(thickness);
}

void WriteShapeFile(const Shape& shape, double thickness, const std::string& path) {
    const std::optional<ShapeFormat> format = ShapeFormatOf(path);
    if (!format) {
        throw ShapeExportError("The file name \"" + path +
                               "\" does not end in .svg, .dxf or .stl, so the format is unknown.");
    }
    switch (*format) {
    case ShapeFormat::Svg:
        WriteFileReplacing(path, ShapeSvg(shape));
        break;
    case ShapeFormat::Stl:
        WriteFileReplacing(path, ShapeStl(shape, thickness));
        break;
    case ShapeFormat::Dxf:
        requireMaterial(shape);
        WriteFileReplacing(path, [&](const std::string& temporary) {
            if (!writeDxf(shape, temporary)) {
                throw FileWriteError("cannot write " + path +
                                     ": the DXF file could not be written completely");
            }
        });
        break;
    }
}

} // namespace quillane
