#include "brisvane/types/result.h"

#include <ostream>

namespace brisvane {

std::ostream& printWords(std::ostream& stream, std::string_view words) { return stream << words; }

}  // namespace brisvane
