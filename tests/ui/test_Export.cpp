// "Export Shape..." against a recording desktop: the file by its ending, and what the
// user is told when there is nothing to write or the file cannot be written.
#include "ui/Export.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "model/Messages.h"
#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"

namespace quillane {
namespace {

namespace fs = std::filesystem;

TEST(ExportShape, WritesByTheEndingOrSaysWhyNot) {
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-export-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    test::FakeDesktop d;
    Model m = support::makeCantilever(2, 3);
    for (const char* name : {"part.svg", "part.DXF", "part.stl"}) {
        EXPECT_TRUE(ExportShapeCommand(m, d, (dir / name).string())) << name;
        EXPECT_GT(fs::file_size(dir / name), 0u) << name;
    }
    // Refusals: each a message, and no file.
    Model flat = m;
    flat.Thickness = 0.0;
    Model empty = m;
    support::setCells(empty, 1, 1, 2, 3, kCellEmpty);
    const Model none; // no domain
    const std::vector<std::tuple<const Model*, std::string, std::string>> refused = {
        {&m, "part.png", kShapeFileName},
        {&m, "missing/part.svg",
         "The file could not be written: cannot create " + (dir / "missing/part.svg").string() +
             ": No such file or directory.\r\nNothing was written; a file of that name keeps its "
             "old contents. Choose another folder or file name and try again."},
        {&flat, "flat.stl",
         "The plate thickness is 0 mm; a solid needs a thickness greater than 0. Set it in "
         "Parameter > Design Property."},
        {&empty, "empty.svg", kNoShapeToExport},
        {&none, "none.svg", kNoShapeToExport},
    };
    for (const auto& [model, name, text] : refused) {
        d.messages.clear();
        EXPECT_FALSE(ExportShapeCommand(*model, d, (dir / name).string()));
        ASSERT_EQ(d.messages.size(), 1u);
        EXPECT_EQ(d.messages[0].text, text);
        EXPECT_EQ(d.messages[0].title, "Export Shape");
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 3);
    fs::remove_all(dir);
}

} // namespace
} // namespace quillane
