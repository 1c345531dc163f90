// Preloaded into a program: counts its calls of functions that may fail, tells where they come from, and lets
// one call fail once. What to do and what was done stand in a file that the driver, scripts/torture, maps
// too; without one, and in the program's children, every call goes its way.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace {

// The faults that are no errno: half of what is asked for; the end of the stream.
constexpr int kShort = -1;
constexpr int kEnd = -2;

// Functions that fail without having done anything, with their results of that.
#define REFUSED(f)                                                                                          \
  f(open, -1) f(mkostemp, -1) f(fopen, 0) f(fdopen, 0) f(fseeko, -1) f(ftello, -1) f(ftruncate, -1)         \
      f(fsync, -1) f(rename, -1) f(unlink, -1) f(remove, -1) f(stat, -1) f(lstat, -1) f(fstat, -1)          \
          f(chmod, -1) f(fchmod, -1) f(fchown, -1) f(mkdir, -1) f(rmdir, -1) f(chdir, -1) f(getcwd, 0)      \
              f(opendir, 0) f(readdir, 0) f(fcntl, -1) f(flock, -1) f(listxattr, -1) f(socket, -1)          \
                  f(bind, -1) f(listen, -1) f(accept, -1) f(accept4, -1) f(connect, -1) f(shutdown, -1)     \
                      f(setsockopt, -1) f(getsockopt, -1) f(getsockname, -1) f(getpeername, -1) f(poll, -1) \
                          f(select, -1) f(epoll_create1, -1) f(epoll_ctl, -1) f(epoll_wait, -1)             \
                              f(eventfd, -1) f(signalfd, -1) f(pthread_create, fault)                       \
                                  f(pthread_key_create, fault) f(sem_init, -1) f(sem_wait, -1)              \
                                      f(nanosleep, -1) f(system, -1) f(waitpid, -1) f(getrlimit, -1)        \
                                          f(setrlimit, -1) f(setenv, -1) f(tcgetattr, -1) f(tcsetattr, -1)  \
                                              f(tcdrain, -1) f(FcInit, 0)
// Those that have wrappers of their own.
#define OTHERS(f)                                                                                        \
  f(malloc, 0) f(calloc, 0) f(realloc, 0) f(read, 0) f(pread, 0) f(write, 0) f(pwrite, 0) f(fread, 0)    \
      f(fwrite, 0) f(fflush, 0) f(fclose, 0) f(close, 0) f(send, 0) f(recv, 0) f(pthread_setspecific, 0) \
          f(syscall, 0) f(dlopen, 0) f(dlsym, 0) f(vfork, 0)
#define NUMBER(name, failure) k_##name,
enum Function : std::uint32_t { REFUSED(NUMBER) OTHERS(NUMBER) kFunctions };
#define NAME(name, failure) #name,
constexpr const char* kNames[] = {REFUSED(NAME) OTHERS(NAME)};

// A place in the program from which a function is called: all of its frames in the program itself.
struct Place {
  std::uint32_t hash, function, thread, first, last;
};

struct Control {
  std::uint32_t owner;     // the process that the file is for; 0 until the first one takes it
  std::uint32_t record;    // whether places are noted
  std::uint32_t sleepMs;   // how long a second of sleep() lasts; 0: as ever
  std::uint32_t function;  // whose call fails, by its number
  std::uint32_t thread;    // 0 the main thread, 1 all others
  std::uint32_t call;      // which of its calls there, from 1; 0: none
  std::int32_t fault;      // an errno, kShort or kEnd
  std::uint32_t fired;
  std::uint32_t frames[24];  // offsets into the program, where it has fired
  char library[32];          // which foreign library stood between, if any
  char names[128][24];
  std::uint32_t counts[2][128];
  std::uint32_t placeCount;
  Place places[8192];
};
static_assert(std::size(kNames) <= 128);

Control* control = nullptr;  // constant after the start, null in children
std::uintptr_t programStart, programEnd;
std::atomic_flag placesLock;
std::atomic_bool isOver;  // what follows is no work of the program's own
__attribute__((tls_model("initial-exec"))) thread_local bool isMainThread = false;
__attribute__((tls_model("initial-exec"))) thread_local bool isInside = false;

