#include "shared/TraceFile.h"

#include <memory>
#include <system_error>

#include <QVFoundation/QVFoundation.h>

namespace example {

using namespace QVFoundation;

void recordSignposts(const std::filesystem::path& file, const char* option) try {
  setOSSignpostSink(std::make_shared<TraceFileSink>(file));
} catch (const std::system_error& problem) {
  throw errorWithDescription(stringWithFormat("%s: %s", option, problem.what()));
}

}  // namespace example
