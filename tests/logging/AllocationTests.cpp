#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/logging/QVLogger.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace {
thread_local int allocations = 0;
}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace QVFoundation {
namespace {

struct AllocationCase {
  const char* row;
  int most;
  void (*log)(QVLogger&);
};

const std::string longText(20'000, 'x');

const AllocationCase cases[] = {
    {"dropped", 0, [](QVLogger& logger) { logger.logDebug("%@ of %d", longText, 7); }},
    {"dropped marker", 0, [](QVLogger& logger) { logger.logDebugMarker(longText); }},
    {"dropped block", 0, [](QVLogger& logger) { logger.logDebugBlock([] { return longText; }); }},
    {"usual", 0, [](QVLogger& logger) { logger.logInfo("%d of %@ in %.1f s", 7, "Etudes", 0.5); }},
    {"text", 0, [](QVLogger& logger) { logger.logErrorString("The cover is no picture"); }},
    {"long text", 2, [](QVLogger& logger) { logger.logInfoString(longText); }},
    {"long arguments", 3, [](QVLogger& logger) { logger.logInfo("%@ of %s", longText, longText.c_str()); }},
};

TEST(LogAllocations, areMadeForLongLinesOnly) {
  const testing::TemporaryFolder folder;
  const auto file = QVFileHandleLogWriter::fileHandleForLoggingAtPath(folder / "log", 0600);
  QVLogger logger(file, std::make_shared<QVLogStandardFormatter>(), std::make_shared<QVLogLevelFilter>());
  for (const bool throughList : {false, true}) {
    if (throughList) logger.addWriter(file);
    for (const auto& [row, most, log] : cases) {
      const int before = allocations;
      log(logger);
      EXPECT_LE(allocations - before, throughList && most > 0 ? most + 1 : most)
          << row;  // the file gets two lines
    }
  }
}

}  // namespace
}  // namespace QVFoundation
