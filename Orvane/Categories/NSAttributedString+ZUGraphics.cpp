#include "Platform/AppKit/NSColor.h"
#include "Platform/AppKit/NSFont.h"
#include "Platform/AppKit/NSParagraphStyle.h"
#include "Platform/Foundation/Text/NSAttributedString.h"

using namespace orv;

void NSMutableAttributedString::setParagraphStyleWithBlock(
    const std::function<void(const Ref<NSMutableParagraphStyle>& style)>& block) const {
  if (isNil()) return;
  const Ref<NSMutableParagraphStyle> style = make<NSMutableParagraphStyle>();
  if (block) block(style);
  addAttribute(NSParagraphStyleAttributeName, style, {0, length()});
}

void NSMutableAttributedString::setFont(const Ref<NSFont>& font) const {
  addAttribute(NSFontAttributeName, font, {0, length()});
}

void NSMutableAttributedString::setColor(const Ref<NSColor>& color) const {
  addAttribute(NSForegroundColorAttributeName, color, {0, length()});
}
