#include <optional>
#include <utility>
#include <vector>

#include "QVFoundation/platform/application/BundleStringTables_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/serialization/StringTable.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

namespace {

/// What a reader makes of a file; where that fails, an empty dictionary and a line for those who look after
/// the bundle.
template <class Read>
Dictionary readOrReport(const std::filesystem::path& file, Read read) {
  std::optional<NSError> error;
  if (auto table = read(file, &error)) return *std::move(table);
  NSLog("%@", error->localizedDescription());
  return {};
}

/// The names under which a localisation table has texts.
std::vector<std::string> localizationsOf(const Dictionary& table) {
  std::vector<std::string> localizations;
  for (const auto& [name, texts] : table.sortedEntries()) {
    if (name.text() != nullptr && texts.kind() == ValueKind::dictionary)
      localizations.push_back(*name.text());
  }
  return localizations;
}

}  // namespace

BundleStringTables::~BundleStringTables() {
  for (const Table* table = first_.load(); table != nullptr;) delete std::exchange(table, table->next.load());
}

const std::string* BundleStringTables::text(std::string_view key, std::string_view table) {
  const Table* found = find(table);
  if (found == nullptr) found = findOrLoad(table);
  return found->texts[key].text();
}

const BundleStringTables::Table* BundleStringTables::find(std::string_view name) const noexcept {
  const Table* table = first_.load(std::memory_order_acquire);
  while (table != nullptr && table->name != name) table = table->next.load(std::memory_order_acquire);
  return table;
}

const BundleStringTables::Table* BundleStringTables::findOrLoad(std::string_view name) {
  const MutexLock lock(loading_);
  if (const Table* table = find(name)) return table;
  auto* const table = new Table{std::string(name), load(name)};
  end_->store(table, std::memory_order_release);
  end_ = &table->next;
  return table;
}

Dictionary BundleStringTables::load(std::string_view name) const {
  const auto file = resources_.find(name, "strings", {}, {});
  return file ? readOrReport(*file, stringTableFromFile) : loadFromLocalizationTable(name);
}

Dictionary BundleStringTables::loadFromLocalizationTable(std::string_view name) const {
  const auto file = resources_.find(name, "loctable", {}, {});
  if (!file) return {};
  const Dictionary table = readOrReport(*file, dictionaryFromPropertyListFile);
  const auto chosen = resources_.chooseLocalizations(localizationsOf(table));
  return chosen.empty() ? Dictionary() : localizationInTable(table, chosen.front());
}

}  // namespace QVFoundation::detail
