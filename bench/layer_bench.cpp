// What the layer's calls cost over the calls beneath them: each pair NAME/layer and NAME/posix does the same.
// "bench/run layer" prints the ratios.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <iconv.h>
#include <pthread.h>
#include <semaphore.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "nimboxi/files.h"
#include "nimboxi/handles.h"
#include "nimboxi/profile.h"
#include "nimboxi/synch.h"
#include "nimboxi/text.h"
#include "tests/support/locked_layer.h"

namespace {

constexpr int kKeys = 256;
constexpr std::size_t kBlock = 4096;
constexpr const char* kSentence = "Load sharing for web clients";
const char* const kLatin =
    "Gr\xFC\xDF"
    "e an Z\xFCrich, \x80 5";
const char* const kUtf8 = "Grüße an Zürich, € 5";

// A profile with one section, as the daemon's pools are written.
std::string profileText() {
  std::string text = "[Pool]\r\n";
  for (int i = 1; i <= kKeys; ++i) text += "Server" + std::to_string(i) + "=192.0.2.1:5912\r\n";
  return text;
}

// Registers a pair; each function does the thing once, with what its maker has made ready.
template <typename Layer, typename Posix>
void pair(const std::string& name, Layer layer, Posix posix) {
  const auto repeat = [](auto once) {
    return [once](benchmark::State& state) {
      for (auto _ : state) once();
    };
  };
  benchmark::RegisterBenchmark((name + "/layer").c_str(), repeat(layer))->MeasureProcessCPUTime();
  benchmark::RegisterBenchmark((name + "/posix").c_str(), repeat(posix))->MeasureProcessCPUTime();
}

void addSemaphores() {
  static HANDLE semaphore = CreateSemaphore(nullptr, 1, 1, nullptr);
  static sem_t plain;
  sem_init(&plain, 0, 1);
  pair(
      "semaphore_take_and_release",
      [] {
        WaitForSingleObject(semaphore, INFINITE);
        ReleaseSemaphore(semaphore, 1, nullptr);
      },
      [] {
        sem_wait(&plain);
        sem_post(&plain);
      });
}

void* idle(void*) {
  return nullptr;
}

void addThreads() {
  pair(
      "thread_start_and_join",
      [] {
        HANDLE thread = CreateThread(nullptr, 0, idle, nullptr, CREATE_JOINABLE_THREAD, nullptr);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
      },
      [] {
        pthread_t thread;
        pthread_create(&thread, nullptr, idle, nullptr);
        pthread_join(thread, nullptr);
      });
}

void addFiles(const TempFolder& folder) {
  static std::string path = folder.write("file", std::string(16 * kBlock, 'x'));
  static std::array<char, kBlock> block;
  pair(
      "file_open_and_close",
      [] { CloseHandle(CreateFile(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)); },
      [] { std::fclose(std::fopen(path.c_str(), "re")); });
  static HANDLE file = CreateFile(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  static std::FILE* stream = std::fopen(path.c_str(), "r+e");
  pair(
      "file_read_4096_bytes",
      [] {
        SetFilePointer(file, 0, nullptr, FILE_BEGIN);
        DWORD count;
        ReadFile(file, block.data(), kBlock, &count);
      },
      [] {
        std::fseek(stream, 0, SEEK_SET);
        benchmark::DoNotOptimize(std::fread(block.data(), 1, kBlock, stream));
      });
  pair(
      "file_write_4096_bytes",
      [] {
        SetFilePointer(file, 0, nullptr, FILE_BEGIN);
        WriteFile(file, block.data(), kBlock, nullptr);
        FlushFileBuffers(file);
      },
      [] {
        std::fseek(stream, 0, SEEK_SET);
        std::fwrite(block.data(), 1, kBlock, stream);
        std::fflush(stream);
      });
  pair(
      "file_attributes", [] { benchmark::DoNotOptimize(GetFileAttributes(path.c_str())); },
      [] {
        struct stat status;
        benchmark::DoNotOptimize(stat(path.c_str(), &status));
      });
}

// The whole file, as a read of a profile takes it from the disk.
void readWhole(const std::string& path, std::string& text) {
  std::FILE* stream = std::fopen(path.c_str(), "re");
  struct stat status;
  fstat(fileno(stream), &status);
  text.resize(static_cast<std::size_t>(status.st_size));
  benchmark::DoNotOptimize(std::fread(text.data(), 1, text.size(), stream));
  std::fclose(stream);
}

void addProfiles(const TempFolder& folder) {
  static const std::string one = folder.write("one.ini", profileText());
  static const std::string other = folder.write("other.ini", profileText());
  static char value[64];
  static std::string text;
  pair(
      "profile_value_of_256_from_memory",
      [] { GetPrivateProfileString("Pool", "Server256", "", value, sizeof value, one.c_str()); },
      [] {
        if (text.empty()) readWhole(one, text);
        benchmark::DoNotOptimize(strstr(text.c_str(), "\nServer256="));
      });
  static bool turn;  // the layer keeps one file: by turns each is read from the disk
  pair(
      "profile_value_of_256_from_the_disk",
      [] {
        turn = !turn;
        GetPrivateProfileString("Pool", "Server256", "", value, sizeof value, (turn ? one : other).c_str());
      },
      [] {
        turn = !turn;
        readWhole(turn ? one : other, text);
        benchmark::DoNotOptimize(strstr(text.c_str(), "\nServer256="));
      });
  pair(
      "profile_change_of_a_value",
      [] { WritePrivateProfileString("Pool", "Server256", (turn = !turn) ? "1" : "2", one.c_str()); },
      [] {
        const int descriptor = open(other.c_str(), O_RDWR | O_CLOEXEC);
        flock(descriptor, LOCK_EX);
        struct stat status;
        fstat(descriptor, &status);
        text.resize(static_cast<std::size_t>(status.st_size));
        benchmark::DoNotOptimize(pread(descriptor, text.data(), text.size(), 0));
        benchmark::DoNotOptimize(pwrite(descriptor, text.data(), text.size(), 0));
        benchmark::DoNotOptimize(ftruncate(descriptor, status.st_size));
        close(descriptor);
      });
}

void convert(iconv_t with, const char* source) {
  static char buffer[256];
  char* in = const_cast<char*>(source);
  char* out = buffer;
  std::size_t inLeft = std::strlen(source) + 1;
  std::size_t outLeft = sizeof buffer;
  benchmark::DoNotOptimize(iconv(with, &in, &inLeft, &out, &outLeft));
}

void addTexts() {
  static char buffer[256];
  static const char* volatile sentence = kSentence;  // so that no compiler knows its length
  pair(
      "text_length", [] { benchmark::DoNotOptimize(lstrlen(sentence)); },
      [] { benchmark::DoNotOptimize(strlen(sentence)); });
  pair(
      "text_copy", [] { benchmark::DoNotOptimize(lstrcpy(buffer, sentence)); },
      [] { benchmark::DoNotOptimize(strcpy(buffer, sentence)); });
  pair(
      "text_compare_without_case", [] { benchmark::DoNotOptimize(lstrcmpi(sentence, kSentence)); },
      [] { benchmark::DoNotOptimize(strcasecmp(sentence, kSentence)); });
  pair(
      "text_to_upper_case", [] { benchmark::DoNotOptimize(CharUpper(buffer)); },
      [] {
        for (char* at = buffer; *at != '\0'; ++at) *at = static_cast<char>(std::toupper(*at));
        benchmark::DoNotOptimize(buffer);
      });
  static iconv_t toUtf8 = iconv_open("UTF-8", "CP1252");
  static iconv_t toLatin = iconv_open("CP1252", "UTF-8");
  pair(
      "text_to_UTF-8", [] { AnsiToUtf8(kLatin, buffer); }, [] { convert(toUtf8, kLatin); });
  pair(
      "text_from_UTF-8", [] { Utf8ToAnsi(kUtf8, buffer); }, [] { convert(toLatin, kUtf8); });
}

}  // namespace

int main(int argc, char** argv) {
  const LockedLayer layer;
  addSemaphores();
  addFiles(layer.folder());
  addProfiles(layer.folder());
  addThreads();
  addTexts();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