// The frames of the program itself, innermost first, as offsets. Returns how many.
std::uint32_t framesOf(std::uint32_t (&offsets)[24]) {
  void* frames[64];
  const int count = backtrace(frames, 64);
  std::uint32_t kept = 0;
  for (int i = 0; i < count && kept < std::size(offsets); ++i) {
    const auto frame = reinterpret_cast<std::uintptr_t>(frames[i]);
    if (frame >= programStart && frame < programEnd) {
      offsets[kept++] = static_cast<std::uint32_t>(frame - programStart);
    }
  }
  return kept;
}

void note(Function function, std::uint32_t thread, std::uint32_t call) {
  std::uint32_t frames[24], hash = 2166136261U ^ function ^ thread << 16;
  const std::uint32_t count = framesOf(frames);
  for (std::uint32_t i = 0; i < count; ++i) hash = (hash ^ frames[i]) * 16777619U;
  while (placesLock.test_and_set()) sched_yield();
  std::size_t at = hash % std::size(control->places);
  while (control->places[at].first != 0 && control->places[at].hash != hash) {
    at = (at + 1) % std::size(control->places);
  }
  Place& place = control->places[at];
  if (place.first == 0 && ++control->placeCount == std::size(control->places)) abort();
  place = {hash, function, thread, place.first == 0 ? call : place.first, call};
  placesLock.clear();
}

// The library that made the call for the program, but for those of the language.
void noteLibrary() {
  void* frames[64];
  const int count = backtrace(frames, 64);
  for (int i = 3; i < count; ++i) {
    const auto frame = reinterpret_cast<std::uintptr_t>(frames[i]);
    Dl_info found;
    if (frame >= programStart && frame < programEnd) return;
    if (dladdr(frames[i], &found) == 0 || found.dli_fname == nullptr) continue;
    const std::string_view path = found.dli_fname, name = path.substr(path.rfind('/') + 1);
    if (name.starts_with("libc.") || name.starts_with("libstdc++") || name.starts_with("libtorture"))
      continue;
    name.copy(control->library, sizeof control->library - 1);
    return;
  }
}

// Counts a call. Returns 0, or how it is to fail.
int due(Function function) {
  if (control == nullptr || isInside || isOver) return 0;
  const std::uint32_t thread = isMainThread ? 0 : 1;
  const std::uint32_t call = std::atomic_ref(control->counts[thread][function]).fetch_add(1) + 1;
  int fault = 0;
  isInside = true;
  if (control->record != 0) note(function, thread, call);
  if (function == control->function && thread == control->thread && call == control->call) {
    control->fired = 1;
    framesOf(control->frames);
    noteLibrary();
    fault = control->fault;
  }
  isInside = false;
  if (fault > 0) errno = fault;
  return fault;
}

int noteProgram(dl_phdr_info* program, std::size_t, void*) {
  programStart = programEnd = program->dlpi_addr;
  for (int i = 0; i < program->dlpi_phnum; ++i) {
    const auto& segment = program->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD) programEnd = programStart + segment.p_vaddr + segment.p_memsz;
  }
  return 1;  // the program comes first
}

__attribute__((constructor)) void start() {
  const char* path = std::getenv("NIMBOLSP_TORTURE");
  const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  void* mapped = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  auto* found = static_cast<Control*>(mapped);
  std::uint32_t nobody = 0;
  const auto self = static_cast<std::uint32_t>(getpid());
  if (mapped == MAP_FAILED || !std::atomic_ref(found->owner).compare_exchange_strong(nobody, self)) return;
  for (std::uint32_t i = 0; i < kFunctions; ++i) {
    for (std::size_t at = 0; kNames[i][at] != '\0'; ++at) found->names[i][at] = kNames[i][at];
  }
  dl_iterate_phdr(noteProgram, nullptr);
  void* frame[1];
  backtrace(frame, 1);  // loads what it needs
  pthread_atfork(nullptr, nullptr, [] { control = nullptr; });
  isMainThread = true;
  control = found;
}

// The real one; asked for its version, for the wrapper bears its name.
auto realDlsym() {
  return reinterpret_cast<void* (*)(void*, const char*)>(dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.34"));
}

// The function behind the wrapper.
template <typename Type>
Type behind(const char* name) {
  return reinterpret_cast<Type>(realDlsym()(RTLD_NEXT, name));
}

}  // namespace

// Names of our own for the compiler, which knows some of these functions too well; the real ones for the
// linker.
#define OURS(type, name, parameters)                                                           \
  extern "C" __attribute__((visibility("default"))) type wrapped_##name parameters asm(#name); \
  type wrapped_##name parameters
