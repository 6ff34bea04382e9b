#include "line_settings.h"

#include <sys/ioctl.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <utility>

#include <brisvane/types/error.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr tcflag_t kFraming = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB;
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
std::optional<tcflag_t> flagOf(const std::array<std::pair<char, tcflag_t>, kCount>& table,
                               char letter) {
  for (const auto& [name, flag] : table) {
    if (name == letter) return flag;
  }
  return std::nullopt;
}

template <std::size_t kCount>
char letterOf(const std::array<std::pair<char, tcflag_t>, kCount>& table, tcflag_t flags) {
  for (const auto& [name, flag] : table) {
    if (flag == flags) return name;
  }
  return '?';
}

// nullopt for a text that is no framing.
std::optional<tcflag_t> framingFlags(const std::string& framing) {
  if (framing.size() != 3) return std::nullopt;
  const auto size = flagOf(kSizes, framing[0]);
  const auto parity = flagOf(kParities, framing[1]);
  const auto stop = flagOf(kStops, framing[2]);
  if (!size || !parity || !stop) return std::nullopt;
  return *size | *parity | *stop;
}

void set(termios& line, const LineSettings& settings) {
  if (const auto flags = framingFlags(settings.framing))
    line.c_cflag = (line.c_cflag & ~kFraming) | *flags;
  if (settings.flow.empty()) return;
  line.c_cflag &= ~CRTSCTS;
  line.c_iflag &= ~kSoftwareFlow;
  if (settings.flow == "hardware") line.c_cflag |= CRTSCTS;
  if (settings.flow == "software") line.c_iflag |= kSoftwareFlow;
}

}  // namespace

void addLineOptions(AnyCommand& command, LineSettings& settings) {
  command
      .option("--framing", &settings.framing, "BITS",
              "Data bits (5 to 8), parity (N, E, O, M or S) and stop bits (1 or 2), as in 7E1; "
              "default: 8 data bits, no parity")
      .check([](const std::string& text) {
        return framingFlags(text) ? std::string() : "must be like 8N1 or 7E2";
      });
  command
      .option("--flow", &settings.flow, "CONTROL",
              "Flow control; default: as the device has it, mostly none")
      .oneOf({"none", "hardware", "software"});
}

bv::Result<> apply(const LineSettings& settings, int descriptor) {
  if (settings.framing.empty() && settings.flow.empty()) return {};
  termios line{};
  if (::tcgetattr(descriptor, &line) == -1) return bv::Error::last();
  set(line, settings);
  if (::tcsetattr(descriptor, TCSANOW, &line) == -1) return bv::Error::last();
  // A device that takes a part of it succeeds, too.
  termios taken{};
  if (::tcgetattr(descriptor, &taken) == -1) return bv::Error::last();
  const bool isTaken = ((taken.c_cflag ^ line.c_cflag) & (kFraming | CRTSCTS)) == 0 &&
                       ((taken.c_iflag ^ line.c_iflag) & kSoftwareFlow) == 0;
  if (!isTaken) return bv::Error(EINVAL);
  return {};
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
  if (::tcsendbreak(descriptor, 0) == -1) return bv::Error::last();
  return {};
}

}  // namespace bvdiag
