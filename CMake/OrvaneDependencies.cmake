# The general libraries the core stands on. Only sources see them: no public header of ours
# includes one, so they never appear in an application's compile line.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(OpenSSL 3.0 REQUIRED COMPONENTS Crypto)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0 gio-2.0)
pkg_check_modules(SIMDJSON REQUIRED IMPORTED_TARGET simdjson)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)

add_library(orvane_dependencies INTERFACE)
target_link_libraries(orvane_dependencies INTERFACE
  Threads::Threads OpenSSL::Crypto PkgConfig::ICU
  PkgConfig::GLIB PkgConfig::SIMDJSON PkgConfig::PLIST PkgConfig::CURL ${CMAKE_DL_LIBS})
