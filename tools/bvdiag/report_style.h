// The style sheet of a report's page: light and dark, for a phone, a desktop, and print.
#pragma once

#include <string_view>

namespace bvdiag {

extern const std::string_view kReportStyle;

}  // namespace bvdiag
