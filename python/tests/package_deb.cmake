# Makes the .deb with CPack, unpacks it into a temporary root and imports the
# kxsvg module from there. Variables: BINARY_DIR (the build tree), PYTHON,
# MODULE_DIR (where the module is installed, relative to the prefix).
set(root "${BINARY_DIR}/python-package-root")
file(REMOVE_RECURSE "${root}")
file(GLOB old_packages "${BINARY_DIR}/kxsvg_*.deb")
if(old_packages)
  file(REMOVE ${old_packages})
endif()
# Uncompressed and without dpkg-shlibdeps: the test checks the contents, and those two
# steps cost most of its time.
execute_process(COMMAND cpack -G DEB -D CPACK_DEBIAN_COMPRESSION_TYPE=none -D CPACK_DEBIAN_PACKAGE_SHLIBDEPS=OFF
                WORKING_DIRECTORY "${BINARY_DIR}" RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
file(GLOB packages "${BINARY_DIR}/kxsvg_*.deb")
if(NOT result EQUAL 0 OR NOT packages)
  message(FATAL_ERROR "cpack failed:\n${output}")
endif()
execute_process(COMMAND dpkg-deb -x ${packages} "${root}" RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "dpkg-deb -x failed")
endif()
foreach(file usr/include/kx/svg/Simple.h usr/bin/kxsvg usr/${MODULE_DIR}/kxsvg.pyi)
  if(NOT EXISTS "${root}/${file}")
    message(FATAL_ERROR "the package lacks ${file}")
  endif()
endforeach()
# Only the unpacked root on the path: the module must find its libraries through its own run path.
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "PYTHONPATH=${root}/usr/${MODULE_DIR}" --unset=LD_LIBRARY_PATH
          ${PYTHON} -c "import kxsvg; d = kxsvg.load(b'<svg><rect width=\"2\" height=\"3\"/></svg>'); print(kxsvg.__file__, sum(p.fill_area for p in kxsvg.segment(d)))"
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
if(NOT result EQUAL 0 OR NOT output MATCHES "^${root}/usr/${MODULE_DIR}/kxsvg[^ ]*\\.so 6\\.0")
  message(FATAL_ERROR "importing the packaged module failed (${result}):\n${output}${error}")
endif()
message(STATUS "packaged module: ${output}")
