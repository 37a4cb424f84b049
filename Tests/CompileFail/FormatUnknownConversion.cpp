// A conversion that does not exist. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%y", 1); }
