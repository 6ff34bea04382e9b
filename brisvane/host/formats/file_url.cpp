#include "brisvane/host/formats/file_url.h"

#include <filesystem>
#include <new>
#include <system_error>

#include "brisvane/types/hex.h"

namespace brisvane::host {
namespace {

constexpr std::string_view kScheme = "file://";
constexpr std::string_view kLocalHost = "localhost/";

bool standsForItself(char character) noexcept {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("-._~/").find(character) != std::string_view::npos;
}

}  // namespace

std::string fileUrl(std::string_view path) {
  std::error_code failed;
  const std::string absolute = std::filesystem::absolute(path, failed).string();
  if (failed == std::errc::not_enough_memory) throw std::bad_alloc();
  std::string url(kScheme);
  for (const char character : failed ? std::string(path) : absolute) {
    if (standsForItself(character)) {
      url += character;
    } else {
      url += '%';
      appendHex(url, static_cast<std::uint8_t>(character));
    }
  }
  return url;
}

std::optional<std::string> pathOfFileUrl(std::string_view url) {
  if (!url.starts_with(kScheme)) return std::nullopt;
  url.remove_prefix(kScheme.size());
  if (url.starts_with(kLocalHost)) url.remove_prefix(kLocalHost.size() - 1);
  if (!url.empty() && !url.starts_with('/')) return std::nullopt;
  std::string path;
  for (std::size_t at = 0; at < url.size(); ++at) {
    if (url[at] != '%') {
      path += url[at];
      continue;
    }
    if (at + 2 >= url.size()) return std::nullopt;
    const auto high = hexValue(url[++at]);
    const auto low = hexValue(url[++at]);
    if (!high || !low || (*high | *low) == 0) return std::nullopt;
    path += static_cast<char>(*high << 4U | *low);
  }
  return path.find('\0') == std::string::npos ? std::optional(std::move(path)) : std::nullopt;
}

}  // namespace brisvane::host
