#include "Platform/Foundation/Files/URLFetch.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "Platform/Foundation/Files/Descriptor.h"
#include "Platform/Foundation/Values/NSString.h"

using namespace orv;
using detail::Descriptor;
using detail::FetchLimits;

namespace {

// Not blocking, so that a pipe without a writer is refused and not waited for.
std::optional<std::string> contentsOfFile(const std::string& path, const FetchLimits& limits) {
  if (path.find('\0') != std::string::npos) return std::nullopt;  // the system would read less of the name
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (file.number() < 0 || ::fstat(file.number(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  std::string contents;
  char buffer[65536];
  for (;;) {
    const ssize_t count = ::read(file.number(), buffer, sizeof buffer);
    if (count == 0) return contents;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || contents.size() + static_cast<size_t>(count) > limits.bytes) return std::nullopt;
    contents.append(buffer, static_cast<size_t>(count));
  }
}

struct Download {
  std::string contents;
  uint64_t most = 0;
};

// Anything but the count given ends the transfer.
size_t take(const char* bytes, size_t size, size_t count, void* context) {
  auto& download = *static_cast<Download*>(context);
  if (download.contents.size() + size * count > download.most) return 0;
  download.contents.append(bytes, size * count);
  return size * count;
}

void set(CURL* handle, const std::string& url, const FetchLimits& limits, Download& download) {
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(handle, CURLOPT_MAXREDIRS, static_cast<long>(limits.redirects));
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(limits.time.count()));
  curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.bytes));
  curl_easy_setopt(handle, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);  // signals would reach the application's other threads
  curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(handle, CURLOPT_USERAGENT, "Orvane/1.0");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, take);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &download);
}

std::optional<std::string> download(const std::string& url, const FetchLimits& limits) {
  static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (ready != CURLE_OK) return std::nullopt;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), curl_easy_cleanup);
  if (!handle) return std::nullopt;
  Download result{{}, limits.bytes};
  set(handle.get(), url, limits, result);
  if (curl_easy_perform(handle.get()) != CURLE_OK) return std::nullopt;
  return std::move(result.contents);
}

}  // namespace

std::optional<std::string> detail::contentsOfURL(const NSURL& url, const FetchLimits& limits) {
  if (url.isFileURL()) {
    const NSString host = url.host().lowercaseString();
    const bool here = host.length() == 0 || host == "localhost";
    return here ? contentsOfFile(url.path().fileSystemRepresentation(), limits) : std::nullopt;
  }
  const NSString scheme = url.scheme().lowercaseString();
  const bool web = scheme == "http" || scheme == "https";
  return web ? download(url.absoluteString().utf8(), limits) : std::nullopt;
}
