#pragma once

#include <mutex>

#include "Platform/Foundation/Dates/NSDateFormatter.h"
#include "Platform/Foundation/Values/NSValueTransformer.h"

// The converters between preferences and the controls that show them. Bindings name them by their classes:
//
//   auto quality = NSValueTransformer::valueTransformerForName("OrvQualityTransformer");
//   settings->setObject(quality->reverseTransformedValue(field.text()), "quality");
//
// None raises, whatever it is given, and all may be used from any thread.

// Shows a value as its text (see Value::toString).
class ORV_EXPORT OrvStringTransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return false; }
  orv::Value transformedValue(const orv::Value& stored) override;
};

// Shows a value as its text in upper case.
class ORV_EXPORT OrvUppercaseTransformer : public OrvStringTransformer {
 public:
  static bool allowsReverseTransformation() { return false; }
  orv::Value transformedValue(const orv::Value& stored) override;
};

// Shows a value as its text and stores the whole number at the start of what was typed, 0 where there is none.
class ORV_EXPORT OrvIntegerNumberTransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return true; }
  bool canReverse() const override { return true; }
  orv::Value transformedValue(const orv::Value& stored) override;
  orv::Value reverseTransformedValue(const orv::Value& displayed) override;
};

// A boolean both ways (see Value::toBool); absent is NO.
class ORV_EXPORT OrvBoolTransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return true; }
  bool canReverse() const override { return true; }
  orv::Value transformedValue(const orv::Value& stored) override;
  orv::Value reverseTransformedValue(const orv::Value& displayed) override;
};

// The opposite both ways: the integer 1 for what is false and 0 for what is true, but the boolean YES for an
// absent value. Kept: stored settings hold both forms.
class ORV_EXPORT OrvBoolInversTransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return true; }
  bool canReverse() const override { return true; }
  orv::Value transformedValue(const orv::Value& stored) override;
  orv::Value reverseTransformedValue(const orv::Value& displayed) override;
};

// Shows a date in the short form of the user's locale, "" for what is no date, and stores the date in what was
// typed: any text that NSDate::zuDateFromHumanString reads. nil for other text, with a Warning if reading
// raises.
class ORV_EXPORT OrvShortDateTransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return true; }
  bool canReverse() const override { return true; }
  orv::Value transformedValue(const orv::Value& stored) override;
  orv::Value reverseTransformedValue(const orv::Value& displayed) override;

  // Makes the formatter anew. Done on first use.
  void setupFormatter();

 private:
  orv::Ref<NSDateFormatter> formatter();

  std::mutex mutex_;  // guards formatter_
  orv::Ref<NSDateFormatter> formatter_;
};

// Shows dots per inch as text and stores the whole number that was typed, at least 36 and at most 2000.
class ORV_EXPORT OrvDPITransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return true; }
  bool canReverse() const override { return true; }
  orv::Value transformedValue(const orv::Value& stored) override;
  orv::Value reverseTransformedValue(const orv::Value& displayed) override;
};

// Shows a percentage as text and stores the whole number that was typed, at least 0 and at most 100.
class ORV_EXPORT OrvQualityTransformer : public NSValueTransformer {
 public:
  static bool allowsReverseTransformation() { return true; }
  bool canReverse() const override { return true; }
  orv::Value transformedValue(const orv::Value& stored) override;
  orv::Value reverseTransformedValue(const orv::Value& displayed) override;
};
