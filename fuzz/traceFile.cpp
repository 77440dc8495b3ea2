#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/platform/tracing/TraceFileSink.h"
#include "fuzz/Folder.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// Signposts in lanes that are called by any bytes. Each step is a byte that says what it is, then one for the
// name, one for the identifier and one for the lane; a lane's name goes to the end of the line.

using namespace QVFoundation;
using fuzzing::require;

namespace {

OSSignpostID idOf(std::uint8_t number) {
  static const std::array<char, 4> objects{};
  return OSSignpostID(&objects[number % objects.size()]);
}

OSSignpost signpostOf(std::uint8_t kind, fuzzing::Input& input, std::size_t& microseconds) {
  static const std::array<StaticText, 4> names{"a", "b \"quoted\" \\", "c\n\t\x01",
                                               "\xC3\xA9\xF0\x9F\x8E\xB5"};
  constexpr std::array types{OSSignpostType::event, OSSignpostType::begin, OSSignpostType::end};
  // Braces keep the order.
  return OSSignpost{.type = types[kind % 4 % types.size()],
                    .name = names[input.take<std::uint8_t>() % names.size()],
                    .id = idOf(input.take<std::uint8_t>()),
                    .lane = idOf(input.take<std::uint8_t>()),
                    .subsystem = "org.example.fuzz",
                    .category = names[kind / 4 % names.size()],
                    .time = std::chrono::steady_clock::time_point(std::chrono::microseconds(++microseconds))};
}

/// In a lane each end is that of the last begin, and each lane has one name at most.
class Lanes {
public:
  explicit Lanes(const Array& records) {
    for (const Value& record : records) check(record.dictionary());
  }

private:
  void check(const Dictionary& record) {
    const std::string phase = record["ph"].as<std::string>().value();
    const std::string name = record["name"].as<std::string>().value();
    if (name == "process_name" && phase == "M") return;
    const auto lane = record["tid"].as<int>().value();
    require(lane > 0 && lane <= 4);
    std::vector<std::string>& open = open_[lane];
    if (phase == "M") {
      require(++named_[lane] == 1);
      require(record["args"].dictionary()["name"].text() != nullptr);
    } else if (phase == "B") {
      open.push_back(name);
    } else if (phase == "E") {
      require(!open.empty() && open.back() == name);
      open.pop_back();
    } else {
      require(phase == "i");
    }
  }

  std::map<int, std::vector<std::string>> open_;
  std::map<int, int> named_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzzing::Folder folder;
  static const std::string path = folder.path("trace.json");
  {
    TraceFileSink sink(path);
    fuzzing::Input input(data, size);
    std::size_t microseconds = 0;
    while (!input.isAtEnd()) {
      const auto kind = input.take<std::uint8_t>();
      if (kind % 4 == 3) {
        const auto lane = idOf(input.take<std::uint8_t>());
        sink.nameLane(lane, input.line());
      } else {
        sink.write(signpostOf(kind, input, microseconds));
      }
    }
  }
  const std::string content = testing::contentOf(path);
  require(isValidUTF8(content));
  const Value records = valueFromJSON(content);
  require(records.kind() == ValueKind::array);
  Lanes{records.array()};
  std::filesystem::remove(path);
  return 0;
}
