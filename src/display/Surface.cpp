#include "display/Surface.h"

#include <array>
#include <string>

#include "model/Faults.h"

namespace quillane {

Rgb PaletteColor(int index) {
    static constexpr std::array<Rgb, 16> kPalette{{
        {0, 0, 0},
        {0, 0, 128},
        {0, 128, 0},
        {0, 128, 128},
        {128, 0, 0},
        {128, 0, 128},
        {128, 128, 0},
        {192, 192, 192},
        {128, 128, 128},
        {0, 0, 255},
        {0, 255, 0},
        {0, 255, 255},
        {255, 0, 0},
        {255, 0, 255},
        {255, 255, 0},
        {255, 255, 255},
    }};
    if (index < 0 || index > 15) {
        raiseSubscript("The palette colour " + std::to_string(index) +
                       " does not exist; the palette has the colours 0 to 15.");
    }
    return kPalette[static_cast<std::size_t>(index)];
}

} // namespace quillane
