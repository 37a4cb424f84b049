// Decimal amounts beside Boost's decimal floating point: single operations, and an invoice of 10,000 lines.

#include <benchmark/benchmark.h>

#include <array>
#include <boost/multiprecision/cpp_dec_float.hpp>
#include <cstdio>
#include <cstdlib>
#include <ios>
#include <string>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Values/NSDecimalNumber.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

namespace mp = boost::multiprecision;
using Peer = mp::number<mp::cpp_dec_float<38>, mp::et_off>;

constexpr size_t kAmounts = 256;  // a power of two
constexpr size_t kLines = 10000;

NSDecimalNumber ours(const std::string& text) { return NSDecimalNumber::decimalNumberWithString(text); }

Peer peerTwoDigits(const Peer& amount) { return mp::round(amount * 100) / 100; }

std::string peerText(const Peer& amount) { return amount.str(2, std::ios::fixed); }

// Prices with cents, rates with one decimal at most, and amounts with four, the same for both.
struct Amounts {
  std::array<std::string, kAmounts> text;
  std::array<NSString, kAmounts> string;
  std::array<NSDecimalNumber, kAmounts> price, rate, long4;
  std::array<Peer, kAmounts> peerPrice, peerRate, peerLong4;

  Amounts() {
    uint32_t seed = 12345;
    const auto next = [&seed](uint32_t limit) { return (seed = seed * 1664525 + 1013904223) / 7 % limit; };
    for (size_t i = 0; i < kAmounts; ++i) {
      char buffer[64];
      std::snprintf(buffer, sizeof buffer, "%u.%02u", next(10000), next(100));
      text[i] = buffer;
      string[i] = NSString(text[i]);
      const std::string rateText = std::to_string(3 + next(25)) + (next(4) == 0 ? ".5" : "");
      const std::string longText = text[i] + std::to_string(10 + next(90));
      price[i] = ours(text[i]), rate[i] = ours(rateText), long4[i] = ours(longText);
      peerPrice[i] = Peer(text[i]), peerRate[i] = Peer(rateText), peerLong4[i] = Peer(longText);
    }
  }
};

const Amounts& amounts() {
  static const Amounts all;
  return all;
}

void require(bool equal, const char* what) {
  if (equal) return;
  std::fprintf(stderr, "DecimalBench: %s differs from its peer\n", what);
  std::exit(1);
}

// Both sides give the same amounts; of quotients, which Boost cuts and does not round, the first 36 digits.
void checkOnce() {
  const Amounts& a = amounts();
  const auto same = [](const NSDecimalNumber& n, const Peer& peer) {
    const Peer difference = mp::abs(Peer(n.description().utf8()) - peer);
    return difference <= mp::abs(peer) * Peer("1e-36");
  };
  for (size_t i = 0; i < kAmounts; ++i) {
    const size_t j = (i + 1) % kAmounts;
    require(same(a.price[i].decimalNumberByAdding(a.price[j]), a.peerPrice[i] + a.peerPrice[j]), "a sum");
    require(same(a.price[i].decimalNumberByMultiplyingBy(a.rate[i]), a.peerPrice[i] * a.peerRate[i]),
            "a product");
    require(same(a.price[i].decimalNumberByDividingBy(a.rate[i]), a.peerPrice[i] / a.peerRate[i]),
            "a quotient");
    require(same(a.long4[i].twoDigits(), peerTwoDigits(a.peerLong4[i])), "a rounded amount");
    require(a.price[i].stringValueWithPeriod().utf8() == peerText(a.peerPrice[i]), "a text");
  }
}

template <class Operation>
void each(benchmark::State& state, Operation operation) {
  static const bool checked = (checkOnce(), true);
  benchmark::DoNotOptimize(checked);
  const Amounts& a = amounts();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(operation(a, i, (i + 1) % kAmounts));
    i = (i + 1) % kAmounts;
  }
}

// ---- An invoice: quantity times price, tax, gross, each rounded to cents and printed; and the sum

