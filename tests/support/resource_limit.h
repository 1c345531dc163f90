// A lower resource limit from here to the end of the scope.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

class ResourceLimit {
 public:
  ResourceLimit(__rlimit_resource_t resource, rlim_t limit) : resource_(resource) {
    getrlimit(resource_, &before_);
    const rlimit lower{limit, before_.rlim_max};
    setrlimit(resource_, &lower);
  }
  ~ResourceLimit() { setrlimit(resource_, &before_); }
  ResourceLimit(ResourceLimit&&) = delete;

  // A limit on descriptors that leaves `count` free.
  static rlim_t descriptors(rlim_t count) {
    const int next = dup(STDIN_FILENO);
    close(next);
    return static_cast<rlim_t>(next) + count;
  }

 private:
  const __rlimit_resource_t resource_;
  rlimit before_{};
};
