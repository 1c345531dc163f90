// How long requests took: counted by classes of time, whose number is fixed however many requests there are.
// A class is at most a 32nd of its times wide. Pure.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

namespace nimbolsp::tools {

class DurationCount {
 public:
  void add(std::chrono::microseconds took);

  // The time within which so many per cent (0 to 100) of the requests were done, at most a 32nd too long; 0
  // without a request.
  std::chrono::microseconds percentile(double percent) const;

  std::chrono::microseconds largest() const { return largest_; }

 private:
  static constexpr std::size_t kSteps = 32;                   // classes between a time and twice that
  static constexpr std::size_t kClasses = (63 - 4) * kSteps;  // for all times of 63 bits

  static std::size_t classOf(std::uint64_t microseconds);
  static std::uint64_t endOf(std::size_t number);

  std::array<std::uint64_t, kClasses> counts_{};
  std::uint64_t total_ = 0;
  std::chrono::microseconds largest_{0};
};

}  // namespace nimbolsp::tools
