// An integer where a double is asked for. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%f", 1); }
