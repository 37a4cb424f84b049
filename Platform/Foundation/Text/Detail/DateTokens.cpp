#include "Platform/Foundation/Text/Detail/DateTokens.h"

#include <unicode/uchar.h>

#include <algorithm>

namespace orv::detail {

namespace {
constexpr Token kEnd;
constexpr size_t kWidestGap = 24;
constexpr size_t kWindow = 2048;

bool isIdeograph(char16_t c) { return (c >= 0x2E80 && c <= 0x9FFF) || (c >= 0xAC00 && c <= 0xD7A3); }

// Marks of writing direction, which Arabic and Hebrew texts put between the parts of a date.
bool isInvisible(char16_t c) { return c == 0x200E || c == 0x200F || c == 0x061C || c == 0x200B || c == 0xFEFF; }

bool isBlank(char16_t c) {
  return c == ' ' || c == '\t' || c == 0xA0 || (c > 0x7F && u_charType(c) == U_SPACE_SEPARATOR);
}

bool isBreak(char16_t c) { return (c < 0x20 && c != '\t') || c == 0x85 || c == 0x2028 || c == 0x2029; }

bool isAsciiLetter(char16_t c) { return static_cast<unsigned>((c | 0x20) - 'a') < 26; }

bool isUpper(char16_t c) { return c < 0x80 ? c >= 'A' && c <= 'Z' : u_isupper(c) != 0; }
}  // namespace

int digitValue(char16_t c) noexcept {
  if (c < 0x80) return c >= '0' && c <= '9' ? c - '0' : -1;
  return u_charType(c) == U_DECIMAL_DIGIT_NUMBER ? u_charDigitValue(c) : -1;
}

// Ideographs and Hangul syllables stand for themselves: words of those scripts are not set apart by blanks.
bool isLetter(char16_t c) noexcept {
  if (c < 0x80) return isAsciiLetter(c);
  if (isIdeograph(c)) return false;
  return u_isalpha(c) || (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0;
}

const Token& DateTokens::at(ptrdiff_t offset) const noexcept {
  const ptrdiff_t index = static_cast<ptrdiff_t>(cursor_) + offset;
  if (index < 0 || offset > static_cast<ptrdiff_t>(kReach)) return kEnd;
  return static_cast<size_t>(index) < window_.size() ? window_[static_cast<size_t>(index)] : kEnd;
}

void DateTokens::advance(size_t count) {
  cursor_ = std::min(cursor_ + count, window_.size());
  if (window_.size() - cursor_ <= kReach) fill();
}

void DateTokens::fill() {
  if (position_ >= text_.length) return;
  const size_t kept = std::min(cursor_, kContext);
  window_.erase(window_.begin(), window_.begin() + static_cast<ptrdiff_t>(cursor_ - kept));
  cursor_ = kept;
  window_.reserve(std::min(kWindow, window_.size() + (text_.length - position_)));
  while (window_.size() < kWindow) {
    Token token = next();
    if (token.kind == TokenKind::End) break;
    window_.push_back(token);
  }
}

Gap DateTokens::skipBlanks() {
  Gap gap = position_ == 0 ? Gap::Break : Gap::None;
  const size_t from = position_;
  for (; position_ < text_.length; ++position_) {
    const char16_t c = text_[position_];
    if (isInvisible(c)) continue;
    if (isBreak(c))
      gap = Gap::Break;
    else if (!isBlank(c))
      break;
    else if (gap == Gap::None)
      gap = Gap::Blank;
  }
  return position_ - from > kWidestGap ? Gap::Break : gap;
}

Token DateTokens::next() {
  Token token;
  token.gap = skipBlanks();
  if (position_ >= text_.length) return token;
  token.start = position_;
  const char16_t c = text_[position_];
  if (digitValue(c) >= 0) {
    readNumber(token);
  } else if (isLetter(c)) {
    readWord(token);
  } else {
    token.kind = TokenKind::Sign;
    token.sign = c;
    ++position_;
  }
  token.end = position_;
  return token;
}

void DateTokens::readNumber(Token& token) {
  token.kind = TokenKind::Number;
  for (; position_ < text_.length; ++position_) {
    const int digit = digitValue(text_[position_]);
    if (digit < 0) return;
    if (token.digits < 18) token.value = token.value * 10 + digit;
    if (token.digits < UINT32_MAX) ++token.digits;
  }
}

void DateTokens::readWord(Token& token) {
  token.kind = TokenKind::Word;
  char16_t word[DateLexicon::kLongestWord];
  size_t length = 0;
  token.capital = isUpper(text_[position_]);
  token.allCapital = true;
  for (; position_ < text_.length; ++position_) {
    const char16_t c = text_[position_];
    if (!isLetter(c)) break;
    token.allCapital = token.allCapital && isUpper(c);
    if (length < std::size(word)) word[length] = c;
    ++length;
  }
  if (length <= std::size(word)) token.word = lexicon_.find({word, length});
}

}  // namespace orv::detail
