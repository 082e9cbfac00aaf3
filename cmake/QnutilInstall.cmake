# Installation: headers, the libraries, a CMake package (find_package(qnutil CONFIG)) and qnutil.pc.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QNUTIL_INSTALL_TARGETS qnutil)
if(NOT WIN32)
  list(APPEND QNUTIL_INSTALL_TARGETS qnwin32)
endif()
# Installed, the library finds the subset beside itself, wherever the prefix is.
if(NOT WIN32 AND NOT APPLE)
  set_target_properties(qnutil PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

install(TARGETS ${QNUTIL_INSTALL_TARGETS} EXPORT qnutilTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qnutil DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT qnutilTargets NAMESPACE qnutil:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qnutil)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qnutilConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qnutilConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qnutil)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qnutilConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qnutilConfig.cmake ${PROJECT_BINARY_DIR}/qnutilConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qnutil)

if(WIN32)
  set(QNUTIL_PC_LIBS "-lqnutil -lole32 -loleaut32 -luuid")
else()
  set(QNUTIL_PC_LIBS "-lqnutil -lqnwin32")
endif()
file(RELATIVE_PATH QNUTIL_PC_RELATIVE_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" QNUTIL_PC_RELATIVE_PREFIX "${QNUTIL_PC_RELATIVE_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/qnutil.pc.in ${PROJECT_BINARY_DIR}/qnutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qnutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
