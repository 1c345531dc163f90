// Reading the resource block of a module's file, through the layer's file calls.
#pragma once

#include <cstdint>
#include <vector>

#include "service/resources/appended_block.h"

namespace nimbolsp {

struct AppendedTables {
  AppendedStrings strings;
  std::vector<DialogRecord> dialogs;
};

// Reads the tables of a file's block; a table that the block has replaces that of `tables`.
// Returns the block's first header word; the file's size when it has no block; 0 when it cannot be opened.
// Throws std::bad_alloc.
std::int64_t readAppendedBlock(const char* fileName, AppendedTables& tables);

}  // namespace nimbolsp
