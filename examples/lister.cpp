// A module that calls the layer of the program which loads it, and brings none of its own.
#include <cstdio>

#include "nimboxi.h"

extern "C" void listFolder(const char* folder) {
  char pattern[MAX_PATH_BYTES];
  std::snprintf(pattern, sizeof pattern, "%.4000s/*.txt", folder);
  FindData found;
  HANDLE search = FindFirstFile(pattern, &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    std::printf("file %s of %u bytes\n", found.fileName, found.sizeLow);
  } while (FindNextFile(search, &found));
  FindClose(search);
}
