#include "tools/profile/profile_fix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>
#include <thread>

#include "service/wire/descriptor.h"
#include "tools/profile/findings.h"
#include "tools/profile/profile_contents.h"

namespace nimbolsp::tools {

namespace {

constexpr const char* kLineEnd = "\r\n";

// A remark as a key line whose key nobody reads.
std::string harmless(std::string_view remark) {
  if (remark.find('=') != std::string_view::npos) return std::string(remark);
  const std::size_t words = std::min(remark.find_first_not_of(";#/"), remark.size());
  return std::string(remark.substr(0, words)) + "=" + std::string(remark.substr(words));
}

class Rewriter {
 public:
  explicit Rewriter(const VisibleProfile& visible) : visible_(visible) {}

  std::string rewrite() {
    const auto isHeader = [](const VisibleLine& line) { return line.kind == VisibleLine::kHeader; };
    const auto end = visible_.lines.end();
    auto part = visible_.lines.begin();
    while (part != end) {
      const auto next = std::find_if(part + 1, end, isHeader);
      const auto key = std::find_if(std::make_reverse_iterator(next), std::make_reverse_iterator(part),
                                    [](const VisibleLine& line) { return line.kind == VisibleLine::kKey; });
      auto tail = isHeader(*part) ? std::max(key.base(), part + 1) : part;
      // A remark with "=" does no harm below the last key, and an empty line in front would, once it is a
      // key.
      while (tail != part && tail != next && tail->kind == VisibleLine::kRemark &&
             harmless(tail->text) == tail->text) {
        ++tail;
      }
      for (; part != tail; ++part) writeInside(*part);
      writeTail(part, next);
      part = next;
    }
    return std::move(text_);
  }

 private:
  using Lines = std::vector<VisibleLine>::const_iterator;

  void write(std::string_view line) { text_.append(line).append(kLineEnd); }

  void endSection() {
    if (!text_.empty() && !text_.ends_with("\r\n\r\n")) write("");
  }

  void writeInside(const VisibleLine& line) {
    switch (line.kind) {
      case VisibleLine::kHeader:
        endSection();
        write("[" + nameOf(line) + "]");
        break;
      case VisibleLine::kKey:
        if (!line.remark.empty()) write(harmless(trimmed(line.remark)));
        write(keyOf(line) + "=" + std::string(line.value));
        break;
      case VisibleLine::kRemark:
        write(harmless(trimmed(line.text)));
        break;
      case VisibleLine::kWords:
        write(trimmed(line.text));
        break;
      default:
        break;
    }
  }

  // What stands in front of the first section, or behind the last key of one, may be anything.
  void writeTail(Lines line, Lines end) {
    const auto isEmpty = [](const VisibleLine& one) { return one.kind == VisibleLine::kEmpty; };
    line = std::find_if_not(line, end, isEmpty);
    if (line == end) return;
    endSection();
    for (; line != end; ++line) write(isEmpty(*line) ? std::string_view{} : trimmed(line->unmarkedText()));
  }

  const VisibleSection& sectionOf(const VisibleLine& line) const {
    return visible_.sections[static_cast<std::size_t>(line.section)];
  }

  std::string nameOf(const VisibleLine& header) const {
    const VisibleSection& section = sectionOf(header);
    if (section.use == VisibleSection::kOfService) return kSetupSection;
    const auto pool = std::ranges::find(visible_.pools, &section, &VisiblePool::section);
    return pool == visible_.pools.end() ? section.name : pool->name;
  }

  std::string keyOf(const VisibleLine& line) const {
    const VisibleSection& section = sectionOf(line);
    if (section.use == VisibleSection::kUnused) return std::string(line.name);
    const auto key = knownKey(line.name, section.use == VisibleSection::kOfPool);
    return key ? rightName(*key) : std::string(line.name);
  }

