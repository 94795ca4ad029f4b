# Packaging.cmake - CPack settings: one Debian package of everything installed
# (the libraries, headers, CMake and pkg-config files, the kxsvg tool and,
# when built, the Python module).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kxsvg)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "SVG item tree: load, save, bounding boxes, flattening and triangulated fills")
set(CPACK_PACKAGE_CONTACT "libkxSvg maintainers <kxsvg@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# Dependencies are read from the ELF files by dpkg-shlibdeps; the Python
# module adds the interpreter and NumPy, which it imports at run time.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(KXSVG_BUILD_PYTHON)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3, python3-numpy")
endif()
include(CPack)
