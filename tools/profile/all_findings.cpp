// All that is wrong with a profile: asks every finder, and finds itself what concerns the file and the
// machine as wholes.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "tools/profile/findings.h"

namespace nimbolsp::tools {

namespace {

std::size_t serverCount(const EffectiveProfile& effective) {
  std::size_t count = 0;
  for (const PoolEntry& pool : effective.pools) count += pool.servers.size();
  return count;
}

void findInFile(const VisibleProfile& visible, Findings& findings) {
  const std::string_view text = visible.text;
  if (text.starts_with(kByteOrderMark)) findings.add(kByteOrderMarkFound, 1, "a byte order mark");
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    findings.add(kNulByte, visible.lineAt(nul), "a NUL byte");
  }
  if (text.find('\n') == std::string_view::npos) return;
  for (std::size_t cr = text.find('\r'); cr != std::string_view::npos; cr = text.find('\r', cr + 1)) {
    if (text.substr(cr + 1).starts_with('\n')) continue;
    findings.add(kLoneCr, visible.lineAt(cr), "a CR without an LF");
    return;
  }
}

// The limits of this process against what the daemon needs: the daemon may have others.
void findLimits(const EffectiveProfile& effective, Findings& findings) {
  constexpr std::size_t kOthers = 16;  // terminal, log, listener, a client, what the libraries open
  const std::size_t needed = serverCount(effective) + kOthers;
  const std::string servers = std::to_string(serverCount(effective)) + " servers";
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_max < needed) {
    findings.add(kDescriptorLimit, 1,
                 servers + " take a descriptor each, and here a process has at most " +
                     std::to_string(limit.rlim_max));
  }
  const bool isLimited = geteuid() != 0 && getrlimit(RLIMIT_NPROC, &limit) == 0;
  if (isLimited && limit.rlim_cur < needed) {
    findings.add(
        kThreadLimit, 1,
        servers + " take a thread each, and here a user has at most " + std::to_string(limit.rlim_cur));
  } else if (const std::uint64_t most = mostTasks("/proc/self/cgroup", "/sys/fs/cgroup"); most < needed) {
    findings.add(
        kThreadLimit, 1,
        servers + " take a thread each, and here a control group has at most " + std::to_string(most));
  }
}

}  // namespace

std::uint64_t mostTasks(const std::string& groupsFile, const std::string& root) {
  std::uint64_t most = UINT64_MAX;
  std::ifstream groups(groupsFile);
  for (std::string line; std::getline(groups, line);) {
    if (!line.starts_with("0::/")) continue;
    for (std::string group = line.substr(3);; group.resize(group.rfind('/'))) {
      std::ifstream limit(root + group + "/pids.max");
      std::uint64_t here = 0;
      if (limit >> here) most = std::min(most, here);  // the word "max" is none
      if (group.empty()) break;
    }
  }
  return most;
}

std::vector<Finding> findAll(const std::optional<VisibleProfile>& visible,
                             const EffectiveProfile& effective) {
  Findings findings;
  if (!visible) {
    findings.add(kTooLarge, 1, "more than 16 MB or 250,000 lines");
    return findings.take();
  }
  if (effective.error != 0 && isUtf16(visible->text)) {
    findings.add(kUtf16, 1, "the file is UTF-16, two bytes a character");
    return findings.take();
  }
  if (!visible->lines.empty()) {
    findInFile(*visible, findings);
    findInLines(*visible, findings);
  }
  const ReadLines read(*visible);
  findInKeys(*visible, effective, read, findings);
  findInValues(*visible, read, findings);
  findLimits(effective, findings);
  // What no finder has a word for.
  if (!findings.hasErrors()) findDifferences(*visible, effective, findings);
  if (!findings.hasErrors() && effective.error != 0) {
    findings.add(kDiffers, 1, "the daemon would end with " + quoted(effective.errorText()));
  }
  return findings.take();
}

}  // namespace nimbolsp::tools
