// Counts the users of an object; the last one out destroys it. New users come only from those that are users
// already.
#pragma once

#include <atomic>
#include <cstdint>

namespace nimbolsp {

class UseCount {
 public:
  // Starts the object's life with its owner as the first user. Call only while the count is 0.
  void open() { count_.store(1, std::memory_order_release); }

  // Adds a user. Call as one of the users, who keeps the object alive meanwhile.
  void use() { count_.fetch_add(1, std::memory_order_relaxed); }

  // Leaves the users. True for exactly one caller, the last: it destroys the object.
  [[nodiscard]] bool letGo() { return count_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

 private:
  std::atomic<std::uint32_t> count_{0};
};

}  // namespace nimbolsp
