#include <algorithm>
#include <array>
#include <cstdint>
#include <dlfcn.h>
#include <execinfo.h>
#include <sstream>
#include <string_view>

#include "QVFoundation/platform/runtime/CallStack_p.h"
#include "QVFoundation/platform/runtime/TypeName.h"

#ifdef QV_HAVE_LIBBACKTRACE
#include <backtrace.h>
#endif

namespace QVFoundation::detail {

namespace {

constexpr int deepestFrame = 128;

struct Frame {
  std::string function;
  std::string file;
  int line = 0;
  std::uintptr_t offset = 0;
};

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }

#ifdef QV_HAVE_LIBBACKTRACE

void ignoreError(void* /*frame*/, const char* /*message*/, int /*number*/) {}

int takeSource(void* context, std::uintptr_t /*pc*/, const char* file, int line, const char* function) {
  auto& frame = *static_cast<Frame*>(context);
  if (function != nullptr) frame.function = demangledSymbol(function);
  if (file != nullptr) frame.file = lastComponent(file);
  frame.line = line;
  return function != nullptr ? 1 : 0;  // the innermost function is enough
}

void takeSymbol(void* context, std::uintptr_t pc, const char* symbol, std::uintptr_t value,
                std::uintptr_t /*size*/) {
  auto& frame = *static_cast<Frame*>(context);
  if (symbol == nullptr) return;
  frame.offset = pc - value;
  if (frame.function.empty()) frame.function = demangledSymbol(symbol);
}

/// Asks the debug information and the symbol tables on disk, so that functions that are not exported have
/// names too.
void lookUp(std::uintptr_t address, Frame& frame) {
  static backtrace_state* const state = backtrace_create_state(nullptr, /*threaded=*/1, ignoreError, nullptr);
  if (state == nullptr) return;
  backtrace_pcinfo(state, address, takeSource, ignoreError, &frame);
  backtrace_syminfo(state, address, takeSymbol, ignoreError, &frame);
}

#else

void lookUp(std::uintptr_t, Frame&) {}

#endif

std::string describe(std::size_t index, void* address) {
  const auto pc =
      reinterpret_cast<std::uintptr_t>(address) - 1;  // a return address may belong to the next line
  Frame frame;
  lookUp(pc, frame);

  Dl_info module{};
  const bool known = dladdr(address, &module) != 0;
  if (frame.function.empty() && known && module.dli_sname != nullptr) {
    frame.function = demangledSymbol(module.dli_sname);
    frame.offset = pc - reinterpret_cast<std::uintptr_t>(module.dli_saddr);
  }

  std::ostringstream text;
  text << index << "  " << (known && module.dli_fname != nullptr ? lastComponent(module.dli_fname) : "?")
       << "  ";
  if (!frame.function.empty()) {
    text << frame.function << " + " << frame.offset;
  } else {
    text << address;
  }
  if (!frame.file.empty()) text << " (" << frame.file << ':' << frame.line << ')';
  return text.str();
}

}  // namespace

CallStack CallStack::capture(const void* innermost) {
  std::array<void*, deepestFrame> addresses{};
  const auto end = addresses.begin() + backtrace(addresses.data(), deepestFrame);
  const auto begin = std::find(addresses.begin(), end, innermost);
  CallStack stack;
  stack.addresses_.assign(begin != end ? begin : addresses.begin(), end);
  return stack;
}

std::vector<std::string> CallStack::symbols() const {
  std::vector<std::string> symbols;
  symbols.reserve(addresses_.size());
  for (void* address : addresses_) symbols.push_back(describe(symbols.size(), address));
  return symbols;
}

}  // namespace QVFoundation::detail
