#pragma once

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "QVFoundation/platform/runtime/SharedNode.h"
#include "QVFoundation/platform/runtime/Value.h"

/// The storage that values share. Only the classes of the same names look inside.
namespace QVFoundation::detail {

struct DataNode final : Node {
  explicit DataNode(NSData content) : bytes(std::move(content)) {}
  NSData bytes;
};

struct ArrayNode final : Node {
  ArrayNode() = default;
  explicit ArrayNode(std::vector<Value> content) : elements(std::move(content)) {}
  std::vector<Value> elements;
};

struct DictionaryNode final : Node {
  using Entries = std::unordered_map<Value, Value, ValueHash, ValueEqual>;
  DictionaryNode() = default;
  explicit DictionaryNode(Entries content) : entries(std::move(content)) {}
  Entries entries;
};

struct SetNode final : Node {
  using Members = std::unordered_set<Value, ValueHash, ValueEqual>;
  SetNode() = default;
  explicit SetNode(Members content) : members(std::move(content)) {}
  Members members;
};

}  // namespace QVFoundation::detail
