# What can be switched on and off, and the settings every target of ours shares.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

option(ORVANE_BUILD_TOOLS "Build the orv command" ${PROJECT_IS_TOP_LEVEL})
option(ORVANE_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(ORVANE_BUILD_EXAMPLES "Build the example programs" ${PROJECT_IS_TOP_LEVEL})
option(ORVANE_BUILD_BENCHMARKS "Build the benchmark programs" OFF)
option(ORVANE_BUILD_FUZZERS "Build the fuzz targets with libFuzzer (clang)" OFF)
option(ORVANE_INSTALL "Install the library and make packages" ${PROJECT_IS_TOP_LEVEL})
option(ORVANE_WARNINGS_AS_ERRORS "Warnings stop the build (developers and CI)" OFF)
option(ORVANE_FAST_TOOLS "Use ccache and mold when they are there" ${PROJECT_IS_TOP_LEVEL})
# Off by default: GCC 12 takes the standard library in a precompiled header for our own code, and warns of it.
option(ORVANE_PRECOMPILE "Precompile the headers that most of the library includes" OFF)
option(ORVANE_QUEUE_CHECKS "Report queues that wait for each other in a circle" OFF)
set(ORVANE_SANITIZE "" CACHE STRING "Sanitizers for every target, as in -fsanitize=LIST")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
endif()

if(ORVANE_FAST_TOOLS)
  find_program(ORVANE_CCACHE ccache)
  if(ORVANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Without the sloppiness, nothing that uses a precompiled header is ever found again.
    set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND};-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;${ORVANE_CCACHE}")
  endif()
  find_program(ORVANE_MOLD mold)
  if(ORVANE_MOLD)
    add_link_options(-fuse-ld=mold)
  endif()
endif()
