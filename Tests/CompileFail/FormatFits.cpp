// Formats that fit their arguments: this file compiles.

#include "Tests/CompileFail/Say.h"

using namespace orv;

enum class Level { High = 3 };

void allThatFits(const NSString& text, const Value& value, const Ref<NSObject>& object,
                 const NSException& exception) {
  say("nothing");
  say("100%%");
  say("%@ %@ %@ %@ %@", text, value, object, exception, nil);
  say("%d %ld %u %x %c %C", 1, int64_t{2}, 3u, Level::High, 'c', u'x');
  say("%f %.3e %g %a", 1.0, 2.0f, 3.0, 4.0);
  say("%s %s %s", "literal", std::string("bytes"), std::string_view("view"));
  say("%S %p", u"units", static_cast<const void*>(nullptr));
  say("%*d %.*f", 5, 1, 2, 1.5);
  say("%2$@ has %1$d", 1, text);
}
