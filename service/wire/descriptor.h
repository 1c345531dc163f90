// A file descriptor that closes with its scope.
#pragma once

#include <unistd.h>

#include <utility>

namespace nimbolsp {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  // Negative when nothing is open.
  int number() const { return number_; }

  // Closes what is open, if anything, and takes this one over.
  void replace(int number) {
    if (number_ >= 0) ::close(number_);
    number_ = number;
  }
  void close() { replace(-1); }

 private:
  int number_ = -1;
};

}  // namespace nimbolsp
