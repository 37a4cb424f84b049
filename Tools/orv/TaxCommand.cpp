#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Text/NSNumberFormatter.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Tools/orv/Command.h"
#include "Tools/orv/Output.h"

namespace tool {
namespace {

struct TaxOptions {
  std::string rate;
  std::string given;  // what the amounts are
  bool comma = false;
  unsigned digits = 2;
  bool json = false;
  std::vector<std::string> amounts;
};

struct Amounts {
  NSDecimalNumber net, tax, gross;
};

// Digits with a sign and a separator, of which the decimal number takes every one; not-a-number for other
// texts.
NSDecimalNumber amountOf(std::string text, bool comma) {
  const char separator = comma ? ',' : '.';
  const std::string_view number = std::string_view(text).substr(text.find_first_of("+-") == 0 ? 1 : 0);
  const size_t separators = static_cast<size_t>(std::count(number.begin(), number.end(), separator));
  const bool plain = number.find_first_not_of(std::string("0123456789") + separator) == std::string_view::npos;
  constexpr size_t kMostDigits = 38;
  if (!plain || separators > 1 || number.size() <= separators || number.size() > kMostDigits)
    return NSDecimalNumber::notANumber();
  std::replace(text.begin(), text.end(), ',', '.');
  return NSDecimalNumber::decimalNumberWithString(text);
}

bool isNumber(const NSDecimalNumber& n) { return n != NSDecimalNumber::notANumber(); }

// The amount given stays as it is, the tax is rounded, and the third is their sum or difference: net and tax
// are always the gross amount. For a tax given it is the net amount that is rounded.
Amounts amountsFor(const NSDecimalNumber& amount, const NSDecimalNumber& rate, const TaxOptions& options) {
  const auto rounded = [&](const NSDecimalNumber& n) {
    return n.decimalNumberByRoundingToDecimalPlaces(options.digits);
  };
  const NSDecimalNumber given = rounded(amount);
  if (options.given == "net") {
    const NSDecimalNumber tax = rounded(given.taxFromNetWithRate(rate));
    return {given, tax, given.decimalNumberByAdding(tax)};
  }
  if (options.given == "gross") {
    const NSDecimalNumber tax = rounded(given.taxFromGrossWithRate(rate));
    return {given.decimalNumberBySubtracting(tax), tax, given};
  }
  const NSDecimalNumber net = rounded(given.netFromTaxWithRate(rate));
  return {net, given, net.decimalNumberByAdding(given)};
}

class AmountText {
 public:
  explicit AmountText(const TaxOptions& options) : formatter_(orv::make<NSNumberFormatter>()) {
    formatter_->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    formatter_->setNumberStyle(NSNumberFormatterDecimalStyle);
    formatter_->setPositiveFormat("0");
    formatter_->setMinimumFractionDigits(options.digits);
    formatter_->setDecimalSeparator(options.comma ? "," : ".");
    formatter_->setMinusSign("-");
  }
  std::string operator()(const NSDecimalNumber& n) const { return bytesOf(formatter_->stringFromNumber(n)); }

 private:
  orv::Ref<NSNumberFormatter> formatter_;
};

void addRow(Table& table, const std::string& text, const NSDecimalNumber& rate, const TaxOptions& options,
            Output& output) {
  const NSDecimalNumber amount = amountOf(text, options.comma);
  if (!isNumber(amount)) return output.fail(text, "not an amount");
  const AmountText shown(options);
  const Amounts amounts = amountsFor(amount, rate, options);
  table.add({shown(amounts.net), shown(amounts.tax), shown(amounts.gross)});
}

void runTax(const TaxOptions& options, Output& output) {
  const NSDecimalNumber rate = amountOf(options.rate, options.comma);
  if (!isNumber(rate)) return output.fail(options.rate, "not a rate in percent");
  const bool noNet = options.given == "tax" && !rate.isTrue();
  const bool noTax = options.given == "gross" && rate == NSDecimalNumber::decimalNumberWithInteger(-100, 0);
  if (noNet || noTax) return output.fail(options.rate, "no amount follows from this rate");
  using Align = Table::Align;
  Table table({{"net", Align::Right}, {"tax", Align::Right}, {"gross", Align::Right}});
  for (const std::string& text : options.amounts) addRow(table, text, rate, options, output);
  table.print(output, options.json);
}

}  // namespace

void addTaxCommand(CLI::App& program, Output& output) {
  auto options = std::make_shared<TaxOptions>();
  CLI::App* command = program.add_subcommand(
      "tax", "Sales tax: net, tax and gross of each amount, rounded so that they add up");
  command->add_option("--rate", options->rate, "The rate in percent, as 19 or 8.5")->required();
  command->add_flag("--comma", options->comma, "Read and print amounts with a decimal comma");
  command->add_option("--digits", options->digits, "Digits behind the separator, 0 to 20")
      ->check(CLI::Range(0, 20))
      ->capture_default_str();
  command->add_flag("--json", options->json, "Print a JSON array");
  command->add_option("WHAT", options->given, "What the amounts are: net, gross or tax")
      ->required()
      ->check(CLI::IsMember({"net", "gross", "tax"}));
  command->add_option("AMOUNT", options->amounts, "The amounts; write -- before negative ones")->required();
  command->callback([options, &output] { runTax(*options, output); });
}

}  // namespace tool
