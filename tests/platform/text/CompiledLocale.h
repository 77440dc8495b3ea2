#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QV_TEST_FINDS_LEAKS
#include <sanitizer/lsan_interface.h>
#endif
#endif

namespace QVFoundation {

/// A locale that is compiled for a test: "qq_QQ.UTF-8", where numbers look like 12'34'567;89 (with an
/// apostrophe of two bytes). The C library finds it as long as the object lives.
///
/// Threads: the main thread of a test; it changes the environment.
class CompiledLocale {
public:
  static constexpr const char* name = "qq_QQ.UTF-8";

  CompiledLocale() {
#ifdef QV_TEST_FINDS_LEAKS
    __lsan_disable();  // newlocale of the C library loses its copy of LOCPATH.
#endif
    std::filesystem::create_directories(folder_);
    std::ofstream(folder_ / "source")
        << "comment_char %\nescape_char /\n"
           "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n"
           "LC_NUMERIC\ndecimal_point \";\"\nthousands_sep \"<U2019>\"\ngrouping 3;2\n"
           "END LC_NUMERIC\n";
    const std::string command = "localedef -c -i '" + (folder_ / "source").string() + "' -f UTF-8 '" +
                                (folder_ / name).string() + "' >/dev/null 2>&1";
    // It answers 1 for the categories that the source leaves out; what counts is what it made.
    static_cast<void>(std::system(command.c_str()));                // NOLINT(concurrency-mt-unsafe)
    if (const char* path = std::getenv("LOCPATH")) before_ = path;  // NOLINT(concurrency-mt-unsafe)
    ::setenv("LOCPATH", folder_.c_str(), 1);                        // NOLINT(concurrency-mt-unsafe)
  }

  CompiledLocale(const CompiledLocale&) = delete;
  CompiledLocale& operator=(const CompiledLocale&) = delete;

  ~CompiledLocale() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    before_ ? ::setenv("LOCPATH", before_->c_str(), 1) : ::unsetenv("LOCPATH");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
#ifdef QV_TEST_FINDS_LEAKS
    __lsan_enable();
#endif
  }

  /// False where the computer has no compiler for locales.
  [[nodiscard]] bool exists() const { return std::filesystem::exists(folder_ / name / "LC_NUMERIC"); }

private:
  std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("locale-for-tests-" + std::to_string(::getpid()));
  std::optional<std::string> before_;
};

}  // namespace QVFoundation
