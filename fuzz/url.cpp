#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "QVFoundation/platform/files/NSURL.h"
#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

void requireRoundTrip(const NSURL& url) {
  const auto copy = NSURL::URLWithString(url.absoluteString());
  require(copy == url && copy->path() == url.path() && copy->scheme() == url.scheme());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string path = "/" + text;
  const NSURL file = NSURL::fileURLWithPath(path);
  requireRoundTrip(file);
  require(file.path() + (path.size() > 1 && file.hasDirectoryPath() ? "/" : "") == path);
  if (const auto url = NSURL::URLWithString(text)) {
    requireRoundTrip(*url);
    requireRoundTrip(url->URLByDeletingLastPathComponent());
    const NSURL longer = url->URLByAppendingPathComponent(text);
    requireRoundTrip(longer);
    require(longer.scheme() == url->scheme());
  }
  return 0;
}
