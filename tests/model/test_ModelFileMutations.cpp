// Thousands of broken copies of a small model file, always the same ones (a fixed
// seed and no library distributions): truncations, flipped bytes, huge counts,
// inserted digits and separators, dropped and repeated lines. Each one either opens
// as a model whose counts and references hold together, or is refused with the file
// error and leaves the model in memory untouched. Run under the sanitizers by
// `make sanitize`.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "model/ModelFile.h"

namespace quillane {
namespace {

namespace fs = std::filesystem;

std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Two rows by two columns, with supports, loads and every kind of cell.
const char* const kSmallModel =
    "2000,100,0.5,0.5\r\n2,2\r\n0,0\r\n200,200\r\n210000,0.3,1\r\n9,4\r\n1\r\n2\r\n-3\r\n0\r\n"
    "1,0,0\r\n2,100,0\r\n3,200,0\r\n4,0,100\r\n5,100,100\r\n6,200,100\r\n7,0,200\r\n"
    "8,100,200\r\n9,200,200\r\n1,1,2,5,4\r\n2,2,3,6,5\r\n3,4,5,8,7\r\n4,5,6,9,8\r\n"
    "1,1,1\r\n2,0,0\r\n3,0,0\r\n4,1,1\r\n5,0,0\r\n6,0,0\r\n7,1,1\r\n8,0,0\r\n9,0,0\r\n"
    "1,0,0\r\n2,0,0\r\n3,0,-1000\r\n4,0,0\r\n5,0,0\r\n6,0,0\r\n7,0,0\r\n8,0,0\r\n"
    "9,1.5E+03,-2.5E-01\r\n0,1,0.05\r\n";

class Mutator {
  public:
    explicit Mutator(std::uint32_t seed) : random_(seed) {}

    std::string mutate(std::string text) {
        const int changes = 1 + below(3);
        for (int c = 0; c < changes && !text.empty(); ++c) {
            text = once(text);
        }
        return text;
    }

  private:
    std::size_t below(std::size_t n) { return n == 0 ? 0 : random_() % n; }

    std::string once(const std::string& text) {
        static const char* const kFields[] = {
            "32767",  "-32768", "16000",      "0",   "-1",    "99999999", "1E+308", "-1E+39",
            "1e-400", "",       "nan",        "inf", ".",     "1.",       "+",      "1e",
            "2.5",    "10",     "4294967296", "9",   "1E+38", "-0",       "0x10",   " 7 "};
        std::string t = text;
        const std::size_t at = below(t.size() + 1);
        switch (below(8)) {
        case 0: // cut short
            return t.substr(0, at);
        case 1: // a flipped byte
            if (at < t.size()) {
                t[at] = static_cast<char>(t[at] ^ static_cast<char>(1 + below(255)));
            }
            return t;
        case 2: { // one field replaced by a troublesome one
            const std::size_t start = t.find_last_of(",\r\n", at == 0 ? 0 : at - 1);
            const std::size_t from = start == std::string::npos || at == 0 ? 0 : start + 1;
            const std::size_t to = t.find_first_of(",\r\n", from);
            return t.substr(0, from) + kFields[below(std::size(kFields))] +
                   (to == std::string::npos ? "" : t.substr(to));
        }
        case 3: // digits put in
            return t.insert(at, std::string(1 + below(6), static_cast<char>('0' + below(10))));
        case 4: // a separator put in
            return t.insert(at, 1, ",\r\n "[below(4)]);
        case 5: // a stretch dropped
            return t.erase(at, below(40));
        case 6: { // a line repeated
            const std::size_t start = t.rfind('\n', at == 0 ? 0 : at - 1);
            const std::size_t from = start == std::string::npos ? 0 : start + 1;
            const std::size_t end = t.find('\n', from);
            const std::string line =
                t.substr(from, end == std::string::npos ? std::string::npos : end - from + 1);
            return t.insert(from, line);
        }
        default: { // a huge grid announced
            const std::size_t grid = t.find("2,2\r\n");
            if (grid == std::string::npos) {
                return t;
            }
            return t.replace(grid, 3,
                             std::to_string(below(40000)) + "," + std::to_string(below(40000)));
        }
        }
    }

    std::mt19937 random_;
};

TEST(ModelFileMutations, EveryBrokenCopyOpensWholeOrIsRefusedWithTheModelUntouched) {
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-mutations-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const std::string path = (dir / "m.model").string();
    std::ofstream(path, std::ios::binary) << kSmallModel;
    Model original;
    OpenModel(original, path, CanvasSize{3, 2});

    Mutator mutator(20240611);
    int opened = 0;
    int refused = 0;
    for (int n = 0; n < 3000; ++n) {
        const std::string text = mutator.mutate(kSmallModel);
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
        Model m = original;
        try {
            OpenModel(m, path, CanvasSize{3, 2});
        } catch (const ModelFileError& error) {
            ++refused;
            ASSERT_FALSE(error.reason().empty());
            ASSERT_LT(error.reason().size(), 300u) << error.reason();
            ASSERT_TRUE(m.CellState == original.CellState && m.NodeXY == original.NodeXY &&
                        m.ElementNodes == original.ElementNodes &&
                        m.DomainWidth == original.DomainWidth && m.Lambda == original.Lambda)
                << text;
            continue;
        }
        ++opened;
        // What opens holds together: one grid, every element node a node of the model.
        const int rows = m.CellRowCount;
        const int columns = m.CellColumnCount;
        ASSERT_EQ(m.NodeCount, (rows + 1) * (columns + 1)) << text;
        ASSERT_EQ(m.ElementCount, rows * columns) << text;
        ASSERT_TRUE(m.CellState.contains(rows, columns)) << text;
        for (int e = 1; e <= m.ElementCount; ++e) {
            for (int k = 1; k <= 4; ++k) {
                ASSERT_TRUE(m.ElementNodes(e, k) >= 1 && m.ElementNodes(e, k) <= m.NodeCount)
                    << text;
            }
        }
        // And saved again it reads back to the same text (for some of them: saving
        // waits for the disk).
        if (opened % 8 != 1) {
            continue;
        }
        SaveModel(m, (dir / "a.model").string());
        Model again;
        OpenModel(again, (dir / "a.model").string(), CanvasSize{3, 2});
        SaveModel(again, (dir / "b.model").string());
        ASSERT_EQ(readText(dir / "a.model"), readText(dir / "b.model")) << text;
    }
    // Both outcomes are well represented, so the mutations reach past the header.
    EXPECT_GT(opened, 150);
    EXPECT_GT(refused, 2000);
    fs::remove_all(dir);
}

} // namespace
} // namespace quillane
