#include "Orvane/OrvLog.h"
#include "Platform/Foundation/Text/NSRegularExpression.h"

void NSRegularExpression::warnAboutLostSearch(const char* reason) const {
  OrvLogWarning("Search for the pattern %@ given up: %s", pattern_, reason);
}
