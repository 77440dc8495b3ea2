#include "QVFoundation/platform/runtime/NSException.h"

#include <utility>

#include "QVFoundation/platform/runtime/CallStack_p.h"

namespace QVFoundation {

struct NSException::State {
  std::string name;
  std::optional<std::string> reason;
  Dictionary userInfo;
  detail::CallStack callStack;
};

NSException::NSException(std::string_view name, std::optional<std::string> reason, Dictionary userInfo)
    : state_(std::make_shared<const State>(
          State{std::string(name), std::move(reason), std::move(userInfo), detail::CallStack::capture()})) {}

NSException::~NSException() = default;
NSException::NSException(const NSException&) noexcept = default;
NSException& NSException::operator=(const NSException&) noexcept = default;

const std::string& NSException::name() const noexcept { return state_->name; }

const std::optional<std::string>& NSException::reason() const noexcept { return state_->reason; }

const Dictionary& NSException::userInfo() const noexcept { return state_->userInfo; }

std::vector<std::string> NSException::callStackSymbols() const { return state_->callStack.symbols(); }

const char* NSException::what() const noexcept { return reason() ? reason()->c_str() : name().c_str(); }

}  // namespace QVFoundation
