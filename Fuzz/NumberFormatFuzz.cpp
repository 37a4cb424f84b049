// Number formats: a pattern is taken as it is or refused; what is written with digits enough reads back as the
// same number; reading any text does no harm.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Foundation/Text/NSNumberFormatter.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"

using namespace orv;

namespace {

void require(bool law) {
  if (!law) std::abort();
}

Ref<NSNumberFormatter> formatter() {
  const auto made = make<NSNumberFormatter>();
  made->setLocale(NSLocale::localeWithLocaleIdentifier("en_US"));
  made->setGeneratesDecimalNumbers(true);
  return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t middle = std::min(input.find('\n'), input.size());
  const NSString pattern = NSString::stringWithLossyUTF8(input.substr(0, middle));
  const NSString text = NSString::stringWithLossyUTF8(input.substr(std::min(middle + 1, input.size())));

  const auto format = formatter();
  const NSString before = format->positiveFormat();
  format->setPositiveFormat(pattern);
  require(format->positiveFormat() == pattern || format->positiveFormat() == before);
  format->numberFromString(text);

  const NSDecimalNumber number = NSDecimalNumber::decimalNumberWithString(text);
  format->setMaximumFractionDigits(200);
  const bool ownNegative = !format->negativeFormat().isNil() && number.doubleValue() < 0;
  const NSString written = format->stringFromNumber(number);
  require(written.length() > 0);
  if (!ownNegative) require(format->numberFromString(written) == NSNumber(number));
  return 0;
}
