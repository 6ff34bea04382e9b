// The recording of a machine: a description that replays as the same machine.
#pragma once

#include <brisvane/types/object.h>

namespace bvdiag {

struct RecordingOptions {
  bool variables = false;   // the values of the firmware variables, as they are
  bool unmasked = false;    // serial numbers and the like as they are
  bool everything = false;  // every property of the registry's nodes, not only those of a profile
};

// The machine of the platform in force, in the form that Machine::fromFile reads. Of the
// registry's nodes it holds the properties that a profile is gathered from. What identifies one
// machine among others of its model is masked (Mask), but in the variables' values.
// Of the hardware address of a network interface the first three octets stay, and the
// others become 0; its IPv4 addresses stay.
[[nodiscard]] brisvane::Dictionary recordMachine(const RecordingOptions& options);

}  // namespace bvdiag