#define WRAP(type, name, parameters, body)                      \
  OURS(type, name, parameters) {                                \
    static const auto real = behind<type(*) parameters>(#name); \
    const int fault = due(k_##name);                            \
    body                                                        \
  }
// All arguments and results are in registers, whatever their types (x86-64).
using Word = long;
#define REFUSE(name, failure)                                        \
  WRAP(Word, name, (Word a, Word b, Word c, Word d, Word e, Word f), \
       { return fault != 0 ? Word{failure} : real(a, b, c, d, e, f); })
REFUSED(REFUSE)

// What fails although it has been done; what does a part, or finds the end.
#define DONE(name)                   \
  WRAP(int, name, (void* file), {    \
    const int result = real(file);   \
    if (fault > 0) errno = fault;    \
    return fault != 0 ? -1 : result; \
  })
DONE(fflush)
DONE(fclose)
DONE(close)
#define PARTLY(name)                                                               \
  WRAP(Word, name, (Word file, Word bytes, Word size, Word rest), {                \
    if (fault > 0 || fault == kEnd) return fault > 0 ? -1 : 0;                     \
    return real(file, bytes, fault == kShort && size > 1 ? size / 2 : size, rest); \
  })
PARTLY(read)
PARTLY(pread)
PARTLY(write)
PARTLY(pwrite)
PARTLY(send)
PARTLY(recv)
// A failed stream has done a part, or nothing, and has its error flag, the 0x20 of its first word (glibc).
#define STREAM(name)                                                      \
  WRAP(Word, name, (Word bytes, Word size, Word count, int* file), {      \
    if (fault == 0) return real(bytes, size, count, file);                \
    const Word done = fault > 0 ? real(bytes, size, count / 2, file) : 0; \
    *file |= 0x20;                                                        \
    errno = fault > 0 ? fault : EIO;                                      \
    return done;                                                          \
  })
STREAM(fread)
STREAM(fwrite)

extern "C" void *__libc_malloc(Word), *__libc_calloc(Word, Word), *__libc_realloc(Word, Word);
#define MEMORY(name, parameters, arguments)                        \
  OURS(void*, name, parameters) {                                  \
    return due(k_##name) != 0 ? nullptr : __libc_##name arguments; \
  }
MEMORY(malloc, (Word size), (size))
MEMORY(calloc, (Word count, Word size), (count, size))
MEMORY(realloc, (Word block, Word size), (block, size))

// For a key that has a value already the system has room.
OURS(int, pthread_setspecific, (unsigned key, const void* value)) {
  const bool mayFail = value != nullptr && pthread_getspecific(key) == nullptr;
  const int fault = mayFail ? due(k_pthread_setspecific) : 0;
  return fault != 0 ? fault : behind<int (*)(unsigned, const void*)>("pthread_setspecific")(key, value);
}
// By it a thread waits for one that fills a static variable: with one in here, it would come here again.
OURS(Word, syscall, (Word number, Word a, Word b, Word c, Word d, Word e, Word f)) {
  if (due(k_syscall) != 0) return -1;
  return behind<Word (*)(Word, Word, Word, Word, Word, Word, Word)>("syscall")(number, a, b, c, d, e, f);
}
// These leave a sentence for dlerror.
WRAP(void*, dlopen, (const char* name, int how),
     { return real(fault != 0 ? "/nowhere/none.so" : name, how); })
OURS(void*, dlsym, (void* library, const char* name)) {
  return realDlsym()(library, due(k_dlsym) != 0 ? "nobody has this symbol" : name);
}
// The child of a vfork must not come back through this frame: a fork does the same.
OURS(int, vfork, ()) {
  return due(k_vfork) != 0 ? -1 : fork();
}
// With this question the runtime of gcov begins to write down, at the end, what it has counted.
OURS(char*, getenv, (const char* name)) {
  if (std::string_view(name) == "GCOV_PREFIX") isOver = true;
  return behind<char* (*)(const char*)>("getenv")(name);
}
// Seconds between polls pass faster.
OURS(unsigned, sleep, (unsigned seconds)) {
  if (control == nullptr || control->sleepMs == 0) return behind<unsigned (*)(unsigned)>("sleep")(seconds);
  usleep(seconds * control->sleepMs * 1000);
  return 0;
}
