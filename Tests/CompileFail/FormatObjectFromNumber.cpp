// A number where an object is asked for. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%@", 1); }
