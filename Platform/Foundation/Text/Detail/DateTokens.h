#pragma once

#include <cstdint>
#include <vector>

#include "Platform/Foundation/Text/Detail/DateWords.h"
#include "Platform/Foundation/Values/Detail/StringRep.h"

// The words, numbers and signs of a text, as the date grammar reads them.
namespace orv::detail {

enum class TokenKind : uint8_t { End, Number, Word, Sign };

// What lies between a token and the one before it: nothing, blanks, or a line break or wide gap, which no
// date spans.
enum class Gap : uint8_t { None, Blank, Break };

struct Token {
  TokenKind kind = TokenKind::End;
  Gap gap = Gap::Break;
  bool capital = false;     // the word begins with an upper-case letter
  bool allCapital = false;  // and has no other
  char16_t sign = 0;
  uint32_t digits = 0;  // how many; saturates
  int64_t value = 0;    // of numbers with up to 18 digits
  NSUInteger start = 0;
  NSUInteger end = 0;
  const DateWord* word = nullptr;  // what the word means, if anything

  bool isSign(char16_t c) const noexcept { return kind == TokenKind::Sign && sign == c; }
  bool isNumber() const noexcept { return kind == TokenKind::Number; }
  bool glued() const noexcept { return gap == Gap::None; }
  bool is(DateRole role) const noexcept { return word && word->has(role); }
};

// Reads tokens in one pass and keeps a window of them: some behind the cursor, enough before it for the
// longest date. Time and memory do not depend on what the text holds.
class DateTokens {
 public:
  static constexpr size_t kReach = 48;   // tokens ahead of the cursor
  static constexpr size_t kContext = 4;  // tokens behind it

  DateTokens(const Units& text, const DateLexicon& lexicon) : text_(text), lexicon_(lexicon) { fill(); }

  // The token so many places after the cursor, negative ones before it. An End token outside the text and the
  // window.
  const Token& at(ptrdiff_t offset) const noexcept;
  bool atEnd() const noexcept { return at(0).kind == TokenKind::End; }
  void advance(size_t count);
  const Units& text() const noexcept { return text_; }

 private:
  void fill();
  Token next();
  Gap skipBlanks();
  void readNumber(Token& token);
  void readWord(Token& token);

  Units text_;
  const DateLexicon& lexicon_;
  size_t position_ = 0;
  std::vector<Token> window_;
  size_t cursor_ = 0;
};

// The value of a decimal digit of any script, or -1.
int digitValue(char16_t unit) noexcept;
bool isLetter(char16_t unit) noexcept;

}  // namespace orv::detail
