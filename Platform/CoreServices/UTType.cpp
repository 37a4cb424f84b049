#include "Platform/CoreServices/UTType.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Embedded/uti_table.h"
#include "Platform/CoreServices/Detail/DynamicType.h"
#include "Platform/CoreServices/Detail/ItemType.h"
#include "Platform/CoreServices/Detail/MediaTypes.h"
#include "Platform/Foundation/Values/Detail/KeptText.h"

using namespace orv;
using detail::DynamicType;
using detail::MediaTypes;

const NSString kUTTagClassFilenameExtension = orv::detail::keptText("public.filename-extension");
const NSString kUTTagClassMIMEType = orv::detail::keptText("public.mime-type");
const NSString kUTTagClassOSType = orv::detail::keptText("com.apple.ostype");
const NSString kUTTagClassNSPboardType = orv::detail::keptText("com.apple.nspboard-type");

const NSString kUTTypeData = orv::detail::keptText("public.data");
const NSString kUTTypeURL = orv::detail::keptText("public.url");
const NSString kUTTypeFileURL = orv::detail::keptText("public.file-url");
const NSString kUTTypeJPEG = orv::detail::keptText("public.jpeg");
const NSString kUTTypePNG = orv::detail::keptText("public.png");
const NSString kUTTypeTIFF = orv::detail::keptText("public.tiff");
const NSString kUTTypeImage = orv::detail::keptText("public.image");
const NSString kUTTypeVideo = orv::detail::keptText("public.video");
const NSString kUTTypeAudio = orv::detail::keptText("public.audio");
const NSString kUTTypePDF = orv::detail::keptText("com.adobe.pdf");
const NSString kUTTypeFolder = orv::detail::keptText("public.folder");

