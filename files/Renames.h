#pragma once

#include "files/SystemCall.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <fcntl.h>

// What rename() cannot do and only some file systems can. Both work in one step on names in one
// directory (or on paths, for AT_FDCWD) and answer as a system call does: 0, or -1 with errno.
namespace quenbrook::files {

// Renames; EEXIST, and nothing done, when the new name is taken.
inline int renameNoReplace(int directory, const char* from, const char* to) {
    return retryOnEintr([&] {
#ifdef __APPLE__
        return ::renameatx_np(directory, from, directory, to, RENAME_EXCL);
#else
        return ::renameat2(directory, from, directory, to, RENAME_NOREPLACE);
#endif
    });
}

// Each of two names, which must both be there, leads to what the other led to, whatever that is.
inline int renameExchange(int directory, const char* one, const char* other) {
    return retryOnEintr([&] {
#ifdef __APPLE__
        return ::renameatx_np(directory, one, directory, other, RENAME_SWAP);
#else
        return ::renameat2(directory, one, directory, other, RENAME_EXCHANGE);
#endif
    });
}

// Whether an error may mean that the file system, its server or a sandbox does not offer what it
// was asked for. They have not agreed on one: hard links are EPERM on FAT and EMLINK or EXDEV
// elsewhere, flags of a rename EINVAL from most kernels and ENOSYS from old ones, modes EPERM or
// EACCES on shares.
inline bool isUnsupported(int error) {
    constexpr std::array<int, 8> errors = {
        EINVAL, ENOSYS, ENOTSUP, EOPNOTSUPP, EPERM, EACCES, EMLINK, EXDEV};
    return std::find(errors.begin(), errors.end(), error) != errors.end();
}

} // namespace quenbrook::files
