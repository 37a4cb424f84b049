// An object where an integer is asked for. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("%ld", NSString("text")); }
