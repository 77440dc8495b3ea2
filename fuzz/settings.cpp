#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/application/UserDefaultsFile_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "fuzz/Folder.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// Two bytes with the length of a backup, or zero for none, the backup, and a file with settings.

using namespace QVFoundation;
using fuzzing::require;

namespace {

/// What a file holds; nothing where it is damaged.
std::optional<Dictionary> settingsIn(std::string_view content) {
  try {
    const Value list = propertyListFromData(std::as_bytes(std::span(content)));
    if (list.kind() == ValueKind::dictionary) return list.dictionary();
  } catch (const NSError&) {
  }
  return {};
}

/// Writes to hostile settings, and reads what it has written. XML alone may refuse some characters.
void checkWriting(const detail::UserDefaultsFile& file, Dictionary expected) {
  expected.set("fuzz", 1);
  const auto after = file.update({{"fuzz", Value(1)}});
  require(after.values == expected && file.read().values == expected && file.read().report.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzzing::Folder folder;
  static const std::string path = folder.path("UserDefaults.plist");
  static const std::string backupPath = folder.path("UserDefaults.backup.plist");
  static const std::string damagedPath = folder.path("UserDefaults.damaged.plist");

  fuzzing::Input input(data, size);
  const std::string_view backup = input.text(input.take<std::uint16_t>());
  const std::string_view content = input.rest();
  if (!backup.empty()) fuzzing::Folder::write(backupPath, backup);
  fuzzing::Folder::write(path, content);

  const detail::UserDefaultsFile file(path);
  const auto sound = settingsIn(content);
  const auto soundBackup = backup.empty() ? std::nullopt : settingsIn(backup);
  const auto found = file.read();
  // Never lost: either it is what it was, or it lies aside and its backup has taken its place.
  const Dictionary expected = sound ? *sound : soundBackup.value_or(Dictionary());
  require(found.values == expected && found.report.empty() == sound.has_value());
  require(testing::contentOf(sound ? path : damagedPath) == content);
  require(std::filesystem::exists(damagedPath) != sound.has_value());
  require(file.read().values == expected && file.read().report.empty());
  checkWriting(file, expected);
  folder.clear();
  return 0;
}
