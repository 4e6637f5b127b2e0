#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace quenbrook::support {

// Sets an environment variable, or takes it away, for as long as it lives.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const std::optional<std::string>& value)
        : name_(name) {
        if (const char* present = std::getenv(name)) {
            before_ = present;
        }
        apply(value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { apply(before_); }

  private:
    void apply(const std::optional<std::string>& value) const {
        if (value) {
            ::setenv(name_, value->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

    const char* name_;
    std::optional<std::string> before_;
};

// The machine's zone for as long as it lives.
class ScopedTimeZone : ScopedVariable {
  public:
    explicit ScopedTimeZone(const std::string& name)
        : ScopedVariable("TZ", name) {}
};

} // namespace quenbrook::support
