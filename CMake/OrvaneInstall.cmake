# Installation: the library, its headers, the CMake package, the pkg-config file, and Debian packages.

include(CMakePackageConfigHelpers)

set(ORVANE_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/orvane")
set(ORVANE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Orvane")
set(ORVANE_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS orvane EXPORT OrvaneCoreTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT liborvane1 NAMELINK_COMPONENT liborvane-dev
  FILE_SET HEADERS DESTINATION "${ORVANE_INCLUDE_DIR}" COMPONENT liborvane-dev)

# One targets file for each component, so that a component that is not installed is simply absent.
install(EXPORT OrvaneCoreTargets NAMESPACE Orvane:: DESTINATION "${ORVANE_CMAKE_DIR}" COMPONENT liborvane-dev)
configure_package_config_file(CMake/OrvaneConfig.cmake.in "${PROJECT_BINARY_DIR}/OrvaneConfig.cmake"
  INSTALL_DESTINATION "${ORVANE_CMAKE_DIR}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/OrvaneConfigVersion.cmake"
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/OrvaneConfig.cmake" "${PROJECT_BINARY_DIR}/OrvaneConfigVersion.cmake"
  DESTINATION "${ORVANE_CMAKE_DIR}" COMPONENT liborvane-dev)

# The prefix is found from the file's own place, so that an installed tree can be moved.
file(RELATIVE_PATH ORVANE_PREFIX_FROM_PKGCONFIG "/root/${ORVANE_PKGCONFIG_DIR}" "/root")
string(REGEX REPLACE "/$" "" ORVANE_PREFIX_FROM_PKGCONFIG "${ORVANE_PREFIX_FROM_PKGCONFIG}")
configure_file(CMake/orvane.pc.in "${PROJECT_BINARY_DIR}/orvane.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/orvane.pc" DESTINATION "${ORVANE_PKGCONFIG_DIR}" COMPONENT liborvane-dev)

if(TARGET orv)
  file(RELATIVE_PATH ORVANE_LIB_FROM_BIN "/root/${CMAKE_INSTALL_BINDIR}" "/root/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(orv PROPERTIES INSTALL_RPATH "$ORIGIN/${ORVANE_LIB_FROM_BIN}")
  install(TARGETS orv RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT orv)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Orvane maintainers <orvane@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL liborvane1 liborvane-dev)
if(TARGET orv)
  list(APPEND CPACK_COMPONENTS_ALL orv)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBORVANE1_PACKAGE_NAME liborvane1)
set(CPACK_DEBIAN_LIBORVANE1_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBORVANE-DEV_PACKAGE_NAME liborvane-dev)
set(CPACK_DEBIAN_LIBORVANE-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBORVANE-DEV_PACKAGE_DEPENDS "liborvane1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_ORV_PACKAGE_NAME orv)
set(CPACK_DEBIAN_ORV_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_ORV_PACKAGE_DEPENDS "liborvane1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_LIBORVANE1_DESCRIPTION "Foundation library for desktop applications")
set(CPACK_COMPONENT_LIBORVANE-DEV_DESCRIPTION "Foundation library for desktop applications: headers and link files")
set(CPACK_COMPONENT_ORV_DESCRIPTION "The Orvane library at the shell")
include(CPack)
