#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/application/NSProgressKeys.h"
#include "QVFoundation/platform/application/NSProgressState_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

using detail::localizedText;

/// "532 bytes", "4.2 MB": three digits, in powers of 1000, as file managers show them.
std::string readableSize(std::int64_t bytes) {
  constexpr std::array formats{"%.*f kB", "%.*f MB", "%.*f GB", "%.*f TB", "%.*f PB", "%.*f EB"};
  if (bytes > -1000 && bytes < 1000) {
    return bytes == 1 ? localizedText("1 byte") : localizedText("%ld bytes", bytes);
  }
  double amount = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  for (; std::abs(amount) >= 999.5 && unit + 1 < formats.size(); ++unit) amount /= 1000;
  return localizedText(formats[unit], std::abs(amount) < 9.95 ? 1 : 0, amount);
}

/// "about 2 minutes remaining", in the largest unit of which there is a whole one.
std::string readableTimeRemaining(double seconds) {
  const struct {
    double seconds;
    double partSeconds;
    const char* one;
    const char* many;
  } units[] = {{86400, 3600, "about 1 day remaining", "about %ld days remaining"},
               {3600, 60, "about 1 hour remaining", "about %ld hours remaining"},
               {60, 1, "about 1 minute remaining", "about %ld minutes remaining"}};
  constexpr double century = 36525.0 * 86400;
  const double time = std::isfinite(seconds) ? std::min(seconds, century) : century;
  for (const auto& unit : units) {
    // In whole seconds, minutes and hours nothing is about 60 of them.
    const auto count = std::lround(time / unit.seconds);
    if (std::round(time / unit.partSeconds) * unit.partSeconds < unit.seconds) continue;
    return count == 1 ? localizedText(unit.one) : localizedText(unit.many, count);
  }
  if (time < 5) return localizedText("a few seconds remaining");
  return localizedText("about %ld seconds remaining", std::lround(time));
}

/// "Copying %ld files…"; empty for a kind that has no words of its own.
std::string fileDescription(std::string_view operation, std::optional<std::int64_t> files) {
  static constexpr struct {
    std::string_view operation;
    const char* some;
    const char* one;
    const char* many;
  } texts[] = {
      {NSProgressFileOperationKindDownloading, "Downloading files…", "Downloading 1 file…",
       "Downloading %ld files…"},
      {NSProgressFileOperationKindUploading, "Uploading files…", "Uploading 1 file…", "Uploading %ld files…"},
      {NSProgressFileOperationKindReceiving, "Receiving files…", "Receiving 1 file…", "Receiving %ld files…"},
      {NSProgressFileOperationKindCopying, "Copying files…", "Copying 1 file…", "Copying %ld files…"},
      {NSProgressFileOperationKindDuplicating, "Duplicating files…", "Duplicating 1 file…",
       "Duplicating %ld files…"},
      {NSProgressFileOperationKindDecompressing, "Decompressing files…", "Decompressing 1 file…",
       "Decompressing %ld files…"},
  };
  for (const auto& text : texts) {
    if (text.operation != operation) continue;
    if (!files) return localizedText(text.some);
    return *files == 1 ? localizedText(text.one) : localizedText(text.many, *files);
  }
  return {};
}

}  // namespace

// A percentage of 100 is for what has finished: 99.9 is shown as 99.
std::string NSProgress::defaultDescription() const {
  if (const auto operation = fileOperationKind(); operation && kind() == NSProgressKindFile) {
    if (auto text = fileDescription(*operation, fileTotalCount()); !text.empty()) return text;
  }
  if (isIndeterminate()) return {};
  const double fraction = isFinished() ? 1 : std::min(fractionCompleted(), 0.99);
  return localizedText("%ld%% completed", static_cast<std::int64_t>(fraction * 100 + 1e-9));
}

std::string NSProgress::defaultAdditionalDescription() const {
  const Counts now = counts();
  const bool areBytes = kind() == NSProgressKindFile;
  const auto perSecond = throughput();
  std::string text;
  if (!now.isIndeterminate()) {
    text = areBytes ? localizedText("%@ of %@", readableSize(now.completed), readableSize(now.total))
                    : localizedText("%ld of %ld", now.completed, now.total);
  } else if (now.completed > 0) {
    text = areBytes ? readableSize(now.completed) : localizedText("%ld", now.completed);
  }
  if (perSecond && areBytes && !text.empty()) {
    text = localizedText("%@ (%@ per second)", text, readableSize(*perSecond));
  }
  const auto time = estimatedTimeRemaining();
  if (!time || time->count() < 0) return text;
  const std::string remaining = readableTimeRemaining(time->count());
  return text.empty() ? remaining : localizedText("%@ — %@", text, remaining);
}

std::string NSProgress::description() const {
  return stringWithFormat("%@: %ld of %ld (%.4f)", shortDescription(), completedUnitCount(), totalUnitCount(),
                          fractionCompleted());
}

Dictionary NSProgress::debugDictionary() const {
  Dictionary entries = NSObject::debugDictionary();
  entries.set("name", userInfo()["name"]);
  entries.set("parent", stringWithFormat("%p", static_cast<const void*>(parent().get())));
  entries.set("completed", stringWithFormat("%lld/%lld (%f)", completedUnitCount(), totalUnitCount(),
                                            fractionCompleted()));
  entries.set("description", localizedDescription());
  return entries;
}

}  // namespace QVFoundation
