// Text, the type of text arguments.
// A value type: any number of threads may read one.
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

// A view of UTF-8 text that may be absent. nullptr, nullopt, an empty optional and a null
// `const char*` make an absent Text. "" makes one that is present and empty.
//
// A Text does not own its characters. Use it as an argument, never as a member.
class Text {
 public:
  // NOLINTBEGIN(google-explicit-constructor): becoming a Text unasked is what it is for.
  constexpr Text() noexcept = default;
  constexpr Text(std::nullptr_t) noexcept {}
  constexpr Text(std::nullopt_t) noexcept {}
  constexpr Text(const char* text) noexcept
      : view_(text != nullptr ? std::string_view(text) : std::string_view()) {}
  constexpr Text(std::string_view text) noexcept : view_(text.data() != nullptr ? text : "") {}
  Text(const std::string& text) noexcept : view_(text) {}
  constexpr Text(const std::optional<std::string_view>& text) noexcept
      : view_(text ? Text(*text).view_ : std::string_view()) {}
  Text(const std::optional<std::string>& text) noexcept
      : view_(text ? std::string_view(*text) : std::string_view()) {}

  // A std::filesystem::path, without making every caller include <filesystem>.
  template <typename Path>
  requires requires(const Path& path) {
    { path.native() } -> std::same_as<const std::string&>;
  }
  Text(const Path& path) noexcept : view_(path.native()) {}
  // NOLINTEND(google-explicit-constructor)

  // False for an absent text.
  [[nodiscard]] constexpr bool present() const noexcept { return view_.data() != nullptr; }

  // The characters; an empty view for an absent text.
  [[nodiscard]] constexpr std::string_view orEmpty() const noexcept { return view_; }

  // A copy that outlives the view; nullopt for an absent text.
  [[nodiscard]] std::optional<std::string> copy() const {
    return present() ? std::optional<std::string>(view_) : std::nullopt;
  }

 private:
  // Without a place for an absent text. Two words travel in registers: a third one that says so
  // would send them all through memory.
  std::string_view view_;
};

}  // namespace brisvane
