#include "files/FileAttributes.h"

#include "files/SystemCall.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#ifdef __linux__
#include <linux/limits.h>
#include <sys/xattr.h>
#endif

namespace quenbrook::files {
namespace {

constexpr const char* posixAccessList = "system.posix_acl_access";
constexpr std::array<std::string_view, 2> accessLists = {posixAccessList, "system.nfs4_acl"};

bool isAccessList(std::string_view name) {
    return std::find(accessLists.begin(), accessLists.end(), name) != accessLists.end();
}

} // namespace

bool hasAccessList(const FileAttributes& attributes) {
    return std::any_of(attributes.begin(), attributes.end(),
        [](const auto& attribute) { return isAccessList(attribute.first); });
}

#ifdef __linux__
namespace {

constexpr std::string_view personal = "user.";
// Of an attribute, or of the names of all; the largest that the system has.
constexpr std::size_t mostBytes = std::max(XATTR_SIZE_MAX, XATTR_LIST_MAX);

bool isMissing(int error) {
    // Linux has one number for ENOTSUP and EOPNOTSUPP.
    return error == ENODATA || error == ENOTSUP || error == ENOSYS;
}

// What `call` puts into the buffer that it is given. Returns an empty text when the file has no
// such attribute.
template <class Call>
std::string bytesOf(const char* name, std::vector<char>& buffer, Call call) {
    const ssize_t size = retryOnEintr([&] { return call(buffer.data(), buffer.size()); });
    if (size == -1 && !isMissing(errno)) {
        throwSystemError(name);
    }
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

} // namespace

FileAttributes attributesOf(const FileDescriptor& file) {
    FileAttributes found;
    // Most files have none, and no room is needed to see that.
    const ssize_t size = retryOnEintr([&] { return ::flistxattr(file.get(), nullptr, 0); });
    if (size == 0 || (size == -1 && isMissing(errno))) {
        return found;
    }
    std::vector<char> buffer(mostBytes);
    const std::string names = bytesOf("flistxattr", buffer,
        [&](char* bytes, std::size_t room) { return ::flistxattr(file.get(), bytes, room); });
    for (std::size_t begin = 0; begin < names.size();) {
        const std::string name = names.c_str() + begin;
        begin += name.size() + 1;
        if (isAccessList(name) || name.starts_with(personal)) {
            found[name] = bytesOf("fgetxattr", buffer, [&](char* bytes, std::size_t room) {
                return ::fgetxattr(file.get(), name.c_str(), bytes, room);
            });
        }
    }
    return found;
}

void setAttributes(const FileDescriptor& file, const FileAttributes& attributes) {
    const int removed = retryOnEintr([&] { return ::fremovexattr(file.get(), posixAccessList); });
    if (removed == -1 && !isMissing(errno)) {
        throwSystemError("fremovexattr");
    }
    for (const auto& attribute : attributes) {
        const char* const name = attribute.first.c_str();
        const std::string& value = attribute.second;
        throwOnError("fsetxattr",
            [&] { return ::fsetxattr(file.get(), name, value.data(), value.size(), 0); });
    }
}
#else
FileAttributes attributesOf(const FileDescriptor&) {
    return {};
}

void setAttributes(const FileDescriptor&, const FileAttributes&) {}
#endif

} // namespace quenbrook::files
