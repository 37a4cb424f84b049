// A derived model whose own properties nobody would list. Must not compile.

#include "Orvane/OrvObject.h"

class Declared : public OrvObject {
  ORV_MODEL(Declared, OrvObject)
};

class Undeclared : public Declared {
  ORV_DYNAMIC(NSString, title, setTitle)
};
