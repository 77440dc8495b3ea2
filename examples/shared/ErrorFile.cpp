#include "shared/ErrorFile.h"

#include <cstdio>
#include <optional>
#include <span>
#include <string>

#include <QVFoundation/QVFoundation.h>

#include "shared/TerminalText.h"

namespace example {

using namespace QVFoundation;

void writeError(const NSError& error, const std::filesystem::path& path) {
  const std::string json = jsonDescription(QVCodableError(error)) + '\n';
  std::optional<NSError> problem;
  if (writeDataToFile(std::as_bytes(std::span(json)), path, NSDataWritingOptions::none, &problem)) return;
  std::fprintf(stderr, "%s\n", shown(problem->localizedDescription()).c_str());
}

}  // namespace example
