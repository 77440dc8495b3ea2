#include "shared/TerminalText.h"

#include <algorithm>
#include <cwchar>
#include <deque>
#include <sys/ioctl.h>
#include <unistd.h>

namespace example {

namespace {

/// One character, or a byte that is none: its bytes and its columns.
struct Piece {
  std::string bytes;
  std::size_t columns;
};

Piece takePiece(std::string_view& text) {
  wchar_t character = 0;
  std::mbstate_t state{};
  const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
  const bool isValid = length != 0 && length <= text.size();
  // Marks that turn the direction of writing would disguise what follows.
  const bool turns =
      (character >= 0x202a && character <= 0x202e) || (character >= 0x2066 && character <= 0x2069);
  const int columns = isValid && !turns ? ::wcwidth(character) : -1;
  Piece piece{"?", 1};
  if (columns >= 0) piece = {std::string(text.substr(0, length)), static_cast<std::size_t>(columns)};
  text.remove_prefix(isValid ? length : 1);
  return piece;
}

}  // namespace

std::string shown(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const bool isLineBreak = text.front() == '\n';
    const std::string piece = takePiece(text).bytes;
    result += isLineBreak ? "\n" : piece;
  }
  return result;
}

std::string shown(std::string_view text, std::size_t columns) {
  std::deque<Piece> pieces;
  std::size_t width = 0;
  while (!text.empty()) width += pieces.emplace_back(takePiece(text)).columns;
  std::string result(width > columns ? std::min<std::size_t>(columns, 3) : 0, '.');
  while (width + result.size() > columns) {
    width -= pieces.front().columns;
    pieces.pop_front();
  }
  for (const Piece& piece : pieces) result += piece.bytes;
  return result;
}

std::size_t terminalWidth() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 79;
  return std::max(size.ws_col - 1UL, 1UL);  // in the last one some terminals begin a new line
}

}  // namespace example
