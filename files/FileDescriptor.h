#pragma once

#include <utility>

#include <unistd.h>

namespace quenbrook::files {

// Owns one open file descriptor, or none.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() {
        if (isOpen()) {
            ::close(descriptor_);
        }
    }

    bool isOpen() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    // Gives it up to the caller.
    int release() { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_ = -1;
};

} // namespace quenbrook::files
