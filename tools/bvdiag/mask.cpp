#include "mask.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include <brisvane/types/guid.h>
#include <brisvane/types/hex.h>
#include <brisvane/types/unicode.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

bool isDigit(char character) { return character >= '0' && character <= '9'; }
bool isUpper(char character) { return character >= 'A' && character <= 'Z'; }
bool isLower(char character) { return character >= 'a' && character <= 'z'; }

char masked(char character) {
  if (isDigit(character)) return '0';
  return isUpper(character) || isLower(character) ? 'X' : character;
}

std::string maskedText(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), masked);
  return text;
}

std::string upperCase(std::string text) {
  for (char& character : text)
    character = isLower(character) ? static_cast<char>(character - 'a' + 'A') : character;
  return text;
}

std::string lowerCase(std::string text) {
  for (char& character : text)
    character = isUpper(character) ? static_cast<char>(character - 'A' + 'a') : character;
  return text;
}

bool isPrintable(const std::string& text) {
  return bv::isAscii(text) && std::none_of(text.begin(), text.end(), [](char character) {
           return character != '\0' && bv::isControl(static_cast<unsigned char>(character));
         });
}

// The digits after the maker's three octets, which identify one adapter, become 0.
std::string maskedHardwareAddress(std::string address) {
  constexpr int kMakersDigits = 6;
  int digits = 0;
  for (char& character : address) {
    if (bv::hexValue(character) && ++digits > kMakersDigits) character = '0';
  }
  return address;
}

constexpr std::size_t kHardwareAddressLength = 17;

// Six octets between colons or hyphens.
bool isHardwareAddress(std::string_view text) {
  if (text.size() != kHardwareAddressLength) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isSeparator = i % 3 == 2;
    if (isSeparator ? text[i] != ':' && text[i] != '-' : !bv::hexValue(text[i])) return false;
  }
  return true;
}

// Masks whatever has a telling shape, wherever it stands.
void maskShapes(std::string& text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (bv::parseGuid(std::string_view(text).substr(at, bv::kGuidTextLength))) {
      text.replace(at, bv::kGuidTextLength, maskedText(text.substr(at, bv::kGuidTextLength)));
    } else if (isHardwareAddress(std::string_view(text).substr(at, kHardwareAddressLength))) {
      text.replace(at, kHardwareAddressLength,
                   maskedHardwareAddress(text.substr(at, kHardwareAddressLength)));
    }
  }
}

}  // namespace

bool Mask::hides(std::string_view name) const {
  if (isOff_) return false;
  const std::string lower = lowerCase(std::string(name));
  constexpr std::string_view kWords[] = {"serial",  "uuid",     "seed", "mac-address", "macaddr",
                                         "ethaddr", "deviceid", "ecid", "unique"};
  return std::any_of(std::begin(kWords), std::end(kWords), [&lower](std::string_view word) {
    return lower.find(word) != std::string::npos;
  });
}

bv::Object Mask::hide(const bv::Object& value) {
  if (const std::string* const text = value.ifText()) {
    learn(*text);
    return maskedText(*text);
  }
  const bv::Data* const bytes = value.ifData();
  if (bytes == nullptr) return bv::Object(0);
  const std::string text(bytes->begin(), bytes->end());
  if (!isPrintable(text)) return bv::Data(bytes->size(), 0);
  learn(text.substr(0, text.find('\0')));
  const std::string hidden = maskedText(text);
  return bv::Data(hidden.begin(), hidden.end());
}

std::string Mask::hideHardwareAddress(const std::string& address) {
  if (isOff_) return address;
  std::string digits;
  std::copy_if(address.begin(), address.end(), std::back_inserter(digits),
               [](char character) { return bv::hexValue(character).has_value(); });
  for (const std::string& spelling : {address, digits}) {
    learn(lowerCase(spelling));
    learn(upperCase(spelling));
  }
  return maskedHardwareAddress(address);
}

bv::Object Mask::clean(const bv::Object& value) const {
  if (isOff_) return value;
  if (const std::string* const text = value.ifText()) return cleanText(*text);
  const bv::Data* const bytes = value.ifData();
  if (bytes == nullptr) return value;
  const std::string text = cleanText({bytes->begin(), bytes->end()});
  return bv::Data(text.begin(), text.end());
}

std::string Mask::cleanText(std::string text) const {
  if (isOff_) return text;
  for (const std::string& hidden : learned_) {
    for (std::size_t at = text.find(hidden); at != std::string::npos;
         at = text.find(hidden, at + hidden.size())) {
      text.replace(at, hidden.size(), maskedText(hidden));
    }
  }
  maskShapes(text);
  // Words as in "root=PARTUUID=738a4d67-02": the name is what stands ahead of the last "=".
  constexpr std::string_view kBlanks = " \t\n";
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
    // Within the word: a search in all that stands ahead would take a time that grows with the
    // square of a long text.
    const std::size_t name = std::string_view(text).substr(begin, end - begin).rfind('=');
    const std::size_t equals = begin + (name != std::string_view::npos ? name : 0);
    if (equals > begin && hides(text.substr(begin, equals - begin))) {
      text.replace(equals, end - equals, maskedText(text.substr(equals, end - equals)));
    }
    begin = end + 1;
  }
  return text;
}

void Mask::learn(const std::string& text) {
  // What is too short would be found anywhere; what has no digit is no number of a machine, but
  // what a maker has left there, which may be a word that occurs elsewhere.
  constexpr std::size_t kShortest = 4;
  if (isOff_ || text.size() < kShortest || std::none_of(text.begin(), text.end(), isDigit)) return;
  const auto isShorter = [&text](const std::string& other) { return other.size() < text.size(); };
  learned_.insert(std::find_if(learned_.begin(), learned_.end(), isShorter), text);
}

}  // namespace bvdiag
