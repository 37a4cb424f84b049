#pragma once

#include "Platform/Foundation/Export.h"
#include "Platform/Foundation/Values/NSString.h"

// Stopwatches for a quick look: prints "Time <name> [step of total] message" to the system console, the step
// being the seconds since the previous call for that name and the total those since the first. A nil message,
// or a new name, starts the stopwatch anew and prints zeros. A nil name is the stopwatch "main", printed as
// "(null)". Answers the step in seconds.
//
// For one thread at a time.
//
//   zxTimeTrack("import", nil);
//   readAll();
//   zxTimeTrack("import", "files read");      // Time <import> [0.2500s of 0.2500s] files read
extern "C" ORV_EXPORT double zxTimeTrack(const NSString& name, const NSString& message);
