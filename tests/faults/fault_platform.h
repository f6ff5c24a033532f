// What the fault campaign needs to know of the platform.
#pragma once

#include <array>

namespace k7k::test {

enum class ErrorKind { AccessDenied, SharingViolation, DiskFull, IoError, NotFound, NotEmpty };

inline constexpr std::array kErrorKinds{ErrorKind::AccessDenied, ErrorKind::SharingViolation,
                                        ErrorKind::DiskFull,     ErrorKind::IoError,
                                        ErrorKind::NotFound,     ErrorKind::NotEmpty};

// The system's raw code of an error: a Win32 code, an errno.
int RawCode(ErrorKind kind);

// How many handles (POSIX: file descriptors) this process holds open.
int OpenHandles();

// Opening a file costs a trip to another process here, so what no run touches is compared at the
// end of a batch of runs instead of after each.
bool OpeningFilesIsSlow();

}  // namespace k7k::test
