#include "Platform/Foundation/Text/Detail/NumberPattern.h"

#include <algorithm>

namespace orv::detail {
namespace {

class Parser {
 public:
  explicit Parser(std::u16string_view text) : text_(text) {}

  std::optional<NumberPattern> pattern() {
    if (!affix(result_.prefix) || !number() || !affix(result_.suffix)) return {};
    if (at_ < text_.size() && text_[at_] != ';') return {};
    if (at_ < text_.size()) result_.negative = text_.substr(at_ + 1);
    return result_;
  }

 private:
  bool more() const { return at_ < text_.size(); }
  bool take(char16_t unit) {
    if (!more() || text_[at_] != unit) return false;
    ++at_;
    return true;
  }
  size_t count(char16_t unit) {
    size_t n = 0;
    while (take(unit)) ++n;
    return n;
  }

  // The text up to the quote without a second one behind it; two quotes are one, also on their own.
  bool quoted(std::u16string& out) {
    ++at_;
    if (take('\'')) {
      out += u'\'';
      return true;
    }
    while (more()) {
      const char16_t unit = text_[at_++];
      if (unit == '\'' && !take('\'')) return true;
      out += unit;
    }
    return false;
  }

  bool affix(std::u16string& out) {
    constexpr std::u16string_view kUnread =
        u"*@\u00A4\u2030";  // padding, significant digits, currency, per mille
    while (more() && std::u16string_view(u"#0,.;").find(text_[at_]) == std::u16string_view::npos) {
      const char16_t unit = text_[at_];
      if (kUnread.find(unit) != std::u16string_view::npos || (unit >= '1' && unit <= '9')) return false;
      if (unit == '\'') {
        if (!quoted(out)) return false;
        continue;
      }
      result_.percent |= unit == '%';
      out += unit;
      ++at_;
    }
    return true;
  }

  bool number() {
    size_t optional = 0;
    if (!integer(optional)) return false;
    const bool period = take('.');
    if (period) {
      result_.minimumFraction = count('0');
      result_.maximumFraction = result_.minimumFraction + count('#');
    }
    // "#.##" shows a zero before the separator, ".##" at least one digit behind it.
    const size_t places = optional + result_.minimumInteger;
    if (places > 0 && result_.minimumInteger + result_.minimumFraction == 0) result_.minimumInteger = 1;
    if (places == 0) result_.minimumFraction = std::max<size_t>(result_.minimumFraction, 1);
    result_.showsSeparator = period && result_.maximumFraction == 0;
    const bool exponent = more() && text_[at_] == 'E';
    return !exponent && places + result_.maximumFraction > 0 &&
           std::max(result_.minimumInteger, result_.maximumFraction) <= NumberPattern::kMostDigits;
  }

  // Digits that may be left out, then those that may not; the commas between them tell the groups.
  bool integer(size_t& optional) {
    size_t run = 0;
    bool grouped = false;
    for (; more(); ++at_) {
      const char16_t unit = text_[at_];
      if (unit == ',') {
        if (grouped) result_.upperGroup = run;
        grouped = true;
        run = 0;
        continue;
      }
      if (unit != '#' && unit != '0') break;
      if (unit == '#' && result_.minimumInteger > 0) return false;
      ++(unit == '0' ? result_.minimumInteger : optional);
      ++run;
    }
    if (!grouped) return true;
    result_.group = run;
    if (result_.upperGroup == 0) result_.upperGroup = run;
    return run > 0;
  }

  std::u16string_view text_;
  size_t at_ = 0;
  NumberPattern result_;
};

// What was cut off, beside half a unit of the last digit kept.
enum class Rest { Nothing, BelowHalf, Half, AboveHalf };

Rest restOf(std::string_view cut, bool farBelow) {
  const bool anything = cut.find_first_not_of('0') != std::string_view::npos;
  if (!anything) return Rest::Nothing;
  if (farBelow || cut[0] < '5') return Rest::BelowHalf;
  return cut[0] == '5' && cut.find_first_not_of('0', 1) == std::string_view::npos ? Rest::Half
                                                                                  : Rest::AboveHalf;
}

bool roundsAway(NumberRounding mode, Rest rest, bool negative, bool odd) {
  if (rest == Rest::Nothing) return false;
  switch (mode) {
    case NumberRounding::Ceiling: return !negative;
    case NumberRounding::Floor: return negative;
    case NumberRounding::Down: return false;
    case NumberRounding::Up: return true;
    case NumberRounding::HalfEven: return rest == Rest::AboveHalf || (rest == Rest::Half && odd);
    case NumberRounding::HalfDown: return rest == Rest::AboveHalf;
    case NumberRounding::HalfUp: return rest != Rest::BelowHalf;
  }
  return false;
}

}  // namespace

std::optional<NumberPattern> NumberPattern::parse(std::u16string_view text) { return Parser(text).pattern(); }

void NumberDigits::round(size_t fraction, NumberRounding mode) {
  const int kept = point + static_cast<int>(fraction);
  if (kept >= static_cast<int>(digits.size())) return;
  const size_t keep = static_cast<size_t>(std::max(kept, 0));
  const Rest rest = restOf(std::string_view(digits).substr(keep), kept < 0);
  digits.resize(keep);
  const bool away = roundsAway(mode, rest, negative, keep > 0 && (digits.back() - '0') % 2 != 0);
  if (kept < 0) point = -static_cast<int>(fraction);
  if (!away) return;
  while (!digits.empty() && digits.back() == '9') digits.pop_back();
  if (!digits.empty()) {
    ++digits.back();
    return;
  }
  digits = "1";
  ++point;
}

std::string NumberDigits::integerPart() const {
  if (point <= 0) return {};
  const auto length = static_cast<size_t>(point);
  std::string part = digits.substr(0, length);
  part.append(length - part.size(), '0');
  part.erase(0, std::min(part.find_first_not_of('0'), part.size()));
  return part;
}

std::string NumberDigits::fractionPart(size_t most) const {
  std::string part;
  if (point < 0) part.assign(std::min(static_cast<size_t>(-point), most), '0');
  const auto begin = static_cast<size_t>(std::max(point, 0));
  if (begin < digits.size()) part += digits.substr(begin, most - part.size());
  part.erase(part.find_last_not_of('0') + 1);
  return part;
}

}  // namespace orv::detail
