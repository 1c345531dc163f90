// Text, numbers, wildcards, path names, mode strings of serial lines, and where a log is cut: small rules,
// each put plainly once more, in buffers of just the size that they need. The first byte chooses.
#include <wordexp.h>

#include <charconv>
#include <cstring>
#include <utility>

#include "compat/core/files/path_names.h"
#include "compat/core/finding/wildcard.h"
#include "compat/core/ports/comm_mode.h"
#include "compat/core/ports/line_settings.h"
#include "nimboxi/files.h"
#include "nimboxi/support/shell_words.h"
#include "nimboxi/text.h"
#include "service/log_trim.h"
#include "service/wire/numbers.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/locked_layer.h"

using namespace nimboxi;

static bool matches(std::string_view pattern, std::string_view name) {
  if (name.empty() || pattern.empty()) return pattern.find_first_not_of('*') == pattern.npos && name.empty();
  const bool isAny = pattern[0] == '*';
  if (isAny) pattern.remove_prefix(std::min(pattern.find_first_not_of('*'), pattern.size()));
  if (pattern.empty()) return true;
  while (isAny && !name.empty() && pattern[0] != name[0]) name.remove_prefix(1);
  return !name.empty() && (pattern[0] == name[0] || (!isAny && pattern[0] == '?')) &&
         matches(pattern.substr(1), name.substr(1));
}

static std::string fullPath(const std::string& name) {
  std::string path;
  for (std::size_t at = 0, end; at < name.size(); at = end + 1) {
    end = std::min(name.find('/', at), name.size());
    const std::string component = name.substr(at, end - at);
    if (component == "..") path.clear();
    if (!component.empty() && component != "." && component != "..") path += "/" + component;
    if (path.size() >= MAX_PATH_BYTES) return {};  // does not fit, were it only for now
  }
  return path.empty() ? "/" : path;
}

static void checkLine(FuzzInput& input) {
  DCB dcb{}, after{};
  termios line{};
  input.take(sizeof line).copy(reinterpret_cast<char*>(&line), sizeof line);
  if (parseCommMode(exact(input.rest()).data(), dcb) != 0 || applyDcb(dcb, line) != 0) return;
  updateDcb(line, after);
  MUST(after.BaudRate == dcb.BaudRate && after.ByteSize == dcb.ByteSize && after.StopBits == dcb.StopBits);
}

static void checkCut(FuzzInput& input) {
  const std::size_t pieceSize = input.byte() + 1U, threshold = input.byte() % 16 + 1U;
  nimbolsp::LogTrim trim(static_cast<std::int32_t>(threshold));
  const std::string all = input.rest();
  for (std::size_t at = 0; at < all.size() && trim.feed(all.substr(at, pieceSize));) at += pieceSize;
  std::size_t cut = 0;
  for (std::size_t n = 0; n < threshold / 2; ++n) cut = all.find('\n', cut) + 1;
  MUST(std::cmp_equal(trim.cutPoint(), std::cmp_less(std::ranges::count(all, '\n'), threshold) ? 0 : cut));
}

static void checkConversions(const std::vector<char>& text) {
  std::vector<char> ansi(text.size()), back(text.size()), utf8(3 * text.size() - 2);
  Utf8ToAnsi(text.data(), ansi.data());
  AnsiToUtf8(text.data(), utf8.data());
  MUST(Utf8ToAnsi(utf8.data(), back.data()) == std::ssize(text) - 1);
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    MUST(back[i] == (std::strchr("\x81\x8D\x8F\x90\x9D", text[i]) != nullptr ? '\xBF' : text[i]));
  }
  std::vector<std::uint32_t> points(text.size());
  Utf8ToUtf32(text.data(), points.data());
  points.erase(std::ranges::find(points, 0U) + 1, points.end());  // a character may stand for 0
  std::vector<char> encoded(4 * points.size() - 3);
  std::vector<std::uint32_t> again(points.size());
  Utf32ToUtf8(points.data(), encoded.data());
  MUST(Utf8ToUtf32(encoded.data(), again.data()) == std::ssize(points) - 1 && points == again);
  MUST(Utf32ToUtf16(points.data(), std::vector<std::uint16_t>(2 * points.size() - 1).data()) >= 0);
}

static void checkText(FuzzInput& input) {
  static LockedLayer& layer [[maybe_unused]] = *new LockedLayer;
  const std::int32_t number = input.word(), radix = input.byte() % 35 + 2;
  const DWORD count = input.byte();
  const std::string text = input.text();
  const std::vector<char> first = exact(text), second = exact(input.rest());
  checkConversions(first);
  const int order = strncasecmp(first.data(), second.data(), count == 0 ? SIZE_MAX : count);
  MUST((order <=> 0) == (StrNCmpI(first.data(), second.data(), count) <=> 0));
  const std::int64_t decimal = std::strtoll(text.c_str(), nullptr, 10);
  MUST(text.size() > 18 || nimbolsp::parseDecimal(text.c_str()) == static_cast<std::int32_t>(decimal));
  const std::int64_t value = radix == 10 ? number : std::int64_t{static_cast<DWORD>(number)};
  char digits[33], expected[33] = "";
  std::to_chars(expected, expected + 32, value, radix);
  MUST(std::strcmp(IntToText(number, digits, radix), expected) == 0);
  wordexp_t words;  // behind an x, for the C library makes a word of its own of a leading ''
  MUST(wordexp(("x" + shellWord(text.c_str())).c_str(), &words, WRDE_NOCMD | WRDE_UNDEF) == 0);
  MUST(words.we_wordc == 1 && std::strcmp(words.we_wordv[0] + 1, text.c_str()) == 0);
  wordfree(&words);
}

void fuzz(FuzzInput input) {
  const std::uint8_t choice = input.byte();
  if (choice < 64) return choice < 32 ? checkLine(input) : checkCut(input);
  if (choice < 128) return checkText(input);
  const std::string part = input.text(), name = input.rest();
  const std::vector<char> pattern = exact(part), named = exact(name);
  const bool isMatch = std::string_view(pattern.data()) == "*.*" || matches(pattern.data(), named.data());
  MUST(matchesWildcard(pattern.data(), named.data(), true) == isMatch);
  std::string folder = part;  // also one that is nearly too long
  while (choice < 136 && !part.empty() && folder.size() + part.size() < MAX_PATH_BYTES) folder += part;
  std::vector<char> path(MAX_PATH_BYTES), cut(choice);
  const std::string full = fullPath(name.starts_with('/') ? name : folder + "/" + name);
  MUST(std::string(path.data(), buildFullPath(folder, name, path.data())) == full);
  const PathParts parts = splitPath(name);
  const std::string last = std::string(parts.name).append(parts.extension), moved = folder + "/" + last;
  MUST(name.find(':') != name.npos || std::string(parts.directory) + last == name);
  MUST(buildMoveTarget(name, folder, path.data()) == moved.size() < MAX_PATH_BYTES);
  MUST(buildTempName(folder, last, choice, path.data()) == moved.size() + 8 < MAX_PATH_BYTES);
  MUST(filePartOffset(name) <= name.size() && name.starts_with(copyCut(name, cut.data(), cut.size())));
}
