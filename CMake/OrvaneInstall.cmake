# Installation: the library, its headers, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)

install(TARGETS orvane EXPORT OrvaneCoreTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/orvane"
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/orvane")
