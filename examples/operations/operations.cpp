// Imports two libraries of music side by side and shows how far they have come, as a tree. Keys: p pauses,
// r goes on, c cancels. Left alone it ends by itself after a few seconds.
//
// Started with QV_TRACE_FILE=trace.json it writes a timeline of all that it did, for a viewer of trace
// events.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <QVFoundation/operations/QVProgressUtilities.h>
#include <QVFoundation/platform/concurrency/DispatchTimerSource.h>
#include <QVFoundation/platform/concurrency/MainQueue.h>
#include <QVFoundation/platform/concurrency/NSOperationQueue.h>
#include <QVFoundation/platform/text/Format.h>

#include "ImportLibrary.h"
#include "Terminal.h"
#include "shared/Keys.h"

using namespace QVFoundation;
using namespace std::chrono_literals;

namespace {

using Imports = std::vector<std::shared_ptr<example::ImportLibrary>>;

Imports makeImports() {
  const example::Library libraries[] = {
      {"Classical", {"Preludes", "Nocturnes", "Fugues"}},
      {"Jazz", {"Evenings", "Trains", "Colours", "Steps"}},
  };
  Imports imports;
  imports.reserve(std::size(libraries));
  for (const auto& library : libraries) {
    imports.push_back(std::make_shared<example::ImportLibrary>(library));
  }
  return imports;
}

/// One progress for all imports; each stands for as much of it as every other.
std::shared_ptr<NSProgress> makeWhole(const Imports& imports) {
  auto whole = std::make_shared<NSProgress>(std::ssize(imports));
  setName(*whole, "Import");
  for (const auto& import : imports) {
    setName(*import->progress(), import->name());  // until it starts and does so itself
    whole->addChild(import->progress(), 1);
  }
  return whole;
}

void cancel(const Imports& imports, const std::string& why) {
  for (const auto& import : imports) import->cancelWithLocalizedDescription(why);
}

/// Has them run in the background, and the main queue stop when the last has ended.
void start(const Imports& imports, NSOperationQueue& queue) {
  for (const auto& import : imports) {
    // Somebody may have paused it and gone home.
    import->addTimeout(10min, [weak = std::weak_ptr(import)] {
      if (const auto late = weak.lock()) late->cancelWithLocalizedDescription("The import took too long.");
    });
    queue.addOperation(import);
  }
  queue.addBarrierBlock([] { stopMainQueue(); });
}

/// Pausing the whole pauses all below it, and the operations that report there.
void handle(const example::Keys& keys, NSProgress& whole, const Imports& imports) {
  constexpr char controlC = 3;
  while (const auto key = keys.next()) {
    if (*key == 'p') whole.pause();
    if (*key == 'r') whole.resume();
    if (*key == 'c' || *key == controlC) cancel(imports, "The import was stopped.");
  }
}

std::string noteFor(const NSProgress& whole, const Imports& imports, const example::Keys& keys) {
  if (std::ranges::all_of(imports, [](const auto& import) { return import->isFinished(); })) return "";
  if (imports.front()->isCancelled()) return "stops";
  if (whole.isPaused()) return "paused; r: go on, c: cancel";
  return keys.areRead() ? "p: pause, c: cancel" : "";
}

void runUntilAllHaveEnded(const Imports& imports) {
  const auto whole = makeWhole(imports);
  std::vector<std::shared_ptr<NSProgress>> parts;
  parts.reserve(imports.size());
  for (const auto& import : imports) parts.push_back(import->progress());
  const example::Keys keys(example::Keys::ControlC::isAKey);
  example::ProgressScreen screen(whole, parts);
  const auto update = [&] {
    handle(keys, *whole, imports);
    screen.show(noteFor(*whole, imports, keys));
  };

  DispatchTimerSource timer(DispatchQueue::main());
  timer.schedule(0s, 100ms);
  timer.setEventHandler(update);
  timer.resume();

  const auto queue = std::make_shared<NSOperationQueue>();
  start(imports, *queue);
  runMainQueue();
  timer.cancel();
  update();  // as it is at the end
}

/// Why somebody cancelled it is known to the import; the error may come from one within it, which only knows
/// that.
std::string outcomeOf(const example::ImportLibrary& import) {
  const auto result = import.result();
  if (!result && import.isCancelled())
    return import.cancellationDescription().value_or(result.error().localizedDescription());
  if (!result) return result.error().localizedDescription();
  return stringWithFormat("%zu tracks, checksum %016lx", result->tracks, result->checksum);
}

}  // namespace

int main() {
  const Imports imports = makeImports();
  runUntilAllHaveEnded(imports);

  QVTimingInfo timing;
  bool areAllImported = true;
  for (const auto& import : imports) {
    std::printf("%s: %s\n", import->name().value_or("").c_str(), outcomeOf(*import).c_str());
    timing.addTimingInfo(*import->timingInfo());
    areAllImported = areAllImported && import->result().hasValue();
  }
  std::printf("\nSeconds of work, of both together:\n%s\n", timing.timingInfoString().c_str());
  return areAllImported ? 0 : 1;
}
