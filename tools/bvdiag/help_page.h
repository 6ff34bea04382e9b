// HelpPage, what the help of a command says, and its form on a terminal or in a pipe. Values; the
// functions keep no state.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bvdiag {

// An option, an argument or a command, and what it is.
struct HelpEntry {
  std::string name;  // "--port PATH"
  std::string text;
};

struct HelpSection {
  std::string title;
  std::vector<HelpEntry> entries;
};

struct HelpPage {
  std::vector<std::string> usages;  // "bvdiag send COMMAND"
  std::string description;
  std::vector<std::string> examples;
  std::vector<HelpSection> sections;
  std::string footer;  // its lines are paragraphs
};

// The page in lines that take at most `columns`, unless a single word is longer. A title ends with
// a colon. An entry begins after two blanks with its name, and its text follows after two more or
// on the next line. Examples are never broken.
[[nodiscard]] std::string textOf(const HelpPage& page, std::size_t columns);

// The first sentence, for lists.
[[nodiscard]] std::string firstSentence(const std::string& text);

// The candidate that is nearest to a misspelled word by the library's edit distance; empty when
// none is near: within two edits, or as many as a third of its letters.
[[nodiscard]] std::string nearestOf(const std::string& word,
                                    const std::vector<std::string>& candidates);

}  // namespace bvdiag
