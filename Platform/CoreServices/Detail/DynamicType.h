#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/Export.h"

// Dynamic type identifiers: "dyn.a" and, in base 32, a text such as "?0=6:1=foo", the type below public.data
// with the extension "foo". The one-character keys are those of the tag classes; frequent parents have codes,
// too.
namespace orv::detail {

struct DynamicType {
  static constexpr std::string_view kPrefix = "dyn.a";

  std::string parent;  // an identifier
  char tagClass = 0;   // '1' extension, '2' OSType, '3' media type, '4' pasteboard type, '5' URL scheme
  std::string tag;

  // All of it in one identifier.
  ORV_EXPORT std::string identifier() const;
  // Nothing when the text is no dynamic identifier.
  ORV_EXPORT static std::optional<DynamicType> fromIdentifier(std::string_view identifier);
};

}  // namespace orv::detail
