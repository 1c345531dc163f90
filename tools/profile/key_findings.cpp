// What is wrong with names: of keys and of sections, their numbers, and what is missing.
#include <algorithm>
#include <set>

#include "service/resources/string_table.h"
#include "tools/nearest.h"
#include "tools/profile/findings.h"

namespace nimbolsp::tools {

namespace {

// The keys of a use as the daemon writes them, for "did you mean": numbered ones with the number 1.
std::vector<std::string> rightKeys(bool ofPool) {
  std::vector<std::string> names;
  for (int id = 0; id < kKeyCount; ++id) {
    if (kProfileKeys[id].ofPool == ofPool) names.push_back(rightName({static_cast<KeyId>(id), 1}));
  }
  return names;
}

// The nearest right key to a name that is none, with the number that the name ends with.
std::string nearestKey(std::string_view name, bool ofPool) {
  const std::size_t digits = name.find_last_not_of("0123456789") + 1;
  std::string nearest = nearestWord(name, rightKeys(ofPool));
  if (nearest.ends_with('1') && digits < name.size() && name[digits] != '0') {
    nearest.replace(nearest.size() - 1, 1, name.substr(digits));
  }
  return nearest;
}

std::string whereIsKey(bool ofPool) {
  return ofPool ? "a pool's section" : "section [Setup]";
}

class KeyFinder {
 public:
  KeyFinder(const VisibleProfile& visible, const EffectiveProfile& effective, const ReadLines& read,
            Findings& findings)
      : visible_(visible), effective_(effective), read_(read), findings_(findings) {
    constexpr std::size_t kMostUnused = 1000;
    for (const VisibleSection& section : visible.sections) {
      if (section.use == VisibleSection::kUnused && unused_.size() < kMostUnused)
        unused_.push_back(section.name);
    }
  }

  void find() {
    findAboveSections();
    for (const VisibleSection& section : visible_.sections) {
      if (section.use != VisibleSection::kUnused) findInSection(section);
    }
    findSetup();
    for (const VisiblePool& pool : visible_.pools) findInPool(pool);
    findUnknownSections();
  }

 private:
  void findAboveSections() {
    for (const VisibleLine& line : visible_.lines) {
      if (line.section >= 0) return;
      if (line.kind == VisibleLine::kKey && (knownKey(line.name, false) || knownKey(line.name, true))) {
        findings_.add(kKeyAboveSections, line, quoted(line.name) + " stands above all sections");
      }
    }
  }

  void findInSection(const VisibleSection& section) {
    const bool ofPool = section.use == VisibleSection::kOfPool;
    for (const std::size_t index : section.keys) {
      const VisibleLine& line = visible_.lines[index];
      const auto key = knownKey(line.name, ofPool);
      if (!key) {
        findUnknownKey(line, ofPool);
      } else {
        findInKnownKey(line, *key);
        findRepeated(line, visible_.lines[section.values.at({key->id, key->number})],
                     read_.of(section, *key));
      }
    }
    findGaps(section);
  }

  void findUnknownKey(const VisibleLine& line, bool ofPool) {
    if (findings_.isFull(kMisspelledKey) || findings_.isFull(kUnknownKey)) return;
    const std::string what = quoted(line.name) + " is no key of " + whereIsKey(ofPool);
    if (const auto other = knownKey(line.name, !ofPool)) {
      findings_.add(kWrongSection, line, quoted(line.name) + " is a key of " + whereIsKey(!ofPool));
    } else if (const std::string nearest = nearestKey(line.name, ofPool); !nearest.empty()) {
      findings_.add(kMisspelledKey, line, what, nearest);
    } else {
      findings_.add(kUnknownKey, line, what);
    }
  }

  void findInKnownKey(const VisibleLine& line, KnownKey key) {
    const ProfileKey& row = kProfileKeys[key.id];
    const std::string right = rightName(key);
    const std::string_view raw = line.text.substr(0, line.text.find('='));
    if (raw.data() + raw.size() != line.name.data() + line.name.size()) {
      const bool control = isControl(raw.back());
      findings_.add(control ? kControlCharacter : kBlankBeforeEquals, line,
                    std::string(control ? "a control character" : "a blank") + " between " +
                        quoted(line.name) + " and \"=\"");
    }
    if (row.highest != 0 && key.number > row.highest) {
      findings_.add(kTooMany, line, quoted(line.name) + ": there are at most " + std::to_string(row.highest));
    } else if (row.highest != 0 && key.number == 0) {
      findings_.add(kKeyNumbering, line, quoted(line.name) + " has no number from 1", rightName({key.id, 1}));
    } else if (line.name.size() != right.size()) {
      findings_.add(kKeyNumbering, line, quoted(line.name) + " has a leading zero", right);
    } else if (line.name != right) {
      findings_.add(kKeyCase, line, quoted(line.name) + " in another case", right);
    }
  }

  void findRepeated(const VisibleLine& line, const VisibleLine& first, const VisibleLine* read) {
    if (&line == &first) return;
    findings_.add(line.value == first.value ? kRepeatedKey : kRepeatedKeyDiffers, line,
                  quoted(line.name) + " again, first in line " + std::to_string(first.number) +
                      "; the daemon reads " +
                      (read == nullptr ? "none of them" : "that in line " + std::to_string(read->number)));
  }

