// A double where a width is asked for. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%*d", 1.5, 1); }
