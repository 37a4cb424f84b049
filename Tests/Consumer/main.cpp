// Uses the installed library as an application does; any surprise is a failing exit status.

#include <Platform/Foundation/Values/NSString.h>
#include <Platform/Foundation/Values/NSURL.h>

#include <iostream>

using namespace orv;

int main() {
  const NSURL folder = NSURL::fileURLWithPath("/tmp/my notes", true);
  const NSURL file = folder.URLByAppendingPathComponent("a.txt", false);
  const Value value = file.path();
  std::cout << file.absoluteString().utf8() << '\n';
  return file.absoluteString() == "file:///tmp/my%20notes/a.txt" && value.isKindOf<NSString>() &&
                 value.as<NSString>().length() == 19
             ? 0
             : 1;
}