size_t invoiceOurs(const Amounts& a) {
  size_t length = 0;
  NSDecimalNumber total = NSDecimalNumber::zero();
  for (size_t line = 0; line < kLines; ++line) {
    const size_t i = line % kAmounts;
    const NSDecimalNumber quantity =
        NSDecimalNumber::decimalNumberWithInteger(static_cast<long>(line % 20 + 1), 0);
    const NSDecimalNumber net = a.long4[i].decimalNumberByMultiplyingBy(quantity).twoDigits();
    const NSDecimalNumber tax = net.taxFromNetWithRate(a.rate[i]).twoDigits();
    const NSDecimalNumber gross = net.decimalNumberByAdding(tax);
    length += net.stringValueWithPeriod().length() + tax.stringValueWithPeriod().length() +
              gross.stringValueWithPeriod().length();
    total = total.decimalNumberByAdding(gross);
  }
  return length + total.stringValueWithPeriod().length();
}

size_t invoicePeer(const Amounts& a) {
  size_t length = 0;
  Peer total = 0;
  for (size_t line = 0; line < kLines; ++line) {
    const size_t i = line % kAmounts;
    const Peer net = peerTwoDigits(a.peerLong4[i] * Peer(static_cast<long>(line % 20 + 1)));
    const Peer tax = peerTwoDigits(net * a.peerRate[i] / 100);
    const Peer gross = net + tax;
    length += peerText(net).size() + peerText(tax).size() + peerText(gross).size();
    total += gross;
  }
  return length + peerText(total).size();
}

template <size_t (*Invoice)(const Amounts&)>
void invoice(benchmark::State& state) {
  require(invoiceOurs(amounts()) == invoicePeer(amounts()), "the invoice");
  for (auto _ : state) benchmark::DoNotOptimize(Invoice(amounts()));
}

const bool added = [] {
  using State = benchmark::State;
  const auto add = [](const char* name, auto operation) {
    benchmark::RegisterBenchmark(name, [operation](State& state) { each(state, operation); });
  };
  using A = const Amounts&;
  add("decimal/add/ours", [](A a, size_t i, size_t j) { return a.price[i].decimalNumberByAdding(a.price[j]); });
  add("decimal/add/boost", [](A a, size_t i, size_t j) -> Peer { return a.peerPrice[i] + a.peerPrice[j]; });
  add("decimal/multiply/ours",
      [](A a, size_t i, size_t) { return a.price[i].decimalNumberByMultiplyingBy(a.rate[i]); });
  add("decimal/multiply/boost", [](A a, size_t i, size_t) -> Peer { return a.peerPrice[i] * a.peerRate[i]; });
  add("decimal/divide/ours",
      [](A a, size_t i, size_t) { return a.price[i].decimalNumberByDividingBy(a.rate[i]); });
  add("decimal/divide/boost", [](A a, size_t i, size_t) -> Peer { return a.peerPrice[i] / a.peerRate[i]; });
  add("decimal/round/ours", [](A a, size_t i, size_t) { return a.long4[i].twoDigits(); });
  add("decimal/round/boost", [](A a, size_t i, size_t) { return peerTwoDigits(a.peerLong4[i]); });
  add("decimal/parse/ours",
      [](A a, size_t i, size_t) { return NSDecimalNumber::decimalNumberWithString(a.string[i]); });
  add("decimal/parse/boost", [](A a, size_t i, size_t) { return Peer(a.text[i]); });
  add("decimal/text/ours", [](A a, size_t i, size_t) { return a.price[i].stringValueWithPeriod(); });
  add("decimal/text/boost", [](A a, size_t i, size_t) { return peerText(a.peerPrice[i]); });
  benchmark::RegisterBenchmark("money/invoice/ours", invoice<invoiceOurs>);
  benchmark::RegisterBenchmark("money/invoice/boost", invoice<invoicePeer>);
  return true;
}();

}  // namespace

ORVANE_BENCHMARK_MAIN()
