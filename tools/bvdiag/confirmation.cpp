#include "confirmation.h"

#include <unistd.h>

#include <iostream>

namespace bvdiag {

bool confirmed(const Session& session, const std::string& question, bool yes) {
  if (yes || session.isSimulated()) return true;
  if (::isatty(STDIN_FILENO) != 1) {
    session.output().complain(question + " There is no terminal to ask on; give --yes to confirm");
    return false;
  }
  std::cerr << escaped(question) + " [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return true;
  session.output().complain("not confirmed; nothing was changed");
  return false;
}

}  // namespace bvdiag
