#include "display/ColorScale.h"

#include "model/Faults.h"
#include "model/Int16.h"

namespace quillane {

void MakeColorTable(Model& m) {
    // Two parabolas meeting between levels 8 and 9: blue falls off as green rises,
    // then green falls off as red rises. No component reaches 255.
    for (int level = 1; level <= 8; ++level) {
        auto& row = m.ColorTable[static_cast<std::size_t>(level - 1)];
        row[0] = 0;
        row[1] = checked16(255 - 3 * (level - 9) * (level - 9));
        row[2] = checked16(255 - 3 * level * level);
    }
    for (int level = 9; level <= 16; ++level) {
        auto& row = m.ColorTable[static_cast<std::size_t>(level - 1)];
        row[0] = checked16(255 - 3 * (level - 17) * (level - 17));
        row[1] = checked16(255 - 3 * (level - 8) * (level - 8));
        row[2] = 0;
    }
}

Rgb LevelColor(const Model& m, int level) {
    if (level < 1 || level > 16) {
        raiseSubscript("The colour level " + std::to_string(level) +
                       " is outside the colour scale's levels 1 to 16.");
    }
    const auto& row = m.ColorTable[static_cast<std::size_t>(level - 1)];
    return {static_cast<std::uint8_t>(row[0]), static_cast<std::uint8_t>(row[1]),
            static_cast<std::uint8_t>(row[2])};
}

void DrawColorBar(const Model& m, DrawingSurface& bar, const std::string& title) {
    bar.clear();
    bar.setScale(-0.5, 17.0, 5.0, -1.0);
    const Rgb blue = PaletteColor(1);
    bar.setTextPosition(0.0, 16.8);
    bar.print(title, blue);
    for (int level = 1; level <= 16; ++level) {
        const Rgb color = LevelColor(m, level);
        bar.filledBox(0.0, level - 1, 1.5, level, color);
        bar.box(0.0, level - 1, 1.5, level, blue);
    }
}

} // namespace quillane
