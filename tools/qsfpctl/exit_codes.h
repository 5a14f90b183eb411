// The exit codes of qsfpctl, one per kind of failure, so scripts can tell a
// typing mistake from a missing module from a driver that cannot do the job.
#pragma once

namespace qsfpctl {

inline constexpr int kExitOk = 0;
// The library answered an error code for the operation.
inline constexpr int kExitLibraryError = 1;
// The command line is wrong: unknown command or option, a number out of range.
inline constexpr int kExitUsage = 2;
// A backend could not be opened: missing or malformed image, unusable device.
inline constexpr int kExitBackend = 3;
// The cage does not exist, or no module answers in it.
inline constexpr int kExitNoModule = 4;
// The driver bound to the module does not have the operation (yet).
inline constexpr int kExitNotSupported = 5;
// A write to a read-only backend (an image file, a read-only sysfs file).
inline constexpr int kExitReadOnly = 6;

}  // namespace qsfpctl