  // The first key behind a gap of each numbered one; without a first one there is another word for it.
  void findGaps(const VisibleSection& section) {
    std::set<KeyId> told;
    int expected = 1;
    KeyId id = kKeyCount;
    for (const auto& [key, index] : section.values) {
      if (kProfileKeys[key.first].highest == 0 || key.second == 0) continue;
      if (key.first != id) expected = 1;
      id = key.first;
      if (key.second > kProfileKeys[id].highest) continue;
      const VisibleLine& line = visible_.lines[index];
      if (key.second == expected && !line.value.empty()) {
        ++expected;
      } else if (key.second > expected && told.insert(id).second) {
        findings_.add(
            kGap, line,
            "there is no " + quoted(rightName({id, expected})) + " in front of " + quoted(line.name));
      }
    }
  }

  // What was meant, while there are few faults: in a file of many it helps nobody, and takes its time.
  std::string suggested(std::string_view wrong, const std::vector<std::string>& right) {
    constexpr int kMostSuggestions = 20;
    return ++suggestions_ > kMostSuggestions ? std::string{} : nearestWord(wrong, right);
  }

  void findSetup() {
    const VisibleSection* setup = visible_.setup;
    const std::size_t line = setup == nullptr ? 1 : visible_.lines[setup->headers[0]].number;
    const std::string where = setup == nullptr ? "there is no section [Setup]" : "section [Setup] has no ";
    const std::string meant = setup == nullptr ? suggested(kSetupSection, unused_) : "";
    if (setup != nullptr && setup->name != kSetupSection) {
      findings_.add(kSectionCase, line, quoted("[" + setup->name + "]") + " in another case", "[Setup]");
    }
    for (int id = 0; id < kKeyCount; ++id) {
      const ProfileKey& row = kProfileKeys[id];
      const std::string right = rightName({static_cast<KeyId>(id), 1});
      const VisibleLine* value = visible_.valueOf(setup, {static_cast<KeyId>(id), row.highest == 0 ? 0 : 1});
      if (row.ofPool || !row.isNeeded || (value != nullptr && (id == kPort || !value->value.empty())))
        continue;
      findings_.add(id == kPort ? kNoPort : kNoPools, line, setup == nullptr ? where : where + right,
                    meant.empty() ? meant : "[Setup] for [" + meant + "]");
    }
  }

  // What the daemon does at a pool for which a reader sees no server.
  std::string endAt(const VisiblePool& pool) const {
    const std::size_t index = static_cast<std::size_t>(pool.number) - 1, loaded = effective_.pools.size();
    if (index < loaded && effective_.pools[index].name == pool.name) {
      return ": the daemon takes something else for its servers";
    }
    if (index != loaded || effective_.error != kStringEmptyPool) {
      return ": what stands in front keeps the daemon from getting there";
    }
    const auto behind = std::ranges::count_if(
        visible_.pools, [&pool](const VisiblePool& other) { return other.number > pool.number; });
    if (behind == 0) return ": the daemon ends there";
    return ": the daemon ends there, and does not read the " +
           (behind == 1 ? "pool" : std::to_string(behind) + " pools") + " behind it";
  }

  void findInPool(const VisiblePool& pool) {
    const VisibleLine& line = visible_.lines[pool.line];
    if (pool.section == nullptr) {
      findings_.add(kNoSection, line, "there is no section " + quoted("[" + pool.name + "]") + endAt(pool),
                    suggested(pool.name, unused_));
      return;
    }
    const VisibleLine& header = visible_.lines[pool.section->headers[0]];
    if (pool.section->name != pool.name) {
      findings_.add(kSectionCase, header, quoted(header.text) + " differs in case from " + quoted(pool.name),
                    "[" + pool.name + "]");
    }
    if (visible_.serversOf(pool).empty()) {
      findings_.add(kNoServer, header, "pool " + quoted(pool.name) + " has no \"Server1\"" + endAt(pool));
    }
  }

  void findUnknownSections() {
    std::vector<std::string> wanted{kSetupSection};
    for (const VisiblePool& pool : visible_.pools) wanted.push_back(pool.name);
    for (const VisibleSection& section : visible_.sections) {
      if (section.use != VisibleSection::kUnused) continue;
      if (findings_.isFull(kUnknownSection)) return;
      findings_.add(kUnknownSection, visible_.lines[section.headers[0]],
                    "nothing names section " + quoted("[" + section.name + "]"),
                    suggested(section.name, wanted));
    }
  }

  const VisibleProfile& visible_;
  const EffectiveProfile& effective_;
  const ReadLines& read_;
  Findings& findings_;
  std::vector<std::string> unused_;  // names of sections, the first of them
  int suggestions_ = 0;              // that were looked for
};

}  // namespace

void findInKeys(const VisibleProfile& visible, const EffectiveProfile& effective, const ReadLines& read,
                Findings& findings) {
  KeyFinder(visible, effective, read, findings).find();
}

}  // namespace nimbolsp::tools
