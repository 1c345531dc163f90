// The pools' and servers' texts as monitoring gets them: harmless, and no two alike where a name must tell
// one thing. Pure.
#pragma once

#include <string>
#include <vector>

namespace nimbolsp::tools {

// The texts as printable() shows them, and the second of several equal ones with " (2)" behind it, and so on.
std::vector<std::string> distinctNames(const std::vector<std::string>& texts);

}  // namespace nimbolsp::tools
