# What `cmake --install` puts where (GNU layout under the prefix): the two programs
# in bin/, the example models in share/quillane/examples/, and a desktop entry with
# its icon for the menus. Libraries, headers, tests, benchmarks and the examples'
# generator are build-time only and stay out.
#
# The icon is hand-drawn in data/icons/quillane.svg; the PNGs beside it are that
# drawing rendered once (`rsvg-convert -w 48 -h 48 quillane.svg -o quillane-48.png`,
# likewise for 128) for menus that do not read SVG.

# Both programs come with the Qt parts; without them there is nothing to install.
if(NOT QUILLANE_BUILD_DESKTOP)
  return()
endif()

include(GNUInstallDirs)

install(TARGETS quillane quillane-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/quillane/examples
        FILES_MATCHING PATTERN "*.model" PATTERN "README.md")

install(FILES ${PROJECT_SOURCE_DIR}/data/quillane.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(FILES ${PROJECT_SOURCE_DIR}/data/icons/quillane.svg DESTINATION ${icons}/scalable/apps)
foreach(size 48 128)
  install(FILES ${PROJECT_SOURCE_DIR}/data/icons/quillane-${size}.png
          DESTINATION ${icons}/${size}x${size}/apps RENAME quillane.png)
endforeach()

include(${CMAKE_CURRENT_LIST_DIR}/Packaging.cmake)
