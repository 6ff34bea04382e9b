// The operations and values that most diagnostic tools need. Other headers are included one by one:
//  - <brisvane/host/platform.h>: a platform of the tool's own;
//  - <brisvane/host/launching/command.h>: commands under way;
//  - <brisvane/host/formats/file_url.h>: the file URLs of paths;
//  - <brisvane/host/crypto/digest.h>: digests of bytes in pieces;
//  - <brisvane/host/simulated/simulated_machine.h>: the simulated machine.
#pragma once

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
#include "brisvane/types/guid.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"
#include "brisvane/types/unicode.h"
#include "brisvane/version.h"