  const VisibleProfile& visible_;
  std::string text_;
};

// A step that the system refused.
struct WriteFailed : std::runtime_error {
  explicit WriteFailed(const std::string& path) : std::runtime_error(path + ": " + std::strerror(errno)) {}
};

// Copies the extended attributes, access lists among them. False with errno when one cannot be copied; a file
// system that has none has none to copy.
bool copyAttributes(const std::string& from, int to) {
  std::string names(std::size_t{64} << 10, '\0');  // as long as the system lets them be
  const ssize_t size = listxattr(from.c_str(), names.data(), names.size());
  if (size < 0) return errno == ENOTSUP;
  std::string value(std::size_t{64} << 10, '\0');
  for (const char* name = names.data(); name < names.data() + size; name += std::strlen(name) + 1) {
    const ssize_t length = getxattr(from.c_str(), name, value.data(), value.size());
    if (length < 0 || fsetxattr(to, name, value.data(), static_cast<std::size_t>(length), 0) != 0)
      return false;
  }
  return true;
}

// A new file, gone again unless it is kept.
class NewFile {
 public:
  // `path` is handed over and never copied: a copy that found no memory would leave the file behind.
  NewFile(std::string path, int descriptor) : path_(std::move(path)), file_(descriptor) {
    if (descriptor < 0) throw WriteFailed(path_);
  }
  ~NewFile() {
    if (!isKept_) unlink(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  const std::string& path() const { return path_; }
  void keep() { isKept_ = true; }

  // Gives it a text, and the owner, mode, access list and attributes of another file, and has all that on the
  // disk.
  void fill(std::string_view text, const std::string& likePath, const struct stat& like) const {
    const int file = file_.number();
    while (!text.empty()) {
      const ssize_t written = write(file, text.data(), text.size());
      if (written <= 0) throw WriteFailed(path_);
      text.remove_prefix(static_cast<std::size_t>(written));
    }
    if (fchown(file, like.st_uid, like.st_gid) != 0 || fchmod(file, like.st_mode & 07777) != 0 ||
        !copyAttributes(likePath, file) || fsync(file) != 0) {
      throw WriteFailed(path_);
    }
  }

 private:
  const std::string path_;
  const Descriptor file_;
  bool isKept_ = false;
};

// The lock that whoever writes the file by the daemon's own calls takes too; two seconds are waited for it
// at most, as they do, and then, or where the file system has none, it goes without.
class AdvisoryLock {
 public:
  explicit AdvisoryLock(const std::string& path)
      : file_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(2);
    while (flock(file_.number(), LOCK_EX | LOCK_NB) != 0 && (errno == EWOULDBLOCK || errno == EINTR) &&
           Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

 private:
  const Descriptor file_;
};

NewFile newBackup(const std::string& path) {
  std::string name = path + ".bak";
  for (int number = 1;; ++number) {
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0 || errno != EEXIST) return {std::move(name), file};
    name = path + ".bak." + std::to_string(number);
  }
}

NewFile newTemporary(const std::string& path) {
  std::string name = path + ".XXXXXX";
  const int file = mkostemp(name.data(), O_CLOEXEC);
  return {std::move(name), file};
}

// Why the daemon would not load from a file with this text what was visible in the former; empty when it
// does.
std::string faultOf(const std::string& path, std::string_view text, const VisibleProfile& former) {
  const EffectiveProfile effective = readEffectiveProfile(path);
  Findings differences;
  findDifferences(former, effective, differences);
  std::set<std::string> kinds;
  for (const Finding& finding : findAll(readVisibleProfile(text), effective)) {
    if (finding.severity() == Severity::kError) kinds.insert(rowOf(finding.kind).slug);
  }
  if (kinds.empty() && differences.hasErrors()) kinds.insert(rowOf(kDiffers).slug);
  std::string names;
  for (const std::string& kind : kinds) names += (names.empty() ? "" : ", ") + kind;
  return names.empty() ? names : "it takes a decision, and a rewriting would leave these: " + names;
}

void replace(const std::string& path, const struct stat& status, const std::string& text,
             const VisibleProfile& former, FixOutcome& outcome) {
  NewFile temporary = newTemporary(path);
  temporary.fill(text, path, status);
  outcome.why = faultOf(temporary.path(), text, former);
  if (!outcome.why.empty()) return;
  NewFile backup = newBackup(path);
  backup.fill(former.text, path, status);
  const AdvisoryLock lock(path);  // from the comparison to the rename
  if (readProfileText(path) != former.text) {
    outcome.why = "somebody else changes it";
    return;
  }
  if (rename(temporary.path().c_str(), path.c_str()) != 0) throw WriteFailed(path);
  temporary.keep();
  backup.keep();
  const Descriptor folder(
      open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fsync(folder.number());
  outcome.changed = true;
  outcome.backup = backup.path();
}

std::string resolved(const std::string& path) {
  char real[PATH_MAX];
  return realpath(path.c_str(), real) == nullptr ? path : real;
}

}  // namespace

std::string rewritten(const VisibleProfile& visible) {
  return Rewriter(visible).rewrite();
}

FixOutcome fixProfile(const std::string& path) {
  FixOutcome outcome;
  const std::string real = resolved(path), contents = readProfileText(real);
  const auto visible = readVisibleProfile(contents);
  struct stat status {};
  if (stat(real.c_str(), &status) != 0 || !visible) {
    outcome.why = "it cannot be read";
    return outcome;
  }
  if (isUtf16(contents)) {
    outcome.why = "it is UTF-16, two bytes a character; save it as ASCII first";
    return outcome;
  }
  const std::string text = rewritten(*visible);
  if (text == contents) {
    const std::string fault = faultOf(real, text, *visible);
    outcome.why = fault.empty() ? "it is written as --fix would write it" : fault;
  } else if (status.st_nlink > 1) {
    outcome.why = "it has several names (hard links), and only one would be changed";
  } else {
    try {
      replace(real, status, text, *visible, outcome);
    } catch (const WriteFailed& failure) {
      outcome.why = failure.what();
      outcome.hasFailed = true;
    }
  }
  return outcome;
}

}  // namespace nimbolsp::tools
