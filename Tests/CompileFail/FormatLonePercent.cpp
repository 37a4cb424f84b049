// A percent sign at the end. Must not compile.

#include "Tests/CompileFail/Say.h"

void wrong() { say("100%"); }
