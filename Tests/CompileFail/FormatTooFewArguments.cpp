// A conversion without an argument. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%d %d", 1); }
