#include "brisvane/types/error.h"

#include <cstring>
#include <ostream>

#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {

std::string errorText(int number) {
  const char* const text = strerrordesc_np(number);
  return text != nullptr ? std::string(text) : "Unknown error " + std::to_string(number);
}

std::string errorText(std::string_view what, int number) {
  return join({shownPath(what), ": ", errorText(number)});
}

Error::Error(int number, std::string_view what, std::string_view reason) noexcept
    : number_(number) {
  if (what.empty() && reason.empty()) return;
  unlessOutOfMemory([&] {
    words_ = std::make_shared<const Words>(Words{std::string(what), std::string(reason)});
  });
}

Error Error::because(std::string_view reason, std::string_view what) noexcept {
  Error error(0, what, reason);
  if (error.words_ == nullptr) error.number_ = ENOMEM;
  return error;
}

Error Error::of(std::string_view what) const noexcept {
  Error error(number_, what,
              words_ != nullptr ? std::string_view(words_->reason) : std::string_view());
  if (error.words_ == nullptr && number_ == 0) error.number_ = ENOMEM;
  return error;
}

std::string_view Error::what() const noexcept {
  return words_ != nullptr ? std::string_view(words_->what) : std::string_view();
}

std::string Error::reason() const {
  return words_ != nullptr && !words_->reason.empty() ? words_->reason : errorText(number_);
}

std::string Error::text() const {
  return what().empty() ? reason() : join({what(), ": ", reason()});
}

std::ostream& operator<<(std::ostream& stream, const Error& error) {
  return stream << error.text();
}

}  // namespace brisvane
