#pragma once

#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSObject.h"
#include "Platform/Foundation/Values/NSString.h"

// Turns a stored value into the one that a control shows and, where that is possible, back again. Bindings find
// transformers by name, which is the name of the class unless one was registered under another.
//
// Transformers hold no values, so that one serves all controls. The registry may be used from any thread; a
// transformer follows its own class's rule.
//
//   Ref<NSValueTransformer> dpi = NSValueTransformer::valueTransformerForName("OrvDPITransformer");
//   Value shown = dpi->transformedValue(72);            // "72"
//   Value stored = dpi->reverseTransformedValue("4800");   // 2000
class ORV_EXPORT NSValueTransformer : public NSObject {
 public:
  // Whether the class can turn a shown value back; false here. A class that can hides this one with its own,
  // and overrides the next, which asks an object of any class.
  static bool allowsReverseTransformation() { return false; }
  virtual bool canReverse() const { return false; }

  // From stored to shown; the value itself here.
  virtual orv::Value transformedValue(const orv::Value& stored);
  // From shown to stored; nil where that is not offered.
  virtual orv::Value reverseTransformedValue(const orv::Value& displayed);

  // The transformer of that name, always the same one: one that was registered, else one of the library's own,
  // else nil.
  static orv::Ref<NSValueTransformer> valueTransformerForName(const NSString& name);
  // Registers a transformer; nil forgets what was registered under the name. A nil name does nothing.
  static void setValueTransformerForName(const orv::Ref<NSValueTransformer>& transformer, const NSString& name);
  // The names that were registered or asked for with success, in that order.
  static NSArray valueTransformerNames();

  // NSValueTransformer(Orvane) - Orvane/macOS/OrvNSValueTransformer.cpp

  // A new transformer of one of the library's classes, by the name of the class; nil for any other name.
  static orv::Ref<NSValueTransformer> orvTransformerOfClass(const NSString& className);
};
