// Mask, which hides what identifies one machine among others of its model. A Mask belongs to one
// thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <brisvane/types/object.h>

namespace bvdiag {

// Serial numbers, UUIDs, seeds and the like are known by their names. Each of their letters becomes
// X, and each digit 0. Bytes that are no text become zero bytes, and a number becomes 0.
//
// A value that was hidden once is hidden wherever it occurs. So is what has the form of a UUID or
// of a hardware address, and what follows such a name and "=".
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
