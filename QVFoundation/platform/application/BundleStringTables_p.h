#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "QVFoundation/platform/application/BundleResources_p.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/runtime/Dictionary.h"

namespace QVFoundation::detail {

/// The string tables of a bundle, each loaded when it is first asked for and then kept, also where there
/// is none.
///
/// They form a list that only ever grows at its end, so that those who look for a table need no lock. A
/// program has a handful of tables.
///
/// Threads: any. One thread at a time loads a table; those who ask for one that is loaded do not wait.
class BundleStringTables {
public:
  /// The resources must outlive the tables.
  explicit BundleStringTables(const BundleResources& resources) : resources_(resources) {}
  BundleStringTables(const BundleStringTables&) = delete;
  BundleStringTables& operator=(const BundleStringTables&) = delete;
  ~BundleStringTables();

  /// The text for a key; null where the table has none. It lives as long as this object.
  [[nodiscard]] const std::string* text(std::string_view key, std::string_view table);

private:
  struct Table {
    std::string name;
    Dictionary texts;
    std::atomic<Table*> next{nullptr};
  };

  [[nodiscard]] const Table* find(std::string_view name) const noexcept;
  [[nodiscard]] const Table* findOrLoad(std::string_view name);
  [[nodiscard]] Dictionary load(std::string_view name) const;
  [[nodiscard]] Dictionary loadFromLocalizationTable(std::string_view name) const;

  const BundleResources& resources_;
  std::atomic<Table*> first_{nullptr};
  Mutex loading_;
  std::atomic<Table*>* end_ QV_GUARDED_BY(loading_) = &first_;
};

}  // namespace QVFoundation::detail
