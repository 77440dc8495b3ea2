#include "shared/CopySummary.h"

#include <cstring>
#include <ranges>

#include <QVFoundation/QVFoundation.h>

namespace example {

using namespace QVFoundation;

std::string summaryOf(const CopyReport& report, const std::filesystem::path& destination) {
  std::string text =
      stringWithFormat("%@: %lu files copied, %lu cloned, %lu linked, %lu folders, %lu others", destination,
                       report.copied.files + report.offloaded.files, report.cloned.files, report.linked.files,
                       report.folders, report.others);
  if (report.lossCount > 0)
    text += stringWithFormat("\nWhat could not be kept, %lu in all:", report.lossCount);
  for (const CopyLoss& loss : report.losses | std::views::take(5)) text += "\n  " + lossText(loss);
  return text;
}

std::string lossText(const CopyLoss& loss) {
  const char* const kinds[] = {"owner", "group", "mode", "times", "attribute ", "access list", "hard link"};
  return stringWithFormat("%s%@ of %@: %s", kinds[static_cast<std::size_t>(loss.kind)], loss.attribute,
                          loss.path, std::strerror(loss.code));
}

}  // namespace example
