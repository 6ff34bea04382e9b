#include "help_page.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <sstream>

#include <brisvane/support/Brisvane.h>

namespace bvdiag {
namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kTextColumn = 24;
constexpr std::size_t kNarrow = 60;  // columns, below which texts stand under their names

// The words of a text in lines of at most `columns`, of which the first begins at `at`, and the
// others after `indent` blanks.
std::string wrapped(const std::string& text, std::size_t columns, std::size_t indent,
                    std::size_t at) {
  std::string lines;
  std::istringstream words(text);
  bool isFirst = true;
  for (std::string word; words >> word; isFirst = false) {
    if (!isFirst && at + 1 + word.size() > columns) {
      lines += '\n' + std::string(indent, ' ');
      at = indent;
    } else if (!isFirst) {
      lines += ' ';
      ++at;
    }
    lines += word;
    at += word.size();
  }
  return lines;
}

std::string paragraphs(const std::string& text, std::size_t columns) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) result += wrapped(line, columns, 0, 0) + "\n";
  return result;
}

std::string textOf(const HelpEntry& entry, std::size_t columns) {
  const std::string name = std::string(kIndent, ' ') + entry.name;
  if (entry.text.empty()) return name + "\n";
  const std::size_t indent = columns < kNarrow ? 2 * kIndent : kTextColumn;
  const bool isBeside = columns >= kNarrow && name.size() + 2 <= kTextColumn;
  const std::string gap =
      isBeside ? std::string(kTextColumn - name.size(), ' ') : "\n" + std::string(indent, ' ');
  return name + gap + wrapped(entry.text, columns, indent, indent) + "\n";
}

}  // namespace

std::string textOf(const HelpPage& page, std::size_t columns) {
  std::string text;
  for (std::size_t i = 0; i < page.usages.size(); ++i)
    text += (i == 0 ? "Usage: " : "       ") + page.usages[i] + "\n";
  text += "\n" + paragraphs(page.description, columns);
  if (!page.examples.empty()) text += page.examples.size() == 1 ? "\nExample:\n" : "\nExamples:\n";
  for (const std::string& example : page.examples)
    text += std::string(kIndent, ' ') + example + "\n";
  for (const HelpSection& section : page.sections) {
    text += "\n" + section.title + ":\n";
    for (const HelpEntry& entry : section.entries) text += textOf(entry, columns);
  }
  return text + "\n" + paragraphs(page.footer, columns);
}

std::string firstSentence(const std::string& text) {
  for (std::size_t at = 0; at + 1 < text.size(); ++at) {
    if ((text[at] == '.' || text[at] == ':') && text[at + 1] == ' ') return text.substr(0, at);
  }
  return text;
}

std::string nearestOf(const std::string& word, const std::vector<std::string>& candidates) {
  std::string nearest;
  auto least = std::numeric_limits<std::int64_t>::max();
  for (const std::string& candidate : candidates) {
    const auto distance = brisvane::Brisvane::levenshteinDistanceBetween(word, candidate);
    const auto longer = static_cast<std::int64_t>(std::max(word.size(), candidate.size()));
    const auto most = std::max<std::int64_t>(2, longer / 3);  // two letters that changed places
    if (distance < 0 || distance >= least || distance > most || distance == longer) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace bvdiag
