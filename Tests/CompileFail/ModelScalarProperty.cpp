// A property that is no object. Must not compile.

#include "Orvane/OrvObject.h"

class Counting : public OrvObject {
  ORV_MODEL(Counting, OrvObject)
  ORV_DYNAMIC(int, number, setNumber)
};
