// What is wrong with a server's entry: an address that is another one or none, a port, and what other
// programs would take and the daemon does not.
#include <arpa/inet.h>

#include <algorithm>
#include <cctype>

#include "tools/profile/findings.h"

namespace nimbolsp::tools {

namespace {

bool hasLetter(std::string_view text) {
  return std::ranges::any_of(text, [](unsigned char c) { return std::isalpha(c) != 0; });
}

bool isPort(std::string_view text) {
  const auto number = visibleNumber(text);
  return number && *number >= 1 && *number <= kHighestPort;
}

bool isDottedQuad(std::string_view address) {
  in_addr ignored{};
  return inet_pton(AF_INET, std::string(address).c_str(), &ignored) == 1;
}

// An IPv6 address, with a scope or not, with a port behind it or not.
bool isIpv6(std::string_view entry) {
  const auto isAddress = [](std::string_view text) {
    in6_addr ignored{};
    return inet_pton(AF_INET6, std::string(text.substr(0, text.find('%'))).c_str(), &ignored) == 1;
  };
  return entry.starts_with('[') || isAddress(entry) || isAddress(entry.substr(0, entry.rfind(':')));
}

// The entry when it is one that means what it says, else nothing.
std::string ifRight(std::string_view entry) {
  const std::size_t colon = entry.find(':');
  const bool right = colon == std::string_view::npos
                         ? isPort(entry)
                         : isDottedQuad(entry.substr(0, colon)) && isPort(entry.substr(colon + 1));
  return right ? std::string(entry) : std::string{};
}

// Without what stands from a slash up to the port or the end.
std::string withoutPath(std::string_view entry) {
  const std::size_t slash = entry.find('/');
  const std::size_t colon = std::min(entry.find(':', std::min(slash, entry.size())), entry.size());
  return std::string(entry.substr(0, slash)) + std::string(entry.substr(colon));
}

// Where the daemon polls what it makes of an entry.
std::string isPolled(const ServerEndpoint& endpoint) {
  if (endpoint.ipAddress == INADDR_NONE) return "is polled nowhere";
  const bool hasPort = static_cast<std::uint16_t>(endpoint.port) != 0;
  return "is polled at " + polledAt(endpoint) + (hasPort ? "" : ", where nothing answers");
}

// What is right for other programs. True when the entry is such a one.
bool findForeignForm(const VisibleLine& line, const std::string& polled, Findings& findings) {
  constexpr std::string_view kQuotes = "\"'", kScheme = "://";
  const std::string_view entry = line.value;
  const std::size_t scheme = entry.find(kScheme);
  if (entry.find_first_of(kQuotes) != std::string_view::npos) {
    std::string meant(entry);
    std::erase_if(meant, [kQuotes](char c) { return kQuotes.find(c) != std::string_view::npos; });
    findings.add(kServerQuotes, line, quoted(entry) + " has quotes, and " + polled, ifRight(meant));
  } else if (scheme != std::string_view::npos) {
    findings.add(kServerScheme, line,
                 quoted(entry) + " begins with " + quoted(entry.substr(0, scheme + kScheme.size())) +
                     ", and " + polled,
                 ifRight(withoutPath(entry.substr(scheme + kScheme.size()))));
  } else if (isIpv6(entry)) {
    findings.add(kServerIpv6, line, quoted(entry) + " is an IPv6 address, and " + polled);
  } else if (entry.find('/') != std::string_view::npos &&
             entry.find_first_of(" \t") == std::string_view::npos) {
    findings.add(kServerPath, line, quoted(entry) + " has a \"/\", and " + polled,
                 ifRight(withoutPath(entry)));
  } else {
    return false;
  }
  return true;
}

void findInAddress(const VisibleLine& line, const std::string& address, Findings& findings) {
  const std::uint32_t loaded = parseServerEntry(address + ":1").ipAddress;
  const bool isWord = hasLetter(address);
  const bool isHex = address.find("0x") != std::string::npos || address.find("0X") != std::string::npos;
  std::string decimal;  // with every number's leading zeros taken away
  for (std::size_t i = 0; i < address.size(); ++i) {
    const bool isFirst = i == 0 || address[i - 1] == '.';
    if (address[i] == '0' && (isFirst || decimal.empty() || decimal.back() == '.') &&
        i + 1 < address.size() && address[i + 1] >= '0' && address[i + 1] <= '9') {
      continue;
    }
    decimal += address[i];
  }
  in_addr meant{};
  const bool isQuad = inet_pton(AF_INET, decimal.c_str(), &meant) == 1;
  const std::string polled =
      quoted(address) + " is polled at " + dotted(loaded == 0 ? htonl(INADDR_LOOPBACK) : loaded);
  if (loaded == INADDR_NONE) {
    findings.add(isWord && !isHex ? kHostName : kBadAddress, line,
                 quoted(address) + (isWord && !isHex ? " is a name" : " is no address of a server"));
  } else if (loaded == 0) {
    findings.add(kAnyAddress, line, quoted(address) + " stands for no machine");
  } else if (isHex || (decimal != address && (!isQuad || loaded != meant.s_addr))) {
    findings.add(kOctalAddress, line, polled, isQuad ? decimal : "");
  } else if (decimal != address) {
    findings.add(kPaddedAddress, line, polled, decimal);
  } else if (!isQuad) {
    findings.add(kShortAddress, line, polled, dotted(loaded));
  }
}

}  // namespace

void findInServer(const VisibleLine& line, Findings& findings) {
  const std::string_view entry = line.value;
  const ServerEndpoint loaded = parseServerEntry(std::string(entry));
  const std::string polled = isPolled(loaded);
  const std::size_t colon = entry.find(':');
  if (findForeignForm(line, polled, findings)) return;
  if (colon != std::string_view::npos) {
    findInAddress(line, std::string(entry.substr(0, colon)), findings);
  } else if (hasLetter(entry.substr(0, 1))) {
    return findings.add(kHostName, line, quoted(entry) + " is no port and has no \":\"");
  } else if (!visibleNumber(entry)) {
    return findings.add(kNoServerPort, line, quoted(entry) + " has no \":\", and " + polled);
  }
  const std::string_view port = colon == std::string_view::npos ? entry : entry.substr(colon + 1);
  if (!visibleNumber(port)) {
    findings.add(kNoServerPort, line, quoted(port) + " is no port: the server " + polled);
  } else if (!isPort(port)) {
    findings.add(kServerPortRange, line,
                 "port " + quoted(port) + " becomes " + std::to_string(loaded.port & 0xFFFF));
  }
}

}  // namespace nimbolsp::tools
