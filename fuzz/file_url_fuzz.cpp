// File URLs, both ways.
#include "brisvane/host/formats/file_url.h"

#include <algorithm>

#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  const auto path = host::pathOfFileUrl(input);
  require(!path || path->find('\0') == std::string::npos, "a path has no U+0000");
  if (path && path->starts_with('/')) {
    require(host::pathOfFileUrl(host::fileUrl(*path)) == path, "the URL of a path leads to it");
  }
  if (input.find('\0') != std::string_view::npos) return;
  const std::string absolute = "/" + std::string(input);
  const std::string url = host::fileUrl(absolute);
  require(host::pathOfFileUrl(url) == absolute, "the URL of a path leads to it");
  require(std::ranges::all_of(url, [](char c) { return c > ' ' && c < 0x7F; }),
          "a URL is printable ASCII");
}

}  // namespace brisvane::fuzz
