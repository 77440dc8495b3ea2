#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <string_view>

#include "QVFoundation/platform/serialization/JSONWriter.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/TraceEvents_p.h"

namespace QVFoundation::detail {

namespace {

std::string quoted(std::string_view text) {
  std::string json;
  JSONWriter(json).text(text);
  return json;
}

template <class... Args>
void appendLine(std::string& out, std::string_view format, const Args&... args) {
  out += ",\n";
  appendFormat(out, nullptr, format, std::array<FormatArgument, sizeof...(Args)>{args...});
}

double microseconds(std::chrono::steady_clock::time_point time) {
  return std::chrono::duration<double, std::micro>(time.time_since_epoch()).count();
}

bool isSameInterval(const OSSignpost& a, const OSSignpost& b) { return a.id == b.id && a.name == b.name; }

}  // namespace

std::string TraceEvents::firstRecord() const {
  return stringWithFormat(R"({"ph":"M","pid":%d,"name":"process_name","args":{"name":%@}})", process_,
                          quoted(program_invocation_short_name));
}

void TraceEvents::append(std::string& out, const OSSignpost& signpost) {
  Lane& lane = laneWith(signpost.lane);
  switch (signpost.type) {
    case OSSignpostType::event: appendRecord(out, lane, signpost, "i"); return;
    case OSSignpostType::begin: begin(out, lane, signpost); return;
    case OSSignpostType::end: end(out, lane, signpost); return;
  }
}

void TraceEvents::appendName(std::string& out, OSSignpostID id, std::string_view name) {
  Lane& lane = laneWith(id);
  if (lane.isNamed) return;
  appendLine(out, R"({"ph":"M","pid":%d,"tid":%u,"name":"thread_name","args":{"name":%@}})", process_,
             lane.number, quoted(name));
  lane.isNamed = true;
}

TraceEvents::Lane& TraceEvents::laneWith(OSSignpostID id) {
  Lane& lane = lanes_[id];
  if (lane.number == 0) lane.number = static_cast<unsigned>(lanes_.size());
  return lane;
}

void TraceEvents::begin(std::string& out, Lane& lane, const OSSignpost& signpost) {
  end(out, lane, signpost);  // if it has begun before
  appendName(out, signpost.lane, signpost.name.view());
  lane.open.push_back(signpost);
  appendRecord(out, lane, signpost, "B");
}

void TraceEvents::end(std::string& out, Lane& lane, const OSSignpost& signpost) const {
  const auto found = std::find_if(lane.open.rbegin(), lane.open.rend(),
                                  [&](const OSSignpost& begun) { return isSameInterval(begun, signpost); });
  if (found == lane.open.rend()) return;
  // An end in the file ends what began last. So those inside end here as well, and begin again.
  for (auto inner = lane.open.rbegin(); inner <= found; ++inner) {
    inner->time = signpost.time;
    appendRecord(out, lane, *inner, "E");
  }
  const auto rest = lane.open.erase(std::prev(found.base()));
  for (auto inner = rest; inner != lane.open.end(); ++inner) appendRecord(out, lane, *inner, "B");
}

void TraceEvents::appendRecord(std::string& out, const Lane& lane, const OSSignpost& signpost,
                               const char* phase) const {
  appendLine(out,
             R"({"ph":"%s","ts":%.3f,"pid":%d,"tid":%u,"cat":%@,"name":%@,"args":{"id":"%#x","thread":%d}})",
             phase, microseconds(signpost.time), process_, lane.number, quoted(signpost.category),
             quoted(signpost.name), signpost.id.number(), signpost.thread);
}

}  // namespace QVFoundation::detail
