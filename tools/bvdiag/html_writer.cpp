#include "html_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include <brisvane/types/hex.h>
#include <brisvane/types/unicode.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct Range {
  char32_t first;
  char32_t last;
};

// Characters that are not seen, or look like a space: those of the properties
// Default_Ignorable_Code_Point and White_Space, the interlinear annotations, the blank of Braille,
// and what is no character (The Unicode Standard, 15.0). Control characters stand elsewhere.
constexpr std::array<Range, 29> kUnseen{
    {{0xA0, 0xA0},        {0xAD, 0xAD},       {0x34F, 0x34F},     {0x61C, 0x61C},
     {0x115F, 0x1160},    {0x1680, 0x1680},   {0x17B4, 0x17B5},   {0x180B, 0x180F},
     {0x2000, 0x200F},    {0x2028, 0x202F},   {0x205F, 0x206F},   {0x2800, 0x2800},
     {0x3000, 0x3000},    {0x3164, 0x3164},   {0xFDD0, 0xFDEF},   {0xFE00, 0xFE0F},
     {0xFEFF, 0xFEFF},    {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},   {0xFFFE, 0xFFFF},
     {0x1BCA0, 0x1BCA3},  {0x1D173, 0x1D17A}, {0x1FFFE, 0x1FFFF}, {0x2FFFE, 0x2FFFF},
     {0x3FFFE, 0x3FFFF},  {0xE0000, 0xE0FFF}, {0xEFFFE, 0xEFFFF}, {0xFFFFE, 0xFFFFF},
     {0x10FFFE, 0x10FFFF}}};

constexpr std::array<std::pair<char32_t, std::string_view>, 8> kNames{{{0x00, "NUL"},
                                                                       {0x07, "BEL"},
                                                                       {0x08, "BS"},
                                                                       {0x09, "TAB"},
                                                                       {0x0A, "LF"},
                                                                       {0x0D, "CR"},
                                                                       {0x1B, "ESC"},
                                                                       {0x7F, "DEL"}}};

bool isUnseen(char32_t character) {
  const auto range =
      std::lower_bound(kUnseen.begin(), kUnseen.end(), character,
                       [](const Range& one, char32_t wanted) { return one.last < wanted; });
  return bv::isControl(character) || (range != kUnseen.end() && range->first <= character);
}

std::string codeOfByte(char byte) {
  std::string code = "0x";
  bv::appendLowerHex(code, static_cast<std::uint8_t>(byte));
  return code;
}

// The code that stands for the first character of the text; empty when it stands for itself.
std::string codeOfFirst(std::string_view text, const bv::CodePoint& first) {
  return first.valid ? codeOf(first.value) : codeOfByte(text.front());
}

void appendEscaped(std::string& page, std::string_view text) {
  for (const char character : text) {
    switch (character) {
      case '&':
        page += "&amp;";
        break;
      case '<':
        page += "&lt;";
        break;
      case '>':
        page += "&gt;";
        break;
      case '"':
        page += "&quot;";
        break;
      default:
        page += character;
    }
  }
}

// The beginning of the text that is shown; it ends between two characters.
std::string_view shownPart(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  std::string_view part = text.substr(0, most);
  constexpr unsigned kContinuation = 0x80;
  for (int i = 0; i < 3 && (static_cast<unsigned char>(text[part.size()]) & 0xC0U) == kContinuation;
       ++i) {
    part.remove_suffix(1);
  }
  return part;
}

}  // namespace

std::string codeOf(char32_t character) {
  if (!isUnseen(character)) return {};
  for (const auto& [named, name] : kNames) {
    if (named == character) return std::string(name);
  }
  std::string digits;
  for (char32_t rest = character; rest != 0 || digits.size() < 4; rest >>= 4U)
    digits += "0123456789ABCDEF"[rest & 0xFU];
  digits += "+U";
  return {digits.rbegin(), digits.rend()};
}

HtmlWriter::Element::~Element() { writer_.page_.append("</").append(tag_).append(">"); }

HtmlWriter::HtmlWriter() : page_("<!DOCTYPE html>\n") {}

void HtmlWriter::open(std::string_view tag, Attributes attributes) {
  page_.append("<").append(tag);
  for (const Attribute& attribute : attributes) {
    page_.append(" ").append(attribute.name).append("=\"");
    appendEscaped(page_, attribute.value);
    page_ += '"';
  }
}

HtmlWriter::Element HtmlWriter::in(std::string_view tag, Attributes attributes) {
  open(tag, attributes);
  page_ += '>';
  return {*this, tag};
}

void HtmlWriter::empty(std::string_view tag, Attributes attributes) {
  open(tag, attributes);
  page_ += "/>";
}

void HtmlWriter::element(std::string_view tag, Attributes attributes, std::string_view text) {
  const Element element = in(tag, attributes);
  appendEscaped(page_, text);
}

void HtmlWriter::label(std::string_view tag, Attributes attributes, std::string_view text) {
  const Element element = in(tag, attributes);
  for (std::string_view rest = shownPart(text, kMostOfLine); !rest.empty();) {
    const bv::CodePoint next = bv::firstCodePoint(rest);
    const std::string code = codeOfFirst(rest, next);
    if (code.empty()) {
      appendEscaped(page_, rest.substr(0, next.length));
    } else {
      page_.append("‹").append(code).append("›");
    }
    rest.remove_prefix(next.length);
  }
}

void HtmlWriter::style(std::string_view sheet) {
  const Element element = in("style");
  page_ += sheet;
}

void HtmlWriter::text(std::string_view text) { appendEscaped(page_, text); }

void HtmlWriter::foreign(std::string_view text, std::size_t most) {
  const Element isolation = in("bdi");
  appendForeign(text, most, false);
}

void HtmlWriter::foreignLines(std::string_view text) {
  const Element isolation = in("bdi");
  appendForeign(text, kMostOfLines, true);
}

void HtmlWriter::appendForeign(std::string_view text, std::size_t most, bool hasLines) {
  const std::string_view shown = shownPart(text, most);
  for (std::string_view rest = shown; !rest.empty();) {
    const bv::CodePoint next = bv::firstCodePoint(rest);
    const std::string code = codeOfFirst(rest, next);
    if (code.empty()) {
      appendEscaped(page_, rest.substr(0, next.length));
    } else {
      element("span", {{"class", "code"}}, code);
    }
    if (hasLines && next.value == U'\n') page_ += '\n';
    rest.remove_prefix(next.length);
  }
  if (shown.size() == text.size()) return;
  const std::size_t more = text.size() - shown.size();
  element("span", {{"class", "more"}},
          " … and " + std::to_string(more) + (more == 1 ? " byte more" : " bytes more"));
}

}  // namespace bvdiag
