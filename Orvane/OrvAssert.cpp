#include "Orvane/OrvAssert.h"

#include "Platform/Foundation/Threads/NSThread.h"

namespace orv::detail {

void reportAssertion(const char* file, const char* function, long line, const char* condition,
                     const NSString& message) {
  if (!logAccepts(OrvLogLevelWarning)) return;
  try {
    const NSString text =
        message.isNil() ? "An important assertion did fail. Please send this error." : message;
    const NSString fileName = NSString::stringWithLossyUTF8(file ? file : "").lastPathComponent();
    OrvLog::sharedObject()->logLevelFormat(OrvLogLevelWarning, file, function, line, nil,
                                           "%@\n\n\tExpr:  %s\n\tFile:  <%@:%d>\n\tFunc:  %s\n\tStack: %@",
                                           text, condition, fileName, line, function,
                                           NSThread::callStackSymbols());
  } catch (const std::exception& exception) {
    reportException(file, function, line, exception);
  }
}

void reportException(const char* file, const char* function, long line, const std::exception& exception) {
  OrvLog::sharedObject()->logLevelFormat(OrvLogLevelWarning, file, function, line, nil, "Exception %@",
                                         describeException(exception));
}

}  // namespace orv::detail
