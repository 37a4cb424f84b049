# The general libraries the core stands on. Only sources see them: no public header of ours
# includes one, so they never appear in an application's compile line.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(OpenSSL 3.0 REQUIRED COMPONENTS Crypto)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)

add_library(orvane_dependencies INTERFACE)
target_link_libraries(orvane_dependencies INTERFACE
  Threads::Threads OpenSSL::Crypto PkgConfig::ICU ${CMAKE_DL_LIBS})
