#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/files/PNAlias.h"
#include "QVFoundation/platform/files/FileReference.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "fuzz/Folder.h"
#include "fuzz/Require.h"

// An alias file, as it is, and with the checksum that it must end in, which chance would not find.

using namespace QVFoundation;
using fuzzing::require;

namespace {

void checkAlias(std::string_view content) {
  std::optional<NSError> error;
  const auto bytes = std::as_bytes(std::span(content));
  const auto alias = PNAlias::aliasWithData(bytes, &error);
  if (!alias) {
    require(error && error->code() == NSCoderReadCorruptError);
    return;
  }
  require(!error && alias->aliasPath().is_absolute());
  const auto found = alias->resolveAlias();
  const auto again = PNAlias::aliasWithData(alias->aliasData());
  require(again && again->aliasPath() == alias->aliasPath());
  if (found) require(again->resolveAlias() == found && std::filesystem::exists(*found));
}

void checkFile(const fuzzing::Folder& folder, std::string_view content) {
  const std::string path = folder.path("alias");
  fuzzing::Folder::write(path, content);
  std::optional<NSError> error;
  const auto target = PNAlias::pathFromAliasFile(path, 0, &error);
  require(target.has_value() != error.has_value());
  // What is no alias file leads to itself.
  if (!PNAlias::isAliasFileFromPath(path)) require(target && target->native() == path);
  const auto resolved = PNAlias::pathByResolvingSymlinksAndAliasesInPath(path, &error);
  require(error || resolved.is_absolute());
  (void)PNAlias::pathByResolvingSymlinksAndAliasesInPath(path + "/below");
}

std::string withChecksum(std::string_view content) {
  std::string record(content);
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const char c : content) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  for (unsigned shift = 0; shift < 64; shift += 8) record += static_cast<char>(sum >> shift);
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzzing::Folder folder;
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  for (const std::string& record : {std::string(content), withChecksum(content)}) {
    checkAlias(record);
    checkFile(folder, record);
  }
  folder.clear();
  return 0;
}
