#include "Platform/Foundation/System/NSBundle.h"

#include <pthread.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>

#include "Platform/Foundation/System/NSConsole.h"
#include "Platform/Foundation/System/NSProcessInfo.h"
#include "Platform/Foundation/Values/NSDictionary.h"

using namespace orv;

namespace {

// A reader for one flat JSON object. Every step answers false as soon as the text is not one.
class FlatReader {
 public:
  explicit FlatReader(std::string_view text) : text_(text) {}

  bool read(const NSMutableDictionary& into) {
    if (!take('{')) return false;
    if (take('}')) return atEnd();
    do {
      std::u16string key;
      Value value;
      if (!readString(key) || !take(':') || !readValue(value)) return false;
      if (value) into.setObjectForKey(value, NSString(std::u16string_view(key)));
    } while (take(','));
    return take('}') && atEnd();
  }

 private:
  void skipBlanks() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }
  bool atEnd() {
    skipBlanks();
    return at_ == text_.size();
  }
  bool take(char c) {
    skipBlanks();
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  bool takeWord(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) return false;
    at_ += word.size();
    return true;
  }

  bool readValue(Value& value) {
    skipBlanks();
    if (takeWord("true")) return value = true, true;
    if (takeWord("false")) return value = false, true;
    if (takeWord("null")) return true;
    if (at_ < text_.size() && text_[at_] == '"') {
      std::u16string text;
      if (!readString(text)) return false;
      value = NSString(std::u16string_view(text));
      return true;
    }
    return readNumber(value);
  }

  bool readNumber(Value& value) {
    const size_t end = std::min(text_.find_first_not_of("+-.0123456789eE", at_), text_.size());
    const std::string_view digits = text_.substr(at_, end - at_);
    at_ = end;
    int64_t integer = 0;
    if (readWhole(digits, integer)) return value = integer, true;
    double number = 0;
    return readWhole(digits, number) && (value = number, true);
  }
  template <class T>
  static bool readWhole(std::string_view digits, T& number) {
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return error == std::errc() && end == digits.data() + digits.size() && !digits.empty();
  }

  bool readString(std::u16string& out) {
    if (!take('"')) return false;
    std::string plain;  // bytes not yet decoded
    const auto flush = [&] {
      const NSString text = std::string_view(plain);
      out += text.utf16();
      plain.clear();
      return !text.isNil();
    };
    while (at_ < text_.size()) {
      const char c = text_[at_++];
      if (c == '"') return flush();
      if (static_cast<unsigned char>(c) < 0x20) return false;
      if (c != '\\') {
        plain += c;
      } else if (!flush() || !readEscape(out)) {
        return false;
      }
    }
    return false;
  }

  bool readEscape(std::u16string& out) {
    if (at_ >= text_.size()) return false;
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::u16string_view kUnits = u"\"\\/\b\f\n\r\t";
    const char c = text_[at_++];
    if (const size_t i = kNames.find(c); i != std::string_view::npos) return out += kUnits[i], true;
    if (c != 'u' || at_ + 4 > text_.size()) return false;
    uint16_t unit = 0;
    const char* begin = text_.data() + at_;
    const auto [end, error] = std::from_chars(begin, begin + 4, unit, 16);
    at_ += 4;
    return error == std::errc() && end == begin + 4 && (out += static_cast<char16_t>(unit), true);
  }

  std::string_view text_;
  size_t at_ = 0;
};

std::optional<std::string> contentsOf(const NSString& path) {
  std::ifstream in(path.fileSystemRepresentation(), std::ios::binary);
  if (!in) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(in), {}};
}

NSDictionary readInfoFile(const NSString& executable) {
  const NSString folder = executable.stringByDeletingLastPathComponent();
  const NSString shared =
      folder.stringByDeletingLastPathComponent() + "/share/" + executable.lastPathComponent();
  for (const NSString& place : {folder, shared}) {
    const NSString path = place.stringByAppendingPathComponent("Info.json");
    const std::optional<std::string> bytes = contentsOf(path);
    if (!bytes) continue;
    const NSDictionary info = detail::readFlatJSON(*bytes);
    if (info) return info;
    detail::consoleWrite(NSString("Not a flat JSON object: ") + path);
  }
  return NSDictionary::dictionary();
}

struct State {
  std::mutex mutex;   // guards info; held across every fork, so that a child never finds it taken
  NSDictionary info;  // nil: not read yet

  static inline State* forked = nullptr;
};

// Never destroyed: folder names are asked for until the very end.
State& state() {
  static State* const shared = [] {
    // Whoever holds this lock may ask for the process's name: a fork, which takes the lock made last first,
    // must take the two in that order, too.
    static_cast<void>(NSProcessInfo::processInfo()->processName());
    State::forked = new State;
    ::pthread_atfork([] { State::forked->mutex.lock(); }, [] { State::forked->mutex.unlock(); },
                     [] { State::forked->mutex.unlock(); });
    return State::forked;
  }();
  return *shared;
}

}  // namespace

Ref<NSBundle> NSBundle::mainBundle() {
  static NSBundle* const shared = new NSBundle;
  return Ref<NSBundle>(shared);
}

NSDictionary NSBundle::infoDictionary() const {
  const std::lock_guard lock(state().mutex);
  if (!state().info) state().info = readInfoFile(executablePath());
  return state().info;
}

void NSBundle::setInfoDictionary(const NSDictionary& info) {
  NSDictionary kept = info.copy().as<NSDictionary>();
  const std::lock_guard lock(state().mutex);
  state().info.swap(kept);
}

Value NSBundle::objectForInfoDictionaryKey(const NSString& key) const {
  return infoDictionary().objectForKey(key);
}

NSString NSBundle::bundleIdentifier() const {
  return objectForInfoDictionaryKey("CFBundleIdentifier").as<NSString>();
}

NSString NSBundle::executablePath() const { return NSProcessInfo::processInfo()->executablePath(); }

NSString NSBundle::bundlePath() const { return executablePath().stringByDeletingLastPathComponent(); }

NSString NSBundle::localizedStringForKey(const NSString& key, const NSString& value, const NSString&) const {
  if (value.length() > 0) return value;
  return key.isNil() ? NSString("") : key;
}

NSDictionary orv::detail::readFlatJSON(std::string_view utf8) {
  const NSMutableDictionary result = NSMutableDictionary::dictionary();
  return FlatReader(utf8).read(result) ? result.copy().as<NSDictionary>() : NSDictionary();
}
