#include "tools/polling/shortage.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "service/wire/descriptor.h"

namespace nimbolsp::tools {

bool isShortage(int error) {
  const int known[] = {EMFILE, ENFILE, ENOBUFS, ENOMEM, ENOSPC, EADDRNOTAVAIL};  // the last one: no port
  return std::ranges::count(known, error) > 0;
}

std::string shortageText(int error) {
  const bool ofDescriptors = error == EMFILE || error == ENFILE;
  return std::string("nimbolspctl ") + (ofDescriptors ? "has too few descriptors" : "lacks memory or ports") +
         ": " + std::strerror(error);
}

std::size_t freeDescriptors() {
  rlimit limit{};
  const Descriptor lowest(open("/", O_PATH | O_CLOEXEC));
  if (lowest.number() < 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  const auto taken = static_cast<rlim_t>(lowest.number());
  return limit.rlim_cur > taken ? limit.rlim_cur - taken : 0;
}

}  // namespace nimbolsp::tools
