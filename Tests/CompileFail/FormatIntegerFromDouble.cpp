// A double where an integer is asked for. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%d", 1.5); }
