#pragma once

// A disk that fails when it is asked to: a library to load before all others (LD_PRELOAD), which stands between
// a program and the system's calls that change files. The program finds these functions by their names.
extern "C" {

// From now on this thread's calls are counted, and the n-th fails with the error: once, or with every later one
// that does not remove anything. 0 only counts.
void faultyDiskArm(long n, int error, bool forEver);
// Ends it, and answers how many calls there were.
long faultyDiskDisarm();
}
