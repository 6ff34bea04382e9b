// The operations that the installed library offers.
#include "bench/harness.h"

namespace brisvane::bench {

std::vector<std::vector<Table> (*)()> families() {
  return {bytesTables,  cryptoTables,  textTables,  logTables,
          serialTables, processTables, valuesTables};
}

}  // namespace brisvane::bench
