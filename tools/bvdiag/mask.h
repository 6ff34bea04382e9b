// Mask, which hides what tells one machine from its siblings. A Mask belongs to one thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <brisvane/types/object.h>

namespace bvdiag {

// Serial numbers, UUIDs, seeds and the like, known by their names, are hidden: each letter
// becomes X, each digit 0; bytes that are no text become zero bytes, a number 0. What has
// been hidden once is hidden wherever it occurs, and so is what has the shape of a UUID or
// of a hardware address, and what follows a name of that kind and "=".
class Mask {
 public:
  // One that is off hides nothing.
  explicit Mask(bool isOff) : isOff_(isOff) {}

  // Whether what has this name is to be hidden.
  [[nodiscard]] bool hides(std::string_view name) const;

  // A value that is to be hidden. Its text is learned.
  [[nodiscard]] brisvane::Object hide(const brisvane::Object& value);

  // A hardware address, whose maker's three octets stay. It is learned in each spelling.
  [[nodiscard]] std::string hideHardwareAddress(const std::string& address);

  // A value, or a text, without anything that is to be hidden. REQUIRES that all has been learned.
  [[nodiscard]] brisvane::Object clean(const brisvane::Object& value) const;
  [[nodiscard]] std::string cleanText(std::string text) const;

 private:
  void learn(const std::string& text);

  bool isOff_;
  std::vector<std::string> learned_;  // the longest first
};

}  // namespace bvdiag
