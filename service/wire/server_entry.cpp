#include "service/wire/server_entry.h"

#include <arpa/inet.h>

#include "service/wire/numbers.h"

namespace nimbolsp {

ServerEndpoint parseServerEntry(const std::string& entry) {
  const std::size_t colon = entry.find(':');
  if (colon == std::string::npos) return {0, parseDecimal(entry)};
  return {inet_addr(entry.substr(0, colon).c_str()), parseDecimal(entry.substr(colon + 1))};
}

}  // namespace nimbolsp
