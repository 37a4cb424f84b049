// An argument without a conversion. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%d", 1, 2); }
