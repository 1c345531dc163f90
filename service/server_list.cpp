#include "service/server_list.h"

#include <algorithm>

#include "service/balance.h"
#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

constexpr ServerRow kNoServer{-1, kLoadOfNoServer, kLastAllocationOfNoServer, 0};

std::ptrdiff_t offset(std::size_t place) {
  return static_cast<std::ptrdiff_t>(place);
}

}  // namespace

// Calls change(column, member): the values of all rows, and which of a row's they are.
template <typename Change>
void ServerList::forEachColumn(Change change) {
  change(numbers_, &ServerRow::number);
  change(loads_, &ServerRow::load);
  change(lastAllocations_, &ServerRow::lastAllocation);
  change(candidateMarks_, &ServerRow::candidateMark);
}

void ServerList::reserve(std::size_t servers) {
  const std::size_t rows = (servers + kRowsAtOnce - 1) / kRowsAtOnce * kRowsAtOnce;
  forEachColumn([rows](auto& column, auto) { column.reserve(rows); });
}

ServerRow ServerList::row(std::size_t place) const {
  return {numbers_[place], loads_[place], lastAllocations_[place], candidateMarks_[place]};
}

std::optional<std::size_t> ServerList::placeOf(std::int16_t number) const {
  const auto at = std::ranges::find(numbers_, number);
  if (at == numbers_.end()) return {};
  return static_cast<std::size_t>(at - numbers_.begin());
}

void ServerList::pushToHead(const ServerRow& row) {
  forEachColumn([&](auto& column, auto member) {
    if (size_ == column.size()) column.resize(size_ + kRowsAtOnce, kNoServer.*member);
    std::shift_right(column.begin(), column.begin() + offset(size_ + 1), 1);
    column.front() = row.*member;
  });
  ++size_;
}

void ServerList::countRequest(std::size_t place, Statistics& statistics, std::int32_t sequence) {
  statistics.loadUsed = wrapAdd(statistics.loadUsed, 1);
  if (statistics.loadLimit != 0) loads_[place] = loadPercent(statistics.loadUsed, statistics.loadLimit);
  lastAllocations_[place] = sequence;
}

ServerRow ServerList::take(std::size_t place) {
  const ServerRow taken = row(place);
  --size_;
  forEachColumn([&](auto& column, auto member) {
    std::shift_left(column.begin() + offset(place), column.begin() + offset(size_ + 1), 1);
    column[size_] = kNoServer.*member;
    if (size_ % kRowsAtOnce == 0) column.resize(size_);
  });
  return taken;
}

}  // namespace nimbolsp
