// A position behind the last argument. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%2$d %1$d %3$d", 1, 2); }
