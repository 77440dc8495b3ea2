#include "QVFoundation/environment/QVSystemInformation.h"

#include <cstdlib>
#include <string_view>

#include "QVFoundation/environment/SystemFacts_p.h"

namespace QVFoundation {

namespace {

constexpr std::string_view runningSystem;  // its files lie where their paths say

}  // namespace

const std::shared_ptr<const QVVersionNumber>& QVSystemVersionNumber() {
  // Never destroyed: others may ask to the end of the process.
  static const auto& version = *new std::shared_ptr<const QVVersionNumber>(
      std::make_shared<QVVersionNumber>(detail::systemVersion(runningSystem)));
  return version;
}

std::optional<std::string> QVSystemVersionBuildString() { return detail::systemBuild(runningSystem); }

std::string QVHardwareModelName() {
  return detail::hardwareModel(runningSystem).value_or("Unknown Mac model");
}

Dictionary QVCollectMemoryUsageInfo() { return detail::memoryUsage(runningSystem); }

bool QVIsUnitTesting() noexcept {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): safe as long as nobody changes the environment
  return std::getenv("XCTestConfigurationFilePath") != nullptr;
}

}  // namespace QVFoundation
