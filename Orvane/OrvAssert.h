#pragma once

#include "Orvane/OrvLog.h"

// Soft assertions and the exception guard. A failed assertion logs one Warning with the text of the condition,
// the place and the call stack, and the program goes on with the next statement: nothing raises, nothing
// stops. They are active in every build. A condition that holds costs its own evaluation.
//
//   ORV_ASSERT(text.length() > 0);
//   ORV_ASSERT_MSG(item.isKindOf<NSData>(), "Item %@ is no data", key);
//   ORV_GUARD(delegate->finished());          // an exception becomes a Warning

namespace orv::detail {

// Reports a failed condition; a nil message is the default sentence.
[[gnu::cold]] ORV_EXPORT void reportAssertion(const char* file, const char* function, long line,
                                              const char* condition, const NSString& message);

// Reports what the exception guard caught: "Exception %@" at Warning.
[[gnu::cold]] ORV_EXPORT void reportException(const char* file, const char* function, long line,
                                              const std::exception& exception);

template <class... Args>
[[gnu::cold]] void reportAssertionMessage(const char* file, const char* function, long line,
                                          const char* condition,
                                          FormatString<std::type_identity_t<Args>...> format,
                                          const Args&... args) {
  if (logAccepts(OrvLogLevelWarning))
    reportAssertion(file, function, line, condition, NSString::stringWithFormat(format.string(), args...));
}

}  // namespace orv::detail

// The plain form with a condition text of its own, and the message form with one.
#define ORV_ASSERT_TEXT(cond, conditionText) \
  (static_cast<bool>(cond)                   \
       ? static_cast<void>(0)                \
       : ::orv::detail::reportAssertion(__FILE__, __func__, __LINE__, conditionText, ::orv::nil))
#define ORV_ASSERT_TEXT_MSG(cond, conditionText, format, ...)                               \
  (static_cast<bool>(cond)                                                                  \
       ? static_cast<void>(0)                                                               \
       : ::orv::detail::reportAssertionMessage(__FILE__, __func__, __LINE__, conditionText, \
                                               format __VA_OPT__(, ) __VA_ARGS__))

// The plain form: a condition alone, reported as "!!(condition)".
#define ORV_ASSERT(cond) ORV_ASSERT_TEXT(cond, "!!(" #cond ")")

// The message form: a condition, reported as written, a format and its arguments.
#define ORV_ASSERT_MSG(cond, format, ...) ORV_ASSERT_TEXT_MSG(cond, #cond, format __VA_OPT__(, ) __VA_ARGS__)

// The class form: the value is a Class.
#define ORV_ASSERT_CLASS(value, Class)                   \
  ORV_ASSERT_TEXT(::orv::Value(value).isKindOf<Class>(), \
                  "!!(([(" #value ") isKindOfClass:[" #Class " class]]))")

// Runs on the main thread, reported at the place of the call. Needs Orvane/OrvQueue.h.
#define ORV_ASSERT_MAIN() \
  ORV_ASSERT_TEXT_MSG(::OrvQueue::isMain(), "!!([OrvQueue isMain])", "Code running outside of main thread.")

// Runs statements; an exception derived from std::exception is logged at Warning and the program continues
// after the guard. Anything else thrown is foreign and passes.
#define ORV_GUARD(...)                                                         \
  do {                                                                         \
    try {                                                                      \
      __VA_ARGS__;                                                             \
    } catch (const std::exception& orvCaught) {                                \
      ::orv::detail::reportException(__FILE__, __func__, __LINE__, orvCaught); \
    }                                                                          \
  } while (false)
