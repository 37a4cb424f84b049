# One helper for each kind of target: it holds flags, warnings, installation and names, so that the
# lists in the folders stay lists.

# The settings of every target of ours. PRIVATE throughout: a consumer inherits none of them.
function(orvane_settings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion
    "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}=" -fno-semantic-interposition)
  # GCC 12 sees overlaps in every concatenation of a literal and a std::string (its bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(ORVANE_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(ORVANE_SANITIZE)
    # The checks that are woven in make g++ see uninitialised members in the standard library's regex.
    target_compile_options(${target} PRIVATE -fsanitize=${ORVANE_SANITIZE} -fno-omit-frame-pointer
      -fno-sanitize-recover=all "$<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>")
    target_link_options(${target} PRIVATE -fsanitize=${ORVANE_SANITIZE})
  endif()
  if(ORVANE_BUILD_FUZZERS)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)  # coverage, for libFuzzer to follow
  endif()
endfunction()

# orvane_library(target EXPORT_NAME Name): a library of the package, exported as Orvane::Name.
function(orvane_library target)
  cmake_parse_arguments(arg "" "EXPORT_NAME" "" ${ARGN})
  orvane_settings(${target})
  add_library(Orvane::${arg_EXPORT_NAME} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${arg_EXPORT_NAME}
    VERIFY_INTERFACE_HEADER_SETS ON)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_definitions(${target} PRIVATE ORVANE_BUILDING)
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}")
endfunction()

# orvane_add_unit(library Path/Unit ...): each unit is a .cpp, an installed .h, or both.
function(orvane_add_unit component)
  set(target orvane)
  if(component STREQUAL "ui")
    set(target orvane-ui)
  endif()
  foreach(unit IN LISTS ARGN)
    set(base "${PROJECT_SOURCE_DIR}/${unit}")
    if(EXISTS "${base}.cpp")
      target_sources(${target} PRIVATE "${base}.cpp")
    endif()
    if(EXISTS "${base}.h")
      target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES "${base}.h")
    endif()
    if(NOT EXISTS "${base}.cpp" AND NOT EXISTS "${base}.h")
      message(FATAL_ERROR "No such unit: ${unit}")
    endif()
  endforeach()
endfunction()

# orvane_embed_text(target file symbol): the file as `constexpr std::string_view symbol`, included
# as "Embedded/symbol.h" by the target's own sources.
function(orvane_embed_text target file symbol)
  set(out "${PROJECT_BINARY_DIR}/embedded/Embedded/${symbol}.h")
  add_custom_command(OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DIN=${PROJECT_SOURCE_DIR}/${file} -DOUT=${out} -DSYMBOL=${symbol}
      -P ${PROJECT_SOURCE_DIR}/CMake/EmbedText.cmake
    DEPENDS "${PROJECT_SOURCE_DIR}/${file}" "${PROJECT_SOURCE_DIR}/CMake/EmbedText.cmake" VERBATIM)
  target_sources(${target} PRIVATE "${out}")
  target_include_directories(${target} PRIVATE "${PROJECT_BINARY_DIR}/embedded")
endfunction()

# The settings of test code. Under a sanitizer it is the library that has to be quick: unoptimised tests compile in
# two thirds of the time, which is most of that build.
function(orvane_test_settings target)
  orvane_settings(${target})
  if(ORVANE_SANITIZE)
    target_compile_options(${target} PRIVATE -O0)
  endif()
endfunction()

# orvane_add_test(Folder/NameTest ...): one program and one ctest entry per test file, so that
# process-wide state (the logger, the temporary folder, the environment) is fresh in each.
# THREADED marks tests that also run under the thread sanitizer. The limit of time ends what hangs; a test of
# commands takes minutes on a busy machine.
function(orvane_add_test)
  cmake_parse_arguments(arg "THREADED" "" "LIBRARIES" ${ARGN})
  foreach(path IN LISTS arg_UNPARSED_ARGUMENTS)
    get_filename_component(name "${path}" NAME)
    add_executable(${name} "${PROJECT_SOURCE_DIR}/Tests/${path}.cpp")
    orvane_test_settings(${name})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${name} PRIVATE orvane_test_support ${arg_LIBRARIES})
    target_precompile_headers(${name} REUSE_FROM orvane_test_support)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900)
    if(arg_THREADED)
      set_tests_properties(${name} PROPERTIES LABELS threaded)
      add_dependencies(threaded_tests ${name})
    endif()
  endforeach()
endfunction()

# orvane_add_compile_test(Name [MUST_FAIL message]): Tests/CompileFail/Name.cpp, which compiles, or which
# the compiler refuses with that message.
function(orvane_add_compile_test name)
  cmake_parse_arguments(arg "" "MUST_FAIL" "" ${ARGN})
  add_test(NAME Compile.${name} COMMAND "${CMAKE_CXX_COMPILER}" -std=c++20 -fsyntax-only
    "-I${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/Tests/CompileFail/${name}.cpp")
  set_tests_properties(Compile.${name} PROPERTIES TIMEOUT 120)
  if(arg_MUST_FAIL)
    set_tests_properties(Compile.${name} PROPERTIES PASS_REGULAR_EXPRESSION "error.*${arg_MUST_FAIL}|${arg_MUST_FAIL}.*error")
  endif()
endfunction()

# orvane_add_benchmark(Name LIBRARIES peers...): Benchmarks/Name.cpp, run by script/bench. Its benchmarks are
# called "area/name/ours" and "area/name/<peer>", with arguments behind.
function(orvane_add_benchmark name)
  cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
  add_executable(${name} "${PROJECT_SOURCE_DIR}/Benchmarks/${name}.cpp")
  orvane_settings(${name})
  target_link_libraries(${name} PRIVATE orvane benchmark::benchmark ${arg_LIBRARIES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  set_property(GLOBAL APPEND_STRING PROPERTY ORVANE_BENCHMARKS "$<TARGET_FILE:${name}>\n")
  add_dependencies(benchmarks ${name})
endfunction()

# orvane_add_fuzz(Name): Fuzz/Name.cpp defines LLVMFuzzerTestOneInput. With libFuzzer it becomes a
# fuzzer; otherwise a program that replays files, and a test that replays the seeds.
function(orvane_add_fuzz name)
  add_executable(${name} "${PROJECT_SOURCE_DIR}/Fuzz/${name}.cpp")
  orvane_settings(${name})
  target_link_libraries(${name} PRIVATE orvane)
  if(ORVANE_BUILD_FUZZERS)
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set_property(GLOBAL APPEND_STRING PROPERTY ORVANE_FUZZERS "$<TARGET_FILE:${name}>\n")
  else()
    target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/Fuzz/ReplayMain.cpp")
    add_test(NAME ${name} COMMAND ${name} "${PROJECT_SOURCE_DIR}/Fuzz/Seeds/${name}")
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
  endif()
endfunction()

# orvane_write_list(file PROPERTY): the programs collected in a global property, one a line, for the scripts.
function(orvane_write_list file property)
  get_property(list GLOBAL PROPERTY ${property})
  file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/${file}" CONTENT "${list}")
endfunction()
