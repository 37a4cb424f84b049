#pragma once

#include <string>
#include <string_view>

#include "Platform/Foundation/Values/NSURL.h"

// The text operations behind NSURL, on encoded (ASCII) URL texts and on paths as bytes.
namespace orv::detail {

// A URL from a text known to come out of this library's own encoding; nil when it does not parse.
NSURL makeURL(std::string_view text, const Value& base);

// The URL of a text "file://" with an encoded absolute path, without reading it again.
NSURL makeFileURL(std::string_view text);

// Path bytes as URL text: letters, digits and -._~!$&'()*+,=:@/ stay, all others become %XX.
std::string encodedPath(std::string_view bytes);
void appendEncodedPath(std::string& text, std::string_view bytes);
// %XX as the byte it stands for.
std::string decodedBytes(std::string_view text);

// Removes "." and ".." segments (RFC 3986, section 5.2.4).
std::string withoutDotSegments(std::string_view path);

// The URL with another path. A path that would be read as something else (a scheme, an authority) is
// guarded by "./" or "/.".
NSURL withPath(const NSURL& url, std::string_view path);

}  // namespace orv::detail
