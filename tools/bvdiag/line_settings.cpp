#include "line_settings.h"

#include <sys/ioctl.h>
#include <termios.h>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include <brisvane/types/error.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr tcflag_t kSoftwareFlow = IXON | IXOFF;

constexpr std::array<std::pair<char, tcflag_t>, 4> kSizes{
    {{'5', CS5}, {'6', CS6}, {'7', CS7}, {'8', CS8}}};
// Mark and space are a parity bit that is always 1 or 0.
constexpr std::array<std::pair<char, tcflag_t>, 5> kParities{{{'N', 0},
                                                              {'E', PARENB},
                                                              {'O', PARENB | PARODD},
                                                              {'M', PARENB | PARODD | CMSPAR},
                                                              {'S', PARENB | CMSPAR}}};
constexpr std::array<std::pair<char, tcflag_t>, 2> kStops{{{'1', 0}, {'2', CSTOPB}}};

template <std::size_t kCount>
char letterOf(const std::array<std::pair<char, tcflag_t>, kCount>& table, tcflag_t flags) {
  for (const auto& [name, flag] : table) {
    if (flag == flags) return name;
  }
  return '?';
}

// nullopt for a letter that is none of theirs.
std::optional<bv::Parity> parityOf(char letter) {
  constexpr std::string_view kLetters = "NEOMS";  // in the order of Parity
  const auto place = kLetters.find(letter);
  if (place == std::string_view::npos) return std::nullopt;
  return static_cast<bv::Parity>(place);
}

// Sets the options that a framing names; false for a text that is no framing.
bool setFraming(const std::string& framing, bv::LineOptions& options) {
  if (framing.size() != 3) return false;
  const char size = framing[0];
  const char stop = framing[2];
  options.parity = parityOf(framing[1]);
  if (size < '5' || size > '8' || !options.parity || stop < '1' || stop > '2') return false;
  options.dataBits = static_cast<std::uint8_t>(size - '0');
  options.stopBits = static_cast<std::uint8_t>(stop - '0');
  return true;
}

}  // namespace

void addLineOptions(AnyCommand& command, LineSettings& settings) {
  command
      .option("--framing", &settings.framing, "BITS",
              "Data bits (5 to 8), parity (N, E, O, M or S) and stop bits (1 or 2), as in 7E1; "
              "default: 8 data bits, no parity")
      .check([](const std::string& text) {
        bv::LineOptions options;
        return setFraming(text, options) ? std::string() : "must be like 8N1 or 7E2";
      });
  command
      .option("--flow", &settings.flow, "CONTROL",
              "Flow control; default: as the device has it, mostly none")
      .oneOf({"none", "hardware", "software"});
}

bv::LineOptions lineOptions(const LineSettings& settings, std::int32_t speed) {
  bv::LineOptions options{.speed = static_cast<std::uint32_t>(speed)};
  setFraming(settings.framing, options);
  if (settings.flow == "none") options.flowControl = bv::FlowControl::kNone;
  if (settings.flow == "hardware") options.flowControl = bv::FlowControl::kHardware;
  if (settings.flow == "software") options.flowControl = bv::FlowControl::kSoftware;
  return options;
}

LineSettings settingsOf(int descriptor) {
  termios line{};
  if (::tcgetattr(descriptor, &line) == -1) return {};
  LineSettings settings;
  settings.framing = {letterOf(kSizes, line.c_cflag & CSIZE),
                      (line.c_cflag & PARENB) == 0
                          ? 'N'
                          : letterOf(kParities, line.c_cflag & (PARENB | PARODD | CMSPAR)),
                      letterOf(kStops, line.c_cflag & CSTOPB)};
  settings.flow = (line.c_cflag & CRTSCTS) != 0         ? "hardware"
                  : (line.c_iflag & kSoftwareFlow) != 0 ? "software"
                                                        : "none";
  return settings;
}

bv::Result<> toggle(Signal signal, int descriptor) {
  int lines = 0;
  if (::ioctl(descriptor, TIOCMGET, &lines) == -1) return bv::Error::last();
  const int line = signal == Signal::kDtr ? TIOCM_DTR : TIOCM_RTS;
  if (::ioctl(descriptor, (lines & line) != 0 ? TIOCMBIC : TIOCMBIS, &line) == -1)
    return bv::Error::last();
  return {};
}

bv::Result<std::string> modemLines(int descriptor) {
  constexpr std::array<std::pair<const char*, int>, 6> kLines{{{"DTR", TIOCM_DTR},
                                                               {"RTS", TIOCM_RTS},
                                                               {"CTS", TIOCM_CTS},
                                                               {"DSR", TIOCM_DSR},
                                                               {"DCD", TIOCM_CAR},
                                                               {"RI", TIOCM_RNG}}};
  int lines = 0;
  if (::ioctl(descriptor, TIOCMGET, &lines) == -1) return bv::Error::last();
  std::string text;
  for (const auto& [name, line] : kLines) {
    if (!text.empty()) text += ", ";
    text.append(name).append((lines & line) != 0 ? " on" : " off");
  }
  return text;
}

bv::Result<> sendBreak(int descriptor) {
  if (::ioctl(descriptor, TCSBRK, 0) == -1) return bv::Error::last();
  return {};
}

}  // namespace bvdiag
