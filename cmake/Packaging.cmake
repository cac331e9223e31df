# A Debian package of what cmake/Install.cmake installs (`make package`, or cpack in
# the build folder): quillane_<version>_<arch>.deb, installing under /usr. The
# libraries it needs are read off the programs by dpkg-shlibdeps (dpkg-dev); the
# Japanese font is named by hand, since the messages need it but no binary links it.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillane)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Quillane developers")
set(QUILLANE_PACKAGE_MAINTAINER "Quillane developers <quillane@example.org>"
    CACHE STRING "Maintainer named in the Debian package (name <address>)")
set(CPACK_PACKAGE_CONTACT "${QUILLANE_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "topology optimization of thin plates in plane stress")
set(CPACK_PACKAGE_DESCRIPTION
    "Quillane lays out a design domain on a grid of square cells, runs a linear
finite-element analysis of the plate (bilinear elements, ICCG solver), shows the
von Mises stresses and cell potentials, and grows and removes material step by
step with a stress-driven rule. It comes as a Qt 6 desktop program, quillane,
and a headless runner, quillane-cli, with example models.")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-ipafont-gothic")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
