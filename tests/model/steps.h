// Makes each operation of `std::atomic` a step. The product's own code is compiled with this header before
// it, as it stands, and its threads run as fibers of one thread, in every order of their steps.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace model {

extern int running;  // the fiber that runs; -1 for none
extern const char*
    failure;  // the first promise that the order in hand breaks, which ends everything; or null

// Ends the fiber's slice; it goes on when `ready` holds. Of several outcomes each is tried: returns one's
// number.
int step(const char* what, int outcomes = 1, const std::function<bool()>& ready = nullptr);

inline void expect(bool holds, const char* otherwise) {
  if (!holds && failure == nullptr) failure = otherwise;
}

}  // namespace model

namespace std {
template <typename T>
class stepwise_atomic {
  using Order = std::memory_order;
  T value_;
  std::uint32_t alive_ = 1, waiting_ = 0, unordered_ = 0;  // the last two have a bit a fiber

  void reach(const char* what, Order order, Order enough) {
    if (model::running < 0) return;
    model::step(what);
    model::expect(alive_ == 1, "an atomic is used after its end");
    const std::uint32_t bit = 1U << model::running;
    unordered_ = order == enough || order == Order::seq_cst ? unordered_ & ~bit : unordered_ | bit;
  }
  T change(Order order, T (*to)(T, T), T n) {
    reach("change", order, Order::acq_rel);
    const T old = value_;
    value_ = to(old, n);
    return old;
  }

 public:
  constexpr stepwise_atomic(T value) : value_(value) {}
  // Whoever ends it has seen what all others did before their last use of it.
  ~stepwise_atomic() { model::expect(unordered_ == 0, "the last use of an atomic was a relaxed one"); }
  T load(Order order = Order::seq_cst) const {
    const_cast<stepwise_atomic*>(this)->reach("load", order, Order::acquire);
    return value_;
  }
  void store(T n, Order order = Order::seq_cst) { reach("store", order, Order::release), value_ = n; }
  T fetch_add(T n, Order o = Order::seq_cst) {
    return change(
        o, [](T a, T b) -> T { return a + b; }, n);
  }
  T fetch_sub(T n, Order o = Order::seq_cst) {
    return change(
        o, [](T a, T b) -> T { return a - b; }, n);
  }
  T fetch_or(T n, Order o = Order::seq_cst) {
    return change(
        o, [](T a, T b) -> T { return a | b; }, n);
  }
  T fetch_and(T n, Order o = Order::seq_cst) {
    return change(
        o, [](T a, T b) -> T { return a & b; }, n);
  }
  void wait(T value) {
    for (reach("wait", Order::seq_cst, Order::seq_cst); value_ == value;) {
      const std::uint32_t bit = 1U << model::running;
      waiting_ |= bit;
      model::step("woken", 1, [this, bit] { return (waiting_ & bit) == 0; });
    }
  }
  void notify_all() { reach("notify", Order::seq_cst, Order::seq_cst), waiting_ = 0; }
  operator T() const { return load(); }
  void operator=(T value) { store(value); }
};
}  // namespace std
#define atomic stepwise_atomic

// What the service keeps outside of functions stands together, as a part of the state.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"  // it is meant to be hidden, in a test alone
#endif
#define constinit [[gnu::section("service_state")]]
