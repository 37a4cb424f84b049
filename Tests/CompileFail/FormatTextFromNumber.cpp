// A number where bytes are asked for. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%s", 1); }
