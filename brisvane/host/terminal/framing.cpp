#include "brisvane/host/terminal/framing.h"

#include <array>
#include <cerrno>
#include <string>

#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr tcflag_t kParityBits = PARENB | PARODD | CMSPAR;
constexpr tcflag_t kSoftwareBits = IXON | IXOFF;
constexpr std::uint8_t kLeastDataBits = 5;
constexpr std::array<tcflag_t, 4> kSizes{CS5, CS6, CS7, CS8};

tcflag_t parityBits(Parity parity) {
  switch (parity) {
    case Parity::kNone:
      return 0;
    case Parity::kEven:
      return PARENB;
    case Parity::kOdd:
      return PARENB | PARODD;
    case Parity::kMark:
      return PARENB | PARODD | CMSPAR;
    case Parity::kSpace:
      return PARENB | CMSPAR;
  }
  return 0;
}

bool isInRange(const std::optional<std::uint8_t>& number, unsigned least, unsigned most) {
  return !number || (*number >= least && *number <= most);
}

// The bits of a word that an option decides, and their value.
struct Bits {
  tcflag_t mask = 0;
  tcflag_t value = 0;

  [[nodiscard]] bool standIn(tcflag_t word) const { return (word & mask) == value; }
  void putInto(tcflag_t& word) const { word = (word & ~mask) | value; }
};

Bits sizeBits(const LineOptions& options) {
  if (!options.dataBits) return {};
  return {CSIZE, kSizes.at(*options.dataBits - kLeastDataBits)};
}

Bits parityBits(const LineOptions& options) {
  if (!options.parity) return {};
  return {kParityBits, parityBits(*options.parity)};
}

Bits stopBits(const LineOptions& options) {
  if (!options.stopBits) return {};
  return {CSTOPB, *options.stopBits == 2 ? tcflag_t{CSTOPB} : tcflag_t{0}};
}

Bits hardwareBits(const LineOptions& options) {
  if (!options.flowControl) return {};
  return {CRTSCTS, *options.flowControl == FlowControl::kHardware ? tcflag_t{CRTSCTS} : 0};
}

Bits softwareBits(const LineOptions& options) {
  if (!options.flowControl) return {};
  return {kSoftwareBits, *options.flowControl == FlowControl::kSoftware ? kSoftwareBits : 0};
}

Error unsupported(std::string_view option) {
  return {ENOTSUP, {}, join({"does not support the ", option})};
}

}  // namespace

Result<> setOptions(termios& settings, const LineOptions& options) {
  if (!isInRange(options.dataBits, kLeastDataBits, 8))
    return Error(EINVAL, {}, "data bits are 5, 6, 7 or 8");
  if (!isInRange(options.stopBits, 1, 2)) return Error(EINVAL, {}, "stop bits are 1 or 2");
  for (const Bits& bits :
       {sizeBits(options), parityBits(options), stopBits(options), hardwareBits(options)})
    bits.putInto(settings.c_cflag);
  softwareBits(options).putInto(settings.c_iflag);
  return {};
}

Result<> checkOptions(const termios& reported, const LineOptions& options) {
  if (!sizeBits(options).standIn(reported.c_cflag)) return unsupported("number of data bits");
  if (!parityBits(options).standIn(reported.c_cflag)) return unsupported("parity");
  if (!stopBits(options).standIn(reported.c_cflag)) return unsupported("number of stop bits");
  const bool isFlowing = hardwareBits(options).standIn(reported.c_cflag) &&
                         softwareBits(options).standIn(reported.c_iflag);
  return isFlowing ? Result<>() : unsupported("flow control");
}

}  // namespace brisvane::host::real
