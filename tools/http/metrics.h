// The picture as monitoring scrapes it: the text exposition format, version 0.0.4, of Prometheus. Pure.
#pragma once

#include <string>

#include "tools/polling/monitor.h"

namespace nimbolsp::tools {

inline constexpr const char* kMetricsType = "text/plain; version=0.0.4; charset=utf-8";

// All families, each with its help and type. A server that does not answer has no figures of load, and one
// that was not polled yet has none at all.
std::string metricsOf(const Picture& picture);

}  // namespace nimbolsp::tools
