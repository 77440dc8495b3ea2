#include <cerrno>
#include <string_view>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

#include "QVFoundation/platform/tracing/SystemLogSink_p.h"

#ifdef QV_HAVE_JOURNAL
// Otherwise each entry would claim to come from this file.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/uio.h>

#include <systemd/sd-journal.h>
#endif

namespace QVFoundation::detail {

namespace {

void writeToSyslog(const OSLogEntry& entry) {
  // No openlog(3): the options that it sets belong to the host.
  syslog(LOG_USER | syslogPriorityOf(entry.type), "%s", syslogTextOf(entry).c_str());
  // syslog(3) does not say whether it reached anybody. Without its socket it has not, unless the host had
  // connected before the socket went out of sight; reporting too much is then the lesser evil.
  if (access(_PATH_LOG, F_OK) != 0)
    throw std::system_error(errno, std::generic_category(), "no journal, and no syslog");
}

#ifdef QV_HAVE_JOURNAL

// sd_journal_sendv(3) takes entries without a word when nobody listens here.
bool journalIsThere() noexcept { return access("/run/systemd/journal/socket", F_OK) == 0; }

void writeToJournal(const OSLogEntry& entry) {
  auto fields = journalFieldsOf(entry);
  std::array<iovec, std::tuple_size_v<decltype(fields)>> vector{};
  for (std::size_t i = 0; i < fields.size(); ++i) vector[i] = {fields[i].data(), fields[i].size()};
  const int status = sd_journal_sendv(vector.data(), static_cast<int>(vector.size()));
  if (status < 0) throw std::system_error(-status, std::generic_category(), "the journal refused an entry");
}

#else

constexpr bool journalIsThere() noexcept { return false; }
void writeToJournal(const OSLogEntry&) {}

#endif

std::string field(std::string_view name, std::string_view value) {
  std::string text;
  text.reserve(name.size() + 1 + value.size());
  text.append(name).append(1, '=').append(value);
  return text;
}

// A datagram that is larger than the socket's buffer, usually 208 KiB, would be lost without a word.
constexpr std::size_t longestSyslogText = 64UL * 1024;

/// Cuts a text that is too long, in front of a character, and says how much is missing.
void cutToFit(std::string& text) {
  if (text.size() <= longestSyslogText) return;
  std::size_t end = longestSyslogText;
  while (end > longestSyslogText - 3 && (text[end] & 0xC0) == 0x80) --end;
  const std::size_t missing = text.size() - end;
  text.resize(end);
  text.append("… (").append(std::to_string(missing)).append(" more bytes)");
}

void appendWithoutNul(std::string& text, std::string_view piece) {
  for (const char c : piece) {
    if (c == '\0') {
      text += "\xEF\xBF\xBD";
    } else {
      text += c;
    }
  }
}

}  // namespace

void SystemLogSink::write(const OSLogEntry& entry) {
  if (journalIsThere()) {
    writeToJournal(entry);
  } else {
    writeToSyslog(entry);
  }
}

std::array<std::string, 6> journalFieldsOf(const OSLogEntry& entry) {
  return {
      field("MESSAGE", entry.message),
      field("PRIORITY", std::to_string(syslogPriorityOf(entry.type))),
      field("SUBSYSTEM", entry.subsystem),
      field("CATEGORY", entry.category),
      field("SYSLOG_IDENTIFIER", entry.identifier),
      field("TID", std::to_string(entry.thread)),
  };
}

std::string syslogTextOf(const OSLogEntry& entry) {
  std::string text = "[";
  appendWithoutNul(text, entry.subsystem);
  text += ':';
  appendWithoutNul(text, entry.category);
  text += "] ";
  appendWithoutNul(text, entry.message);
  cutToFit(text);
  return text;
}

int syslogPriorityOf(OSLogType type) noexcept {
  switch (type) {
    case OSLogType::debug: return LOG_DEBUG;
    case OSLogType::info: return LOG_INFO;
    case OSLogType::default_: return LOG_NOTICE;
    case OSLogType::error: return LOG_ERR;
    case OSLogType::fault: return LOG_CRIT;
  }
  return LOG_NOTICE;
}

}  // namespace QVFoundation::detail
