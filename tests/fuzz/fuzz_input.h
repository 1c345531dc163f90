// A fuzz target is a function `fuzz`. What it is given, and how it tells that something does not hold.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Ends the process, which libFuzzer tells together with the input.
#define MUST(condition) \
  if (!(condition)) std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition), std::abort()

// Takes numbers and texts off the front; behind the end numbers are 0 and texts empty.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* bytes, std::size_t size) : rest_(bytes, bytes + size) {}

  bool isAtEnd() const { return rest_.empty(); }
  std::uint8_t byte() { return static_cast<std::uint8_t>(take(1)[0]); }
  std::int32_t word() { return byte() << 24 | byte() << 16 | byte() << 8 | byte(); }
  std::string rest() { return take(rest_.size()); }
  std::string text() { return take(rest_.find('\x1F'), 1); }  // up to that byte, or the end

  std::string take(std::size_t count, std::size_t skipped = 0) {
    const std::string taken = rest_.substr(0, count);
    rest_.erase(0, std::max(count + skipped, count));
    return taken;
  }

 private:
  std::string rest_;
};

// A text up to its first NUL, with a NUL, in memory of just that size.
inline std::vector<char> exact(const std::string& text) {
  return {text.c_str(), text.c_str() + std::min(text.find('\0'), text.size()) + 1};
}

void fuzz(FuzzInput input);

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz({bytes, size});
  return 0;
}
