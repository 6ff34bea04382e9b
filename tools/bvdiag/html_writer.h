// HtmlWriter, which writes an HTML page as nested elements. All text is escaped on its way in, so
// that nothing a device or a file says can become markup, be obeyed, or stay unseen.
// An HtmlWriter belongs to one thread.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace bvdiag {

class HtmlWriter {
 public:
  struct Attribute {
    std::string_view name;
    std::string value;
  };
  using Attributes = std::initializer_list<Attribute>;

  // An element that is open for as long as this exists.
  class Element {
   public:
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;
    ~Element();

   private:
    friend class HtmlWriter;
    Element(HtmlWriter& writer, std::string_view tag) : writer_(writer), tag_(tag) {}

    HtmlWriter& writer_;
    std::string_view tag_;
  };

  HtmlWriter();

  // Opens an element. Tags and the names of attributes are those of this program, and outlive it.
  [[nodiscard]] Element in(std::string_view tag, Attributes attributes = {});
  // An element without content, as `meta` and the shapes of SVG.
  void empty(std::string_view tag, Attributes attributes);
  // An element with a text of this program's own.
  void element(std::string_view tag, Attributes attributes, std::string_view text);
  void element(std::string_view tag, std::string_view text) { element(tag, {}, text); }
  // An element whose text is from outside. It has no markup within, as in `title`: codes stand
  // between angle quotation marks. A text of more than kMostOfLine bytes is cut.
  void label(std::string_view tag, Attributes attributes, std::string_view text);
  // A style sheet of this program's own.
  void style(std::string_view sheet);

  // A text of this program's own.
  void text(std::string_view text);
  // A text from outside, in a direction of its own. What would not be seen as it is, control
  // characters, invisible ones, blanks other than a space and bytes that are not UTF-8, stands as
  // its code in an element of class "code". Of a longer text the first `most` bytes are shown, and
  // how many follow.
  void foreign(std::string_view text, std::size_t most = kMostOfLine);
  // The same over several lines, for `pre`: a line feed also begins a new one.
  void foreignLines(std::string_view text);

  static constexpr std::size_t kMostOfLine = 400;
  static constexpr std::size_t kMostOfParagraph = 2'000;
  static constexpr std::size_t kMostOfLines = 16'384;

  // The page. REQUIRES that no element is open.
  [[nodiscard]] std::string take() { return std::move(page_); }

 private:
  void open(std::string_view tag, Attributes attributes);
  void appendForeign(std::string_view text, std::size_t most, bool hasLines);

  std::string page_;
};

// The name of a character that would not be seen as it is: "CR", "U+202E". Empty for others.
[[nodiscard]] std::string codeOf(char32_t character);

}  // namespace bvdiag
