// All that a diagnostic tool calls: the operations, the values, the numbers of the ciphers, files,
// JSON, file URLs, patterns, commands under way and digests of bytes in pieces. Other headers are
// included one by one:
//  - <brisvane/host/platform.h>: a platform of the tool's own;
//  - <brisvane/host/terminal/terminal.h>: a serial line below a port;
//  - <brisvane/host/simulated/simulated_machine.h>: the simulated machine.
#pragma once

#include "brisvane/host/crypto/cipher.h"
#include "brisvane/host/crypto/crc32.h"
#include "brisvane/host/crypto/digest.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/files/move_file.h"
#include "brisvane/host/formats/characters.h"
#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/formats/json.h"
#include "brisvane/host/formats/pattern.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/host/launching/command.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/logging/file_writers.h"
#include "brisvane/logging/preferences_store.h"
#include "brisvane/logging/system_log_handle.h"
#include "brisvane/platform/BVNvram.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "brisvane/platform/profile_sources.h"
#include "brisvane/process/BVProcess.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/support/collections.h"
#include "brisvane/support/security.h"
#include "brisvane/support/strings.h"
#include "brisvane/types/base64.h"
#include "brisvane/types/bytes.h"
#include "brisvane/types/data.h"
#include "brisvane/types/error.h"
#include "brisvane/types/guid.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"
#include "brisvane/types/text.h"
#include "brisvane/types/unicode.h"
#include "brisvane/version.h"
