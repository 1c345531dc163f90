// The table that turns an errno into a last error, and SetLastErrorFromErrno over it. Sources: the Linux
// errno numbers and the published Win32 error numbers.
#include "compat/core/errors/errno_map.h"

#include <cerrno>
#include <iterator>

#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

constexpr std::int32_t kOther = ERROR_GEN_FAILURE;

// Indexed by errno, from EPERM (1) to ELOOP (40).
constexpr std::int32_t kLastErrors[] = {
    ERROR_WRITE_PROTECT,         // 1 EPERM
    ERROR_FILE_NOT_FOUND,        // 2 ENOENT
    kOther,                      // 3 ESRCH
    kOther,                      // 4 EINTR
    kOther,                      // 5 EIO
    kOther,                      // 6 ENXIO
    kOther,                      // 7 E2BIG
    kOther,                      // 8 ENOEXEC
    kOther,                      // 9 EBADF
    kOther,                      // 10 ECHILD
    kOther,                      // 11 EAGAIN
    ERROR_NOT_ENOUGH_MEMORY,     // 12 ENOMEM
    ERROR_ACCESS_DENIED,         // 13 EACCES
    ERROR_PROTECTION_VIOLATION,  // 14 EFAULT
    kOther,                      // 15 ENOTBLK
    ERROR_PATH_BUSY,             // 16 EBUSY
    ERROR_FILE_EXISTS,           // 17 EEXIST
    ERROR_NOT_SAME_DEVICE,       // 18 EXDEV
    kOther,                      // 19 ENODEV
    ERROR_INVALID_NAME,          // 20 ENOTDIR
    ERROR_INVALID_NAME,          // 21 EISDIR
    ERROR_INVALID_ACCESS,        // 22 EINVAL
    kOther,                      // 23 ENFILE
    kOther,                      // 24 EMFILE
    kOther,                      // 25 ENOTTY
    kOther,                      // 26 ETXTBSY
    kOther,                      // 27 EFBIG
    kOther,                      // 28 ENOSPC
    kOther,                      // 29 ESPIPE
    ERROR_WRITE_PROTECT,         // 30 EROFS
    kOther,                      // 31 EMLINK
    kOther,                      // 32 EPIPE
    kOther,                      // 33 EDOM
    kOther,                      // 34 ERANGE
    kOther,                      // 35 EDEADLK
    ERROR_LABEL_TOO_LONG,        // 36 ENAMETOOLONG
    kOther,                      // 37 ENOLCK
    kOther,                      // 38 ENOSYS
    ERROR_DIR_NOT_EMPTY,         // 39 ENOTEMPTY
    kOther,                      // 40 ELOOP
};
constexpr int kEntries = std::size(kLastErrors);
static_assert(EPERM == 1 && ENOENT == 2 && ENOMEM == 12 && EBUSY == 16 && EISDIR == 21 && EROFS == 30 &&
              ENAMETOOLONG == 36 && ENOTEMPTY == 39 && ELOOP == 40 && kEntries == ELOOP);

}  // namespace

std::int32_t lastErrorOfErrno(int error) {
  return error >= 1 && error <= kEntries ? kLastErrors[error - 1] : kOther;
}

}  // namespace nimboxi

void SetLastErrorFromErrno() {
  SetLastError(nimboxi::lastErrorOfErrno(errno));
}
