// The operations that the installed library offers.
#include "bench/harness.h"

namespace brisvane::bench {

std::vector<Family> families() {
  return {{bytesTables, Clock::kProcessor}, {cryptoTables, Clock::kProcessor},
          {textTables, Clock::kProcessor},  {logTables, Clock::kProcessor},
          {threadsTables, Clock::kReal},    {serialTables, Clock::kReal},
          {processTables, Clock::kReal},    {valuesTables, Clock::kProcessor}};
}

}  // namespace brisvane::bench
