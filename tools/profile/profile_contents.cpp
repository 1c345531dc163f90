#include "tools/profile/profile_contents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "service/wire/descriptor.h"
#include "tools/profile/visible_profile.h"

namespace nimbolsp::tools {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw std::invalid_argument(path + " cannot be read: " + why);
}

}  // namespace

std::string readProfileText(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (file.number() < 0 || fstat(file.number(), &status) != 0) refuse(path, std::strerror(errno));
  if (!S_ISREG(status.st_mode)) throw std::invalid_argument(path + " is no ordinary file");
  std::string contents(std::min(static_cast<std::size_t>(status.st_size), kMostVisibleBytes + 1), '\0');
  for (std::size_t done = 0; done < contents.size();) {
    const ssize_t count = read(file.number(), contents.data() + done, contents.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuse(path, std::strerror(errno));
    if (count == 0) refuse(path, "it is shorter than the system says");
    done += static_cast<std::size_t>(count);
  }
  return contents;
}

}  // namespace nimbolsp::tools
