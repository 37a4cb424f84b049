#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv::detail {

// A JSON text as UTF-8, from bytes of any Unicode encoding: by its byte-order mark, else by where the zero
// bytes among the first four are (RFC 4627, section 3). UTF-8 is not copied; the bytes outlive the text.
class JSONText {
 public:
  explicit JSONText(std::string_view bytes);
  JSONText(const JSONText&) = delete;
  JSONText& operator=(const JSONText&) = delete;

  bool valid() const noexcept { return valid_; }
  // Without the byte-order mark.
  std::string_view utf8() const noexcept { return view_; }
  // The byte of the original at which a byte of the UTF-8 stands.
  size_t originalOffset(size_t offset) const noexcept;

 private:
  std::string decoded_;
  std::string_view view_;
  size_t mark_ = 0;   // bytes of the byte-order mark
  size_t width_ = 1;  // bytes per code unit
  bool valid_ = true;
};

// Line and column of a byte, counted from 1; columns count characters.
struct TextPlace {
  size_t line = 1;
  size_t column = 1;
};
TextPlace placeInText(std::string_view utf8, size_t offset) noexcept;

}  // namespace orv::detail
