// A profile as `check` looks into it: what the daemon is said to load against the plain walk, reports that
// can be read, and a rewriting that leaves no error and nothing to rewrite.
#include <nlohmann/json.hpp>

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/profile_model.h"
#include "tests/support/locked_layer.h"
#include "tools/profile/profile_contents.h"
#include "tools/profile/profile_report.h"

using namespace nimbolsp::tools;

static std::size_t errors(const std::string& path) {
  const std::string contents = readProfileText(path), text = contents.c_str();
  const EffectiveProfile effective = readEffectiveProfile(path);
  const auto numbered = [&text](const std::string& section, const char* key, std::size_t n) {
    return model::value(text, section, key + std::to_string(n + 1)).substr(0, 255);
  };
  for (std::size_t i = 0, n = 0; i < effective.pools.size(); ++i, n = 0) {
    const nimbolsp::PoolEntry& pool = effective.pools[i];
    MUST(pool.name == numbered("Setup", "Pool", i) && effective.port != 0 && !pool.servers.empty());
    for (; n < pool.servers.size(); ++n) MUST(pool.servers[n].text == numbered(pool.name, "Server", n));
    MUST(n == 256 || numbered(pool.name, "Server", n).empty());
  }
  const std::size_t count = effective.pools.size();
  const bool isWhole = count == 64 || (count > 0 && numbered("Setup", "Pool", count).empty());
  MUST((effective.error == 0) == isWhole);
  ProfileReport report{path, true, effective, {}, {}, {}, 0};
  report.findings = findAll(readVisibleProfile(contents), effective);
  MUST(nlohmann::json::accept(jsonOf(report)) && !textOf(report).empty());
  MUST(isWhole || report.count(Severity::kError) > 0);
  return report.count(Severity::kError);
}

void fuzz(FuzzInput input) {
  static LockedLayer& layer = *new LockedLayer;
  const std::string contents = input.rest(), path = layer.folder().write("nimbolsp.ini", contents);
  errors(path);
  const FixOutcome fix = fixProfile(path);
  MUST(layer.folder().read(fix.changed ? "nimbolsp.ini.bak" : "nimbolsp.ini") == contents);
  std::filesystem::remove("nimbolsp.ini.bak");
  MUST(!fix.changed ||
       (errors(path) == 0 && fixProfile(path).why == "it is written as --fix would write it"));
}