namespace {

constexpr char kExtensionClass = '1';
constexpr char kMIMEClass = '3';

std::string folded(const NSString& text) { return text.lowercaseString().utf8(); }

// The key of a tag class, 0 for an unknown one.
char keyOfClass(const NSString& tagClass) {
  static constexpr std::pair<std::string_view, char> kKeys[] = {{"public.filename-extension", kExtensionClass},
                                                                {"com.apple.ostype", '2'},
                                                                {"public.mime-type", kMIMEClass},
                                                                {"com.apple.nspboard-type", '4'},
                                                                {"public.url-scheme", '5'}};
  const std::string name = folded(tagClass);
  for (const auto& [text, key] : kKeys)
    if (text == name) return key;
  return 0;
}

std::vector<std::string> pieces(std::string_view list, char separator) {
  std::vector<std::string> result;
  while (!list.empty()) {
    const size_t end = std::min(list.find(separator), list.size());
    result.emplace_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return result;
}

std::string lowerASCII(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
  return text;
}

struct Type {
  std::string identifier;
  std::vector<std::string> extensions;
  std::vector<std::string> mimeTypes;
  std::vector<std::string> parents;  // lower-case

  const std::vector<std::string>& tags(char tagClass) const {
    static const std::vector<std::string> none;
    return tagClass == kExtensionClass ? extensions : tagClass == kMIMEClass ? mimeTypes : none;
  }
};

// The built-in table with its look-ups. Immutable once made.
class Registry {
 public:
  static const Registry& shared() {
    static const Registry& registry = *new Registry;  // never torn down: others may ask while the process ends
    return registry;
  }

  const Type* find(const std::string& identifier) const {
    const auto found = byIdentifier_.find(identifier);
    return found == byIdentifier_.end() ? nullptr : &types_[found->second];
  }

  // The first claimant of a tag that conforms to the parent; any claimant when the parent is empty.
  const Type* claimant(char tagClass, const std::string& tag, const std::string& parent) const {
    const auto& index = tagClass == kExtensionClass ? byExtension_ : byMIMEType_;
    const auto found = index.find(tag);
    if (found == index.end()) return nullptr;
    for (const size_t i : found->second)
      if (parent.empty() || conforms(lowerASCII(types_[i].identifier), parent)) return &types_[i];
    return nullptr;
  }

  bool conforms(const std::string& identifier, const std::string& parent) const {
    std::vector<std::string> open{identifier};
    for (size_t i = 0; i < open.size(); ++i) {
      if (open[i] == parent) return true;
      for (std::string& next : parentsOf(open[i]))
        if (std::find(open.begin(), open.end(), next) == open.end()) open.push_back(std::move(next));
    }
    return false;
  }

  const std::vector<Type>& types() const { return types_; }

 private:
  using Index = std::unordered_map<std::string, std::vector<size_t>>;

  Registry() {
    for (const std::string& line : pieces(detail::uti_table, '\n'))
      if (!line.empty()) add(line);
  }

  void add(std::string_view line) {
    std::string columns[4];
    for (std::string& column : columns) {
      const size_t end = std::min(line.find('\t'), line.size());
      column = line.substr(0, end);
      line.remove_prefix(std::min(end + 1, line.size()));
    }
    const size_t place = types_.size();
    types_.push_back(
        {columns[0], pieces(columns[1], ','), pieces(columns[2], ','), pieces(lowerASCII(columns[3]), ',')});
    byIdentifier_.try_emplace(lowerASCII(columns[0]), place);
    for (const std::string& tag : types_.back().extensions) byExtension_[lowerASCII(tag)].push_back(place);
    for (const std::string& tag : types_.back().mimeTypes) byMIMEType_[lowerASCII(tag)].push_back(place);
  }

  std::vector<std::string> parentsOf(const std::string& identifier) const;

  std::vector<Type> types_;
  std::unordered_map<std::string, size_t> byIdentifier_;
  Index byExtension_;
  Index byMIMEType_;
};

// What the machine knows beyond the table. Read when a type outside of it is first asked for.
const MediaTypes& machine() {
  static const MediaTypes& types = *new MediaTypes(MediaTypes::readFrom(MediaTypes::standardFolders()));
  return types;
}

// The machine's media type of a dynamic type, "" where it has none.
std::string mimeTypeOf(const DynamicType& type) {
  if (type.tagClass == kMIMEClass) return type.tag;
  return type.tagClass == kExtensionClass ? machine().typeForExtension(type.tag) : std::string();
}

// The table's type for a kind of media: "image/x" is an image whatever x is.
std::string typeOfFamily(std::string_view mimeType) {
  if (mimeType.starts_with("image/")) return "public.image";
  if (mimeType.starts_with("video/")) return "public.movie";
  if (mimeType.starts_with("audio/")) return "public.audio";
  return {};
}

std::vector<std::string> Registry::parentsOf(const std::string& identifier) const {
  if (const Type* type = find(identifier)) return type->parents;
  const auto dynamic = DynamicType::fromIdentifier(identifier);
  if (!dynamic) return {};
  std::vector<std::string> parents{dynamic->parent};
  const std::string mimeType = mimeTypeOf(*dynamic);
  if (mimeType.empty()) return parents;
  for (const std::string& ancestor : machine().ancestry(mimeType))
    if (const Type* type = claimant(kMIMEClass, ancestor, {})) parents.push_back(lowerASCII(type->identifier));
  if (std::string family = typeOfFamily(mimeType); !family.empty()) parents.push_back(std::move(family));
  return parents;
}

// A tag in the form in which it is looked up and kept; the types of other systems keep their case.
std::string normalized(const NSString& tag, char tagClass) {
  return tagClass == kExtensionClass || tagClass == kMIMEClass ? folded(tag) : tag.utf8();
}

NSString tagOfDynamic(const DynamicType& type, char tagClass) {
  if (type.tagClass == tagClass) return type.tag;
  std::string tag;
  if (tagClass == kMIMEClass) tag = mimeTypeOf(type);
  if (tagClass == kExtensionClass && type.tagClass == kMIMEClass) tag = machine().extensionForType(type.tag);
  return tag.empty() ? NSString() : NSString(tag);
}

}  // namespace

NSString UTTypeCreatePreferredIdentifierForTag(const NSString& tagClass, const NSString& tag,
                                               const NSString& conformingTo) {
  const char key = keyOfClass(tagClass);
  if (key == 0 || tag.isNil()) return nil;
  const Registry& registry = Registry::shared();
  const std::string name = normalized(tag, key);
  const std::string parent = folded(conformingTo);
  if (key == kExtensionClass || key == kMIMEClass) {
    const Type* type = registry.claimant(key, name, parent);
    // The machine may know the media type under a name that the table has.
    if (!type && key == kMIMEClass) type = registry.claimant(key, machine().canonical(name), parent);
    if (type) return type->identifier;
  }
  return DynamicType{parent.empty() ? "public.data" : parent, key, name}.identifier();
}

NSString UTTypeCopyPreferredTagWithClass(const NSString& identifier, const NSString& tagClass) {
  const char key = keyOfClass(tagClass);
  if (key == 0 || identifier.isNil()) return nil;
  const std::string name = folded(identifier);
  if (const Type* type = Registry::shared().find(name)) {
    const std::vector<std::string>& tags = type->tags(key);
    return tags.empty() ? NSString() : NSString(tags.front());
  }
  const auto dynamic = DynamicType::fromIdentifier(name);
  return dynamic ? tagOfDynamic(*dynamic, key) : NSString();
}

bool UTTypeConformsTo(const NSString& identifier, const NSString& parent) {
  if (identifier.isNil() || parent.isNil()) return false;
  return Registry::shared().conforms(folded(identifier), folded(parent));
}

std::vector<std::string> orv::detail::extensionsOfTypesBelow(std::string_view identifier) {
  const Registry& registry = Registry::shared();
  const std::string parent = lowerASCII(std::string(identifier));
  std::vector<std::string> extensions;
  for (const Type& type : registry.types()) {
    if (type.extensions.empty() || !registry.conforms(lowerASCII(type.identifier), parent)) continue;
    for (const std::string& extension : type.extensions) extensions.push_back(lowerASCII(extension));
  }
  return extensions;
}
