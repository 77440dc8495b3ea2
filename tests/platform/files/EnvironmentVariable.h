#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace QVFoundation::testing {

/// A variable of the environment that has a value, or none, for the length of a scope.
class EnvironmentVariable {
public:
  EnvironmentVariable(const char* name, const std::optional<std::string>& value) : name_(name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): tests that change the environment have one thread
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { set(old_); }

private:
  void set(const std::optional<std::string>& value) {
    // NOLINTBEGIN(concurrency-mt-unsafe): likewise
    if (value) {
      setenv(name_, value->c_str(), 1);
    } else {
      unsetenv(name_);
    }
    // NOLINTEND(concurrency-mt-unsafe)
  }

  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace QVFoundation::testing
