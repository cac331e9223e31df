// quillane-cli: runs a model's analysis and optimization without the desktop.
#include <iostream>
#include <string>
#include <vector>

#include "Runner.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    return quillane::cli::Main(args, std::cout, std::cerr);
}
