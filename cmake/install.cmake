# Installation of the library as a package: the shared library with its
# SONAME links, the public header, a pkg-config file, a CMake package, the
# licence, the Python module, and the settings of `cpack -G DEB`. Programs (the command-line
# tool) carry their own install rules beside their targets.

include(CMakePackageConfigHelpers)

set(INVOICE_EXTRACT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/invoice_extract)

install(TARGETS invoice_extract EXPORT invoice_extract_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT invoice_extract_targets NAMESPACE invoice_extract:: FILE invoice_extractTargets.cmake
        DESTINATION ${INVOICE_EXTRACT_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/invoice_extractConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/invoice_extractConfig.cmake
                              INSTALL_DESTINATION ${INVOICE_EXTRACT_CMAKE_DIR})
# Any 1.y satisfies a request for 1.x with x <= y; 2.0 would be a new SONAME.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/invoice_extractConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/invoice_extractConfig.cmake
              ${PROJECT_BINARY_DIR}/invoice_extractConfigVersion.cmake
        DESTINATION ${INVOICE_EXTRACT_CMAKE_DIR})

# The pkg-config file names the prefix that the files actually go to, which
# `cmake --install --prefix` and cpack decide only when they run: it is
# written at install time, before the rule that copies it.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(pc_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    # Escaped twice: once for the install code below, once for its run.
    set(pc_${kind} "\\\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
install(CODE "
  set(PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(PC_LIBDIR \"${pc_LIBDIR}\")
  set(PC_INCLUDEDIR \"${pc_INCLUDEDIR}\")
  set(PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/cmake/invoice_extract.pc.in\"
                 \"${PROJECT_BINARY_DIR}/pkgconfig/invoice_extract.pc\" @ONLY)
")
install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/invoice_extract.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

include(${PROJECT_SOURCE_DIR}/cmake/python.cmake)

# One Debian package with the library, its development files and the tool.
# dpkg-shlibdeps (package dpkg-dev) works out the runtime dependencies from
# the ELF files, and the package carries a shlibs file and the ldconfig
# trigger, as Debian's own library packages do.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME invoice-extract)
set(CPACK_PACKAGE_VENDOR "The invoice_extract authors")
set(CPACK_PACKAGE_CONTACT "The invoice_extract authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "recognise ZUGFeRD 1.0 invoices in PDF files and extract their XML")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "A shared library (libinvoice_extract.so.1) with C calls that decide
whether a PDF file (a path, or its bytes in memory) is a ZUGFeRD 1.0
electronic invoice and extract the embedded invoice XML. The package holds
the library, its header, pkg-config file and CMake package, the command-line
tool and the Python module invoice_extract.")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS python3)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
include(CPack)
