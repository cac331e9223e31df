// libFuzzer target: any bytes as a model file. What opens is drawn and analysed as the
// desktop would; a crash, a sanitizer report, an exception other than the file error
// or a run-time fault, or an array fault while drawing an opened model is a finding.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "display/Canvas.h"
#include "display/RecordingSurface.h"
#include "fem/Mesh.h"
#include "model/Faults.h"
#include "model/ModelFile.h"
#include "optimize/Optimization.h"

namespace {

// One in-memory file, rewritten for every input: a plain file to the reader, with
// nothing written to the disk.
const std::string& memoryFile() {
    static const std::string path = [] {
        const int fd = ::memfd_create("model", 0);
        if (fd < 0) {
            std::abort();
        }
        return "/proc/self/fd/" + std::to_string(fd);
    }();
    return path;
}

void writeInput(const std::uint8_t* data, std::size_t size) {
    const int fd = std::stoi(memoryFile().substr(memoryFile().rfind('/') + 1));
    if (::ftruncate(fd, 0) != 0 || ::pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeInput(data, size);
    quillane::Model m;
    try {
        quillane::OpenModel(m, memoryFile(), quillane::CanvasSize{800, 600});
    } catch (const quillane::ModelFileError&) {
        return 0;
    }
    // Drawing an opened model must never look outside its arrays.
    quillane::RecordingSurface canvas;
    try {
        quillane::ApplyCanvasScale(m, canvas);
        quillane::DrawCanvas(m, canvas);
    } catch (const quillane::SubscriptFault&) {
        std::abort();
    } catch (const quillane::RuntimeFault&) {
        // An overflow of the grid's line count and the like: reported to the user.
    }
    // The analysis and one step may stop with a fault that the window reports.
    try {
        quillane::MarkActiveNodes(m);
        quillane::RunStressAnalysis(m);
        quillane::Optimization(m);
    } catch (const quillane::RuntimeFault&) {
    }
    return 0;
}
