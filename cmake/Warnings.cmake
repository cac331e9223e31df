# Warnings for the project's own targets, through one interface target.
add_library(quillane_warnings INTERFACE)
target_compile_options(quillane_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                                                   -Wnon-virtual-dtor -Wold-style-cast)
