#include "Platform/AppKit/NSParagraphStyle.h"

#include "Platform/Foundation/Text/StringBuilder.h"
#include "Platform/Foundation/Values/NSNumber.h"

using namespace orv;

namespace {

using Settings = NSParagraphStyle::Settings;

struct NamedSetting {
  const char* name;
  double (*get)(const Settings& settings);
};

constexpr NamedSetting kSettings[] = {
    {"alignment", [](const Settings& s) { return static_cast<double>(s.alignment); }},
    {"lineBreakMode", [](const Settings& s) { return static_cast<double>(s.lineBreakMode); }},
    {"lineSpacing", [](const Settings& s) { return s.lineSpacing; }},
    {"paragraphSpacing", [](const Settings& s) { return s.paragraphSpacing; }},
    {"paragraphSpacingBefore", [](const Settings& s) { return s.paragraphSpacingBefore; }},
    {"headIndent", [](const Settings& s) { return s.headIndent; }},
    {"firstLineHeadIndent", [](const Settings& s) { return s.firstLineHeadIndent; }},
    {"tailIndent", [](const Settings& s) { return s.tailIndent; }},
    {"minimumLineHeight", [](const Settings& s) { return s.minimumLineHeight; }},
    {"maximumLineHeight", [](const Settings& s) { return s.maximumLineHeight; }},
    {"lineHeightMultiple", [](const Settings& s) { return s.lineHeightMultiple; }},
};

}  // namespace

Ref<NSParagraphStyle> NSParagraphStyle::defaultParagraphStyle() { return make<NSParagraphStyle>(); }

Ref<NSMutableParagraphStyle> NSParagraphStyle::mutableCopy() const {
  return make<NSMutableParagraphStyle>(settings_);
}

NSString NSParagraphStyle::className() const { return "NSParagraphStyle"; }

NSString NSParagraphStyle::description() const {
  detail::StringBuilder out;
  out.append("<");
  out.append(className());
  const char* before = ": ";
  for (const NamedSetting& setting : kSettings) {
    const double value = setting.get(settings_);
    if (value == setting.get(Settings())) continue;
    out.append(NSString::stringWithFormat("%s%s %@", std::exchange(before, ", "), setting.name, Value(value)));
  }
  out.append(">");
  return out.finish();
}

bool NSParagraphStyle::isEqual(const Value& other) const {
  const auto that = other.as<NSParagraphStyle>();
  return that && settings_ == that->settings_;
}

size_t NSParagraphStyle::hash() const {
  size_t h = 0;
  for (const NamedSetting& setting : kSettings) h = h * 31 + Value(setting.get(settings_)).hash();
  return h;
}

Value NSParagraphStyle::mutableCopyOfObject() const { return mutableCopy(); }

Ref<NSParagraphStyle> NSMutableParagraphStyle::copy() const { return make<NSParagraphStyle>(settings_); }
NSString NSMutableParagraphStyle::className() const { return "NSMutableParagraphStyle"; }
Value NSMutableParagraphStyle::copyOfObject() const { return copy(); }
