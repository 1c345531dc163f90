// The status page, from status_page.html, which the build takes in. Constant.
#pragma once

#include <string_view>

namespace nimbolsp::tools {

extern const std::string_view kStatusPage;

// The content security policy that lets the page's own script and style run, by their digests, lets it fetch
// from where it came from, and nothing else.
extern const char* const kStatusPagePolicy;

}  // namespace nimbolsp::tools
