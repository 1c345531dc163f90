// The bytes of a profile, for what looks at its text.
#pragma once

#include <string>

namespace nimbolsp::tools {

// The text of a file, or a byte more than is looked into. Throws std::invalid_argument with a sentence when
// it cannot be read to its end or is no ordinary file.
std::string readProfileText(const std::string& path);

}  // namespace nimbolsp::tools
