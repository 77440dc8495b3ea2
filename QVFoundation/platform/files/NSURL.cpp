#include "QVFoundation/platform/files/NSURL.h"

#include <algorithm>
#include <utility>

#include "QVFoundation/platform/files/PathComponents.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/TextFields_p.h"

namespace QVFoundation {

namespace {

constexpr std::string_view fileURLStart = "file://";

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The value of a hexadecimal digit; -1 for any other character.
int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The parts of a URL, of which each begins where the one before it ends.
struct URLParts {
  std::string_view scheme;     // without its colon
  std::string_view authority;  // with the slashes before it; may be empty
  std::string_view path;
  std::string_view query;     // with its question mark
  std::string_view fragment;  // with its number sign
};

/// Takes apart a text that has a colon.
URLParts partsOf(std::string_view text) {
  const auto take = [&text](std::string_view ends, std::size_t from = 0) {
    const std::string_view part = text.substr(0, text.find_first_of(ends, from));
    text.remove_prefix(part.size());
    return part;
  };
  URLParts parts;
  parts.scheme = take(":");
  text.remove_prefix(1);
  if (text.starts_with("//")) parts.authority = take("/?#", 2);
  parts.path = take("?#");
  parts.query = take("#");
  parts.fragment = text;
  return parts;
}

/// What every part but the scheme may hold as it is: a "pchar" of RFC 3986, section 3.3, or a slash.
bool isPlain(char c) {
  return isLetter(c) || isDigit(c) ||
         std::string_view("-._~!$&'()*+,;=:@/").find(c) != std::string_view::npos;
}

/// Percent-encodes what is neither plain nor one of some others.
std::string percentEncoded(std::string_view text, std::string_view others = {}) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (isPlain(c) || others.find(c) != std::string_view::npos) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
  }
  return out;
}

/// Decodes a text whose escapes are in order.
std::string percentDecoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      out += text[at];
    } else {
      out += static_cast<char>(hexValue(text[at + 1]) * 16 + hexValue(text[at + 2]));
      at += 2;
    }
  }
  return out;
}

bool beginsWithScheme(std::string_view text) {
  const auto isOfScheme = [](char c) {
    return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
  };
  const std::size_t length = text.find(':');
  return length != std::string_view::npos && length > 0 && isLetter(text[0]) &&
         std::ranges::all_of(text.substr(0, length), isOfScheme);
}

bool isBlankOrControl(char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; }

bool escapesAreInOrder(std::string_view text) {
  for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 1)) {
    if (text.size() - at < 3 || hexValue(text[at + 1]) < 0 || hexValue(text[at + 2]) < 0) return false;
  }
  return true;
}

std::string absolutePath(std::string_view path) {
  if (path.starts_with('/')) return std::string(path);
  std::string absolute = std::filesystem::current_path().native();
  if (!absolute.ends_with('/')) absolute += '/';
  return absolute += path;
}

void addFinalSlash(std::string& path) {
  if (!path.ends_with('/')) path += '/';
}

}  // namespace

NSURL::NSURL(Encoded url)
    : text_(std::move(url.text)),
      schemeLength_(partsOf(text_).scheme.size()),
      path_(percentDecoded(partsOf(text_).path)),
      hasDirectoryPath_(path_.ends_with('/')) {
  if (hasDirectoryPath_ && path_.size() > 1) path_.pop_back();
}

NSURL::NSURL(const std::filesystem::path& filePath) : NSURL(fileURLWithPath(filePath)) {}

NSURL NSURL::fileURLWithPath(PathView path, IsDirectory isDirectory) {
  std::string absolute = absolutePath(path);
  if (isDirectory == IsDirectory::yes) addFinalSlash(absolute);
  return NSURL(Encoded{std::string(fileURLStart) += percentEncoded(absolute)});
}

std::optional<NSURL> NSURL::URLWithString(std::string_view text) {
  if (!beginsWithScheme(text) || std::ranges::any_of(text, isBlankOrControl) || !escapesAreInOrder(text))
    return {};
  const URLParts parts = partsOf(text);
  std::string url = detail::lowerCaseASCII(parts.scheme) + ':';
  url += percentEncoded(parts.authority, "%[]");
  url += percentEncoded(parts.path, "%");
  url += percentEncoded(parts.query, "%?");
  if (!parts.fragment.empty()) (url += '#') += percentEncoded(parts.fragment.substr(1), "%?");
  return NSURL(Encoded{std::move(url)});
}

std::string_view NSURL::scheme() const noexcept { return std::string_view(text_).substr(0, schemeLength_); }

NSURL::operator PathView() const {
  if (isFileURL()) return path_;
  throw NSException(NSInvalidArgumentException, "\"" + text_ + "\" is not the URL of a file");
}

std::string NSURL::lastPathComponent() const { return QVFoundation::lastPathComponent(path_); }

std::string NSURL::pathExtension() const { return QVFoundation::pathExtension(path_); }

NSURL NSURL::URLByAppendingPathComponent(PathView name, IsDirectory isDirectory) const {
  const URLParts parts = partsOf(text_);
  std::string path =
      stringByAppendingPathComponent(parts.path.empty() ? "/" : parts.path, percentEncoded(name));
  if (isDirectory == IsDirectory::yes || name.text().ends_with('/')) addFinalSlash(path);
  return withEncodedPath(path);
}

NSURL NSURL::URLByDeletingLastPathComponent() const {
  std::string path = stringByDeletingLastPathComponent(partsOf(text_).path);
  if (!path.empty()) addFinalSlash(path);
  return withEncodedPath(path);
}

NSURL NSURL::withEncodedPath(std::string_view path) const {
  const std::string_view old = partsOf(text_).path;
  std::string text = text_;
  text.replace(static_cast<std::size_t>(old.data() - text_.data()), old.size(), path);
  return NSURL(Encoded{std::move(text)});
}

}  // namespace QVFoundation
