# Writes the text file IN as a C++ header OUT that defines SYMBOL. Raw literals are limited to
# 64 KiB by some compilers, so the text is cut into adjacent pieces.
file(READ "${IN}" text)
string(LENGTH "${text}" length)
set(pieces "")
set(at 0)
while(at LESS length)
  string(SUBSTRING "${text}" ${at} 8000 piece)
  string(APPEND pieces "    R\"embedded(${piece})embedded\"\n")
  math(EXPR at "${at} + 8000")
endwhile()
get_filename_component(name "${IN}" NAME)
file(WRITE "${OUT}"
  "// Made from ${name} by the build.\n#pragma once\n\n#include <string_view>\n\n"
  "namespace orv::detail {\ninline constexpr std::string_view ${SYMBOL} =\n${pieces}    ;\n}  // namespace orv::detail\n")
