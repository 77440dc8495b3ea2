#include <utility>

#include "QVFoundation/platform/application/UserDefaultsDomains_p.h"

namespace QVFoundation::detail {

const Value& UserDefaultsDomains::chosen(std::string_view key) const {
  const auto unsaved = unsaved_.find(key);
  return unsaved != unsaved_.end() ? unsaved->second.value : stored_[key];
}

void UserDefaultsDomains::update(std::string_view key) {
  const Value& value = chosen(key);
  current_.set(key, value.isNothing() ? registered_[key] : value);
}

void UserDefaultsDomains::choose(Value value, std::string_view key) {
  unsaved_.insert_or_assign(std::string(key), Choice{std::move(value), ++number_});
  update(key);
}

void UserDefaultsDomains::registerDefaults(const Dictionary& defaults) {
  for (const auto& [key, value] : defaults) {
    registered_.set(key, value);
    update(*key.text());
  }
}

UserDefaultsDomains::Unsaved UserDefaultsDomains::unsaved() const {
  Unsaved unsaved{{}, number_};
  for (const auto& [key, choice] : unsaved_) unsaved.changes.emplace(key, choice.value);
  return unsaved;
}

void UserDefaultsDomains::markSaved(const Unsaved& saved) {
  for (const auto& [key, value] : saved.changes) {
    stored_.set(key, value);
    const auto choice = unsaved_.find(key);
    if (choice != unsaved_.end() && choice->second.number <= saved.number) unsaved_.erase(choice);
  }
}

std::vector<std::string> UserDefaultsDomains::keysThatDiffer(const Dictionary& stored) const {
  std::vector<std::string> keys;
  const auto add = [&](const Value& key) {
    if (!unsaved_.contains(*key.text())) keys.push_back(*key.text());
  };
  for (const auto& [key, value] : stored) {
    if (!(stored_[key] == value)) add(key);
  }
  for (const auto& [key, value] : stored_) {
    if (!stored.contains(key)) add(key);
  }
  return keys;
}

void UserDefaultsDomains::setStored(Dictionary stored) {
  const std::vector<std::string> keys = keysThatDiffer(stored);
  stored_ = std::move(stored);
  for (const std::string& key : keys) update(key);
}

}  // namespace QVFoundation::detail
