#include "QVFoundation/operations/QVProgressUtilities.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/values/QVObject.h"

namespace QVFoundation {

namespace {

using SharedNode = std::shared_ptr<NSProgress>;

SharedNode sharedFrom(NSProgress& progress) {
  return std::static_pointer_cast<NSProgress>(progress.shared_from_this());
}

/// Sets a text on a progress and all above it.
template <class Set>
void updateUpwards(NSProgress& progress, const char* what, const std::optional<std::string>& text, Set set) {
  SharedNode kept;
  for (NSProgress* each = &progress; each != nullptr; each = kept.get()) {
    if (progressLog().isEnabled(OSLogType::info)) {
      progressLog().log(OSLogType::info,
                        stringWithFormat("%@: %@ -> %@", what, customDescription(*each), Value(text)));
    }
    (each->*set)(text);
    kept = each->parent();
  }
}

}  // namespace

std::optional<std::string> name(const NSProgress& progress) {
  return progress.userInfo()["name"].as<std::string>();
}

void setName(NSProgress& progress, const std::optional<std::string>& name) {
  progress.setUserInfoObject(name, "name");
}

std::shared_ptr<NSProgress> rootProgress(NSProgress& progress) {
  SharedNode root = sharedFrom(progress);
  while (auto above = root->parent()) root = std::move(above);
  return root;
}

std::vector<std::string> nameChain(NSProgress& progress) {
  std::vector<std::string> names;
  for (SharedNode each = sharedFrom(progress); each != nullptr; each = each->parent()) {
    names.push_back(name(*each).value_or("<unnamed>"));
  }
  std::ranges::reverse(names);
  return names;
}

std::string customDescription(const NSProgress& progress) {
  return jsonDescription(progress, JSONStyle::compact);
}

// It does not recurse: trees may be deep.
std::string hierarchyDescriptionWithIndent(const NSProgress& progress, int indent) {
  struct Line {
    SharedNode progress;
    int indent;
  };
  std::string text;
  std::vector<Line> pending;
  const auto add = [&](const NSProgress& each, int itsIndent) {
    if (!text.empty()) text += '\n';
    text.append(2 * static_cast<std::size_t>(std::max(itsIndent, 0)), ' ');
    text += customDescription(each);
    auto children = each.children();
    while (!children.empty()) {
      pending.push_back({std::move(children.back()), itsIndent + 1});
      children.pop_back();
    }
  };
  add(progress, indent);
  while (!pending.empty()) {
    const Line line = std::move(pending.back());
    pending.pop_back();
    add(*line.progress, line.indent);
  }
  return text;
}

void updateLocalizedDescription(NSProgress& progress, const std::optional<std::string>& description) {
  updateUpwards(progress, "localizedDescription", description, &NSProgress::setLocalizedDescription);
}

void updateLocalizedAdditionalDescription(NSProgress& progress,
                                          const std::optional<std::string>& description) {
  updateUpwards(progress, "localizedAdditionalDescription", description,
                &NSProgress::setLocalizedAdditionalDescription);
}

void incrementCompletedUnitCount(NSProgress& progress) {
  progress.addCompletedUnitCount(1);
  if (progressLog().isEnabled(OSLogType::debug)) [[unlikely]] {
    progressLog().log(OSLogType::debug,
                      stringWithFormat("Incremented unit count %@", customDescription(progress)));
  }
}

}  // namespace QVFoundation
