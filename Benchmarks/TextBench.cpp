// String utilities beside Qt's, the edit distance beside the plain algorithm, and plain Latin beside the bare
// transforms.

#include <benchmark/benchmark.h>
#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <QString>
#include <QStringList>
#include <QUrl>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Benchmarks/Support.h"
#include "Platform/Foundation/Values/NSArray.h"
#include "Platform/Foundation/Values/NSString.h"

namespace {

void require(bool law, const std::string& what) {
  if (law) return;
  std::fprintf(stderr, "TextBench: the results of %s differ\n", what.c_str());
  std::exit(1);
}

QString qt(const NSString& text) { return QString::fromStdString(text.utf8()); }
NSString ns(const QString& text) { return text.toStdString(); }

// ---- texts

// Words, now and then some mark-up, at the ends and between them some surplus blanks.
std::string prose(size_t length) {
  static constexpr std::array kWords = {"the",   "invoice",    "of",   "Miller & Sons", "is",  "<paid>",
                                        "since", "\"March\"",  "7%",   "in/total",      "and", "more",
                                        "a",     "customer's", "order"};
  std::mt19937 random(1);
  std::string text = " ";
  while (text.size() < length) {
    text += kWords[random() % kWords.size()];
    text += random() % 8 ? " " : "  \n";
  }
  text.resize(length - 1);
  return text + ' ';
}

std::string western(size_t length) {
  static constexpr std::array kWords = {"Müller",   "große",  "Überraschung", "à",   "la",
                                        "crème",    "brûlée", "mañana",       "und", "die",
                                        "Ångström", "naïve",  "façade",       "in",  "København"};
  std::mt19937 random(1);
  std::string text;
  while (text.size() < length) text += std::string(kWords[random() % kWords.size()]) + ' ';
  return text;
}

struct Sample {
  const char* name;
  std::string text;
};

const std::vector<Sample>& samples() {
  static const std::vector<Sample> samples = {{"20", " Smith & <b>Sons</b> "}, {"1M", prose(1'000'000)}};
  return samples;
}

// ---- ours beside another

template <class Ours, class Theirs>
void compare(const std::string& name, const char* peer, Ours ours, Theirs theirs) {
  benchmark::RegisterBenchmark(("text/" + name + "/ours").c_str(), [ours](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(ours());
  });
  benchmark::RegisterBenchmark(("text/" + name + "/" + peer).c_str(), [theirs](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(theirs());
  });
}

template <class Ours, class Theirs>
void compareWithQt(const std::string& name, Ours ours, Theirs theirs) {
  for (const Sample& sample : samples()) {
    const NSString a = sample.text;
    const QString b = qt(a);
    require(ours(a) == ns(theirs(b)), name);
    compare(
        name + "-" + sample.name, "qt", [=] { return ours(a); }, [=] { return theirs(b); });
  }
}

QString sanitisedByQt(QString name) {
  for (const char c : std::string_view("/\\?%*|\"<>()[]{}")) name.remove(QLatin1Char(c));
  return name.trimmed().left(250);
}

QStringList wordsByQt(const QString& text) {
  // Qt splits at one character or by an expression; this is its shortest way to words.
  return text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

void addSplit() {
  for (const Sample& sample : samples()) {
    const NSString a = sample.text;
    const QString b = qt(a);
    require(a.split().componentsJoinedByString(" ") == ns(wordsByQt(b).join(QLatin1Char(' '))), "split");
    compare(
        std::string("split-") + sample.name, "qt", [=] { return a.split(); }, [=] { return wordsByQt(b); });
    compare(
        std::string("split-by-") + sample.name, "qt", [=] { return a.splitBy(" "); },
        [=] { return b.split(QLatin1Char(' ')); });
  }
}

// ---- edit distance

int64_t plainDistance(const std::u16string& a, const std::u16string& b) {
  std::vector<int64_t> row(b.size() + 1), next(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 0; i < a.size(); ++i) {
    next[0] = static_cast<int64_t>(i) + 1;
    for (size_t j = 0; j < b.size(); ++j)
      next[j + 1] = std::min({row[j + 1] + 1, next[j] + 1, row[j] + (a[i] == b[j] ? 0 : 1)});
    row.swap(next);
  }
  return row.back();
}

std::u16string randomText(size_t length, unsigned seed, char16_t first) {
  std::mt19937 random(seed);
  std::u16string text(length, 0);
  for (char16_t& unit : text) unit = static_cast<char16_t>(first + random() % 26);
  return text;
}

void addDistance(const char* name, char16_t first, size_t length) {
  const std::u16string a = randomText(length, 1, first), b = randomText(length, 2, first);
  const NSString x = a, y = b;
  require(x.computeLevenshteinDistanceWithString(y) == plainDistance(a, b), name);
  compare(
      std::string(name) + "-" + std::to_string(length), "two-rows",
      [=] { return x.computeLevenshteinDistanceWithString(y); }, [=] { return plainDistance(a, b); });
}

// ---- plain Latin

using Steps = std::vector<std::unique_ptr<icu::Transliterator>>;

const Steps& steps() {
  static const Steps& made = *[] {
    auto* steps = new Steps;
    for (const char* id :
         {"Any-Latin",
          "NFD; [[[:Mn:]&[:Diacritic:]]-[:Grapheme_Link:]-[:ccc=0:]-[:ccc=8:]-[\\u0338]] Remove; NFC",
          "NFD; [:Mn:] Remove; NFC"}) {
      UErrorCode status = U_ZERO_ERROR;
      steps->emplace_back(icu::Transliterator::createInstance(id, UTRANS_FORWARD, status));
    }
    return steps;
  }();
  return made;
}

icu::UnicodeString byTransforms(icu::UnicodeString text) {
  for (const auto& step : steps()) step->transliterate(text);
  return text;
}

void addLatin(const std::string& name, const std::string& utf8) {
  const NSString text = utf8;
  const icu::UnicodeString units = icu::UnicodeString::fromUTF8(utf8);
  std::string expected;
  byTransforms(units).toUTF8String(expected);
  require(text.stringByTransformingToPlainLatin().utf8() == expected, name);
  compare(
      "plain-latin-" + name, "icu", [=] { return text.stringByTransformingToPlainLatin(); },
      [=] { return byTransforms(units); });
}

const bool added = [] {
  for (const size_t length : {8, 32, 64, 512, 4096}) addDistance("levenshtein", u'a', length);
  for (const size_t length : {8, 64, 512}) addDistance("levenshtein-cyrillic", u'\u0430', length);
  compareWithQt(
      "strip", [](const NSString& t) { return t.strip(); }, [](const QString& t) { return t.trimmed(); });
  compareWithQt(
      "collapse", [](const NSString& t) { return t.collapse(); },
      [](const QString& t) { return t.simplified(); });
  compareWithQt(
      "sanitise", [](const NSString& t) { return t.stringBySanitizingFileName(); }, sanitisedByQt);
  compareWithQt(
      "escape", [](const NSString& t) { return t.escape(); },
      [](const QString& t) { return t.toHtmlEscaped(); });
  compareWithQt(
      "url-encode", [](const NSString& t) { return t.urlEncode(); },
      [](const QString& t) { return QString::fromLatin1(QUrl::toPercentEncoding(t, "!$&'()*,;=~")); });
  compareWithQt(
      "replace", [](const NSString& t) { return t.replace("o", "00"); },
      [](QString t) { return t.replace(QLatin1String("o"), QLatin1String("00")); });
  addSplit();
  addLatin("ascii", "The quick brown fox jumps over the lazy dog");
  addLatin("western", western(60));
  addLatin("western-10k", western(10'000));
  return true;
}();

}  // namespace

ORVANE_BENCHMARK_MAIN()
