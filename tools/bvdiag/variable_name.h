// Names of firmware variables, and what their operations report. The functions keep no state.
#pragma once

#include <string>
#include <string_view>

namespace bvdiag {

inline constexpr const char* kNoStore =
    "the machine has no variable store; a PC must be started by UEFI";

// The full name of a short one in the namespace "system" or "larder".
[[nodiscard]] std::string fullVariableName(std::string_view name, std::string_view space);

// Whether it is a full name, GUID:name.
[[nodiscard]] bool isVariableName(std::string_view fullName);

// What to try after this errno value.
[[nodiscard]] std::string adviceForVariable(int error);

// Why a write or a deletion has failed, by its result: "name: reason; advice". Empty for 0.
[[nodiscard]] std::string variableFailure(const std::string& fullName, int status);

}  // namespace bvdiag
