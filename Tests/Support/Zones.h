#pragma once

#include <stdlib.h>

#include <string>

// The zones whose habits differ most: none, European, American and half-hour summer time, a half-hour offset, a
// day that was left out, and changes at midnight.
inline constexpr const char* kZones[] = {
    "UTC",          "Europe/Berlin",    "America/New_York", "Asia/Kolkata", "Australia/Lord_Howe",
    "Pacific/Apia", "America/Sao_Paulo"};
inline constexpr const char* kLocales[] = {"en_US", "de_DE", "ar_EG", "th_TH", "fa_IR", "tr_TR"};

// One variable of the environment, set while this lives.
class Setting {
 public:
  Setting(const char* name, const char* value) : name_(name) {
    const char* old = ::getenv(name);
    wasSet_ = old != nullptr;
    if (old) old_ = old;
    ::setenv(name, value, 1);
  }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;
  ~Setting() { wasSet_ ? ::setenv(name_, old_.c_str(), 1) : ::unsetenv(name_); }

 private:
  const char* const name_;
  bool wasSet_;
  std::string old_;
};
