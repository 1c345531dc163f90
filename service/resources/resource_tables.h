// The resources of a module: built-in tables and those of its appended block, and how they are searched.
// Pure: the caller keeps tables and records alive.
#pragma once

#include <cstdint>
#include <span>
#include <variant>

#include "service/resources/appended_block.h"
#include "service/resources/string_table.h"

namespace nimbolsp {

#pragma pack(push, 1)
// A cursor, bitmap or image. Id 0 ends a table.
struct NumberedRecord {
  std::uint32_t id;
  const void* data;
  std::uint32_t size;
};
// Raw data, or a resource of a named type. A null name ends a table.
struct NamedRecord {
  const char* name;
  const void* data;
  std::uint32_t size;
};
#pragma pack(pop)
static_assert(sizeof(NumberedRecord) == 16 && offsetof(NumberedRecord, size) == 12);
static_assert(sizeof(NamedRecord) == 20 && offsetof(NamedRecord, size) == 16);

inline constexpr NumberedRecord kNoNumberedRecords[] = {{0, nullptr, 0}};
inline constexpr NamedRecord kNoNamedRecords[] = {{nullptr, nullptr, 0}};

// By default what this program has: no resources but the built-in strings.
struct ResourceTables {
  std::span<const StringResource> appendedStrings;
  std::span<const DialogRecord> appendedDialogs;
  const NumberedRecord* cursors = kNoNumberedRecords;
  const NumberedRecord* bitmaps = kNoNumberedRecords;
  const NumberedRecord* images = kNoNumberedRecords;  // of the named type "PNG"
  const NamedRecord* rawData = kNoNamedRecords;
  const NamedRecord* namedTypes = kNoNamedRecords;  // their names are the types' names
};

// A record of one of the tables.
using ResourceRecord = std::variant<std::monostate, const StringResource*, const DialogRecord*,
                                    const NumberedRecord*, const NamedRecord*>;

// The string of an id, appended before built in; null for none and for id 0.
const StringResource* findString(const ResourceTables& tables, std::uint32_t id);

// The record of a resource; null for none.
//   idOrName  a number, or a pointer to a name for raw data
//   type      a number (below 0x10000), or a pointer to a type's name
const void* findResource(const ResourceTables& tables, std::intptr_t idOrName, std::intptr_t type);

// What a pointer that findResource returned points to; std::monostate for any other pointer.
ResourceRecord identifyRecord(const ResourceTables& tables, const void* record);

// The data of a record that is not a dialog; null for none.
const void* recordData(const ResourceRecord& record);

// The size in bytes of what loading the record gives; for a string that of its UTF-16 form.
std::size_t recordSize(const ResourceRecord& record);

// The highest id of a type; 0 for the types that do not tell.
std::uint64_t highestId(const ResourceTables& tables, std::intptr_t type);

// Copies a text into a buffer of `size` bytes.
// Returns its length; or `size` when it was cut to `size` - 1; 0 when `size` is below 1, with nothing
// written.
std::int32_t copyText(const char* text, char* buffer, std::int32_t size);

}  // namespace nimbolsp
