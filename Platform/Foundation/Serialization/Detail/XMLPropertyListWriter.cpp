#include "Platform/Foundation/Serialization/Detail/XMLPropertyListWriter.h"

#include <locale.h>
#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "Platform/Foundation/Serialization/Detail/BinaryPropertyListWriter.h"

// libplist turns the binary form into XML: that form keeps all that its interface to nodes would lose, the sign
// of integers and the range of dates.
namespace orv::detail {
namespace {

struct FreeNode {
  void operator()(void* node) const noexcept { plist_free(node); }
};
struct FreeText {
  void operator()(char* text) const noexcept { std::free(text); }
};
using Node = std::unique_ptr<void, FreeNode>;
using Text = std::unique_ptr<char, FreeText>;

// Numbers have a point on this thread while it lives, whatever the program's locale.
class PlainNumbers {
 public:
  PlainNumbers() : before_(::uselocale(plain())) {}
  PlainNumbers(const PlainNumbers&) = delete;
  PlainNumbers& operator=(const PlainNumbers&) = delete;
  ~PlainNumbers() { ::uselocale(before_); }

 private:
  static locale_t plain() {
    static const locale_t kept = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return kept;
  }
  const locale_t before_;
};

constexpr size_t kLongestText = UINT32_MAX;  // what lengths are counted in there

Node nodeOfBinary(const NSData& binary) {
  plist_t node = nullptr;
  if (binary.length() <= kLongestText)
    plist_from_bin(binary.view().data(), static_cast<uint32_t>(binary.length()), &node);
  return Node(node);
}

// Years before 1000 come without their zeros. A tag's bracket stands nowhere else in the text.
std::string withFullYears(std::string_view xml) {
  constexpr std::string_view kTag = "<date>";
  std::string out;
  for (size_t at = 0;;) {
    const size_t tag = xml.find(kTag, at);
    const size_t year = tag == std::string_view::npos ? xml.size() : tag + kTag.size();
    out.append(xml.substr(at, year - at));
    if (year == xml.size()) return out;
    const size_t digits = xml.find('-', year) - year;
    if (digits < 4) out.append(4 - digits, '0');
    at = year;
  }
}

// A carriage return of a text would be read as a line feed.
std::string withEscapedReturns(std::string xml) {
  for (size_t at = xml.find('\r'); at != std::string::npos; at = xml.find('\r', at))
    xml.replace(at, 1, "&#13;");
  return xml;
}

}  // namespace

NSData writeXMLPropertyList(const Value& tree) {
  const PlainNumbers guard;
  const Node node = nodeOfBinary(writeBinaryPropertyList(tree, DateForm::WholeSeconds));
  char* text = nullptr;
  uint32_t length = 0;
  if (node) plist_to_xml(node.get(), &text, &length);
  const Text xml(text);
  return xml ? NSData::dataWithBytes(withEscapedReturns(withFullYears({text, length}))) : NSData();
}

}  // namespace orv::detail
