// Models as they are meant to be declared. Must compile.

#include "Orvane/OrvObject.h"

class Fitting : public OrvObject {
  ORV_MODEL(Fitting, OrvObject)
  ORV_DYNAMIC(NSString, title, setTitle)
  ORV_DYNAMIC(orv::Ref<OrvObject>, owner, setOwner);
  ORV_STORED(NSDate, seen, setSeen);
};

class MoreFitting : public Fitting {
  ORV_MODEL(MoreFitting, Fitting)
  ORV_DYNAMIC(orv::Value, anything, setAnything)
};

orv::Ref<MoreFitting> made() { return MoreFitting::initWithDictionary(orv::nil); }
