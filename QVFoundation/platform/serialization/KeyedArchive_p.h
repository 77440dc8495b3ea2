#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// The form of an archive. It is a dictionary with the objects in a list, each with its class and its values;
/// values refer to objects by their place in it.
///
///     {"archiver": "NSKeyedArchiver", "version": 1, "top": VALUE, "objects": [{"class": …, "values": {…}}, …]}
///
/// A VALUE is text, a number, data, a date, an array of values, {"object": INDEX} or {"dictionary": {KEY: VALUE}}.
///
/// Threads: plain values.
namespace QVFoundation::detail {

inline constexpr std::string_view archiverKey = "archiver";
inline constexpr std::string_view archiverName = "NSKeyedArchiver";
inline constexpr std::string_view archiveVersionKey = "version";
inline constexpr int archiveVersion = 1;
inline constexpr std::string_view archiveTopKey = "top";
inline constexpr std::string_view archiveObjectsKey = "objects";
inline constexpr std::string_view archiveClassKey = "class";
inline constexpr std::string_view archiveValuesKey = "values";
inline constexpr std::string_view archiveObjectMark = "object";
inline constexpr std::string_view archiveDictionaryMark = "dictionary";

/// Where coding has come to, for errors and against exhaustion.
class CodingPlace {
public:
  static constexpr std::size_t deepest = 100;

  /// One step deeper, for as long as it exists. The keys themselves live longer.
  class Step {
  public:
    Step(CodingPlace& place, std::string_view key) : place_(place) {
      place_.steps_.push_back({key, 0, true});
    }
    Step(CodingPlace& place, std::size_t index) : place_(place) {
      place_.steps_.push_back({{}, index, false});
    }
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;
    ~Step() { place_.steps_.pop_back(); }

  private:
    CodingPlace& place_;
  };

  [[nodiscard]] bool isTooDeep() const noexcept { return steps_.size() > deepest; }
  /// Such as `The value at "tracks[3].title" cannot be read: it is a set`.
  [[nodiscard]] NSError error(std::int64_t code, std::string_view what, std::string_view problem) const;

private:
  struct Part {
    std::string_view key;
    std::size_t index;
    bool isKey;
  };
  std::vector<Part> steps_;
};

/// The values of the objects that are being coded, the innermost last.
using OpenObjects = std::vector<Dictionary>;

/// The values of one object, for as long as it exists.
class OpenObject {
public:
  explicit OpenObject(OpenObjects& all, Dictionary values = {}) : all_(all) {
    all_.push_back(std::move(values));
  }
  OpenObject(const OpenObject&) = delete;
  OpenObject& operator=(const OpenObject&) = delete;
  ~OpenObject() { all_.pop_back(); }

  [[nodiscard]] Dictionary values() const { return all_.back(); }

private:
  OpenObjects& all_;
};

}  // namespace QVFoundation::detail
