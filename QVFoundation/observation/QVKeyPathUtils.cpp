#include "QVFoundation/observation/QVKeyPathUtils.h"

namespace QVFoundation {

std::string qv_keyPathWithComponents(std::span<const std::string> components) {
  std::string path;
  for (std::size_t i = 0; i < components.size(); ++i) {
    if (i > 0) path += '.';
    path += components[i];
  }
  return path;
}

std::vector<std::string> qv_keyPathComponents(std::string_view keyPath) {
  std::vector<std::string> components;
  if (keyPath.empty()) return components;
  for (auto dot = keyPath.find('.'); dot != std::string_view::npos; dot = keyPath.find('.')) {
    components.emplace_back(keyPath.substr(0, dot));
    keyPath.remove_prefix(dot + 1);
  }
  components.emplace_back(keyPath);
  return components;
}

std::string qv_firstKeyPathComponent(std::string_view keyPath) {
  return std::string(keyPath.substr(0, keyPath.find('.')));
}

std::string qv_lastKeyPathComponent(std::string_view keyPath) {
  return std::string(keyPath.substr(keyPath.rfind('.') + 1));  // npos + 1 is 0
}

std::optional<std::string> qv_keyPathByDeletingFirstComponent(std::string_view keyPath) {
  const auto dot = keyPath.find('.');
  return dot != std::string_view::npos ? std::optional<std::string>(keyPath.substr(dot + 1)) : std::nullopt;
}

std::optional<std::string> qv_keyPathByDeletingLastComponent(std::string_view keyPath) {
  const auto dot = keyPath.rfind('.');
  return dot != std::string_view::npos ? std::optional<std::string>(keyPath.substr(0, dot)) : std::nullopt;
}

std::string qv_keyPathByAddingComponent(std::string_view keyPath, std::string_view component) {
  std::string path(keyPath);
  if (!path.empty()) path += '.';
  return path.append(component);
}

}  // namespace QVFoundation
