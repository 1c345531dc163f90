// Searching the resource tables.
#include "service/resources/resource_tables.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "nimboxi/modules.h"
#include "service/resources/dialog_template.h"

namespace nimbolsp {

namespace {

constexpr std::uintptr_t kFirstPointer = 0x10000;  // anything below is a number and never read through

// The name that an argument points to; null for a number.
const char* nameOf(std::intptr_t argument) {
  return static_cast<std::uintptr_t>(argument) < kFirstPointer ? nullptr
                                                               : reinterpret_cast<const char*>(argument);
}

// The one dialog that is built in, without id and items. Never destroyed, nor leaked when a module goes.
const DialogRecord& builtInDialog() {
  alignas(DialogRecord) static unsigned char storage[sizeof(DialogRecord)];
  static const DialogRecord& dialog = *new (storage) DialogRecord{};
  return dialog;
}

// Entries stand in descending order, so the search ends at the first id that is not above the wanted one.
template <class Record, class Above>
const Record* findDescending(std::span<const Record> records, std::uint32_t id, Above isAbove) {
  for (const Record& record : records) {
    if (record.id == id) return &record;
    if (!isAbove(record.id, id)) return nullptr;
  }
  return nullptr;
}

const DialogRecord* findDialog(const ResourceTables& tables, std::uint32_t id) {
  const DialogRecord* appended =
      findDescending(tables.appendedDialogs, id, [](std::uint32_t a, std::uint32_t b) { return a > b; });
  if (appended != nullptr) return appended;
  // Required(dialog-zero): id 0 finds the built-in dialog, an empty window.
  return id == builtInDialog().id ? &builtInDialog() : nullptr;
}

const NumberedRecord* findNumbered(const NumberedRecord* table, std::uint32_t id) {
  while (table->id != 0 && table->id != id) ++table;
  return table->id == 0 ? nullptr : table;
}

const NamedRecord* findNamed(const NamedRecord* table, const char* name) {
  if (name == nullptr) return nullptr;
  while (table->name != nullptr && std::strcmp(table->name, name) != 0) ++table;
  return table->name == nullptr ? nullptr : table;
}

// The element of a table that a pointer points to; null when it points elsewhere.
template <class Record>
const Record* elementAt(std::span<const Record> table, const void* pointer) {
  const std::uintptr_t offset =
      reinterpret_cast<std::uintptr_t>(pointer) - reinterpret_cast<std::uintptr_t>(table.data());
  if (offset >= table.size_bytes() || offset % sizeof(Record) != 0) return nullptr;
  return &table[offset / sizeof(Record)];
}

std::span<const NumberedRecord> wholeTable(const NumberedRecord* table) {
  std::size_t count = 0;
  while (table[count].id != 0) ++count;
  return {table, count};
}

std::span<const NamedRecord> wholeTable(const NamedRecord* table) {
  std::size_t count = 0;
  while (table[count].name != nullptr) ++count;
  return {table, count};
}

struct DataOf {
  const void* operator()(std::monostate) const { return nullptr; }
  const void* operator()(const DialogRecord*) const { return nullptr; }
  const void* operator()(const StringResource* string) const { return string->text; }
  const void* operator()(const NumberedRecord* record) const { return record->data; }
  const void* operator()(const NamedRecord* record) const { return record->data; }
};

struct SizeOf {
  std::size_t operator()(std::monostate) const { return 0; }
  std::size_t operator()(const DialogRecord* dialog) const { return buildDialogTemplate(*dialog).size(); }
  std::size_t operator()(const StringResource* string) const {
    return 2 * ((string->text == nullptr ? 0 : std::strlen(string->text)) + 1);
  }
  std::size_t operator()(const NumberedRecord* record) const { return record->size; }
  std::size_t operator()(const NamedRecord* record) const { return record->size; }
};

}  // namespace

const StringResource* findString(const ResourceTables& tables, std::uint32_t id) {
  if (id == 0) return nullptr;
  // Required(signed-string-id): ids are compared as signed numbers, so one of 2^31 and above is found in
  // neither table.
  const StringResource* appended =
      findDescending(tables.appendedStrings, id, [](std::uint32_t a, std::uint32_t b) {
        return static_cast<std::int32_t>(a) > static_cast<std::int32_t>(b);
      });
  if (appended != nullptr) return appended;
  const auto builtIn = builtInStrings();
  const auto found = std::find_if(builtIn.begin(), builtIn.end(), [id](auto& s) { return s.id == id; });
  return found == builtIn.end() ? nullptr : &*found;
}

const void* findResource(const ResourceTables& tables, std::intptr_t idOrName, std::intptr_t type) {
  const auto id = static_cast<std::uint32_t>(idOrName);
  if (const char* typeName = nameOf(type)) {
    if (std::strcmp(typeName, "PNG") == 0) return findNumbered(tables.images, id);
    return findNamed(tables.namedTypes, typeName);
  }
  switch (static_cast<std::uintptr_t>(type)) {
    case RT_CURSOR:
      return findNumbered(tables.cursors, id);
    case RT_BITMAP:
      return findNumbered(tables.bitmaps, id);
    case RT_DIALOG:
      return findDialog(tables, id);
    case RT_STRING:
      return findString(tables, id);
    case RT_RCDATA:
      return findNamed(tables.rawData, nameOf(idOrName));
    default:
      return nullptr;
  }
}

ResourceRecord identifyRecord(const ResourceTables& tables, const void* record) {
  if (record == nullptr) return {};
  if (auto* dialog = elementAt(tables.appendedDialogs, record)) return dialog;
  if (record == &builtInDialog()) return &builtInDialog();
  for (const auto strings : {tables.appendedStrings, builtInStrings()}) {
    if (auto* string = elementAt(strings, record)) return string;
  }
  for (const auto* table : {tables.cursors, tables.bitmaps, tables.images}) {
    if (auto* numbered = elementAt(wholeTable(table), record)) return numbered;
  }
  for (const auto* table : {tables.rawData, tables.namedTypes}) {
    if (auto* named = elementAt(wholeTable(table), record)) return named;
  }
  return {};
}

const void* recordData(const ResourceRecord& record) {
  return std::visit(DataOf{}, record);
}

std::size_t recordSize(const ResourceRecord& record) {
  return std::visit(SizeOf{}, record);
}

std::uint64_t highestId(const ResourceTables& tables, std::intptr_t type) {
  if (static_cast<std::uintptr_t>(type) == RT_STRING) return kStringInvalidStatistic;
  if (static_cast<std::uintptr_t>(type) != RT_DIALOG) return 0;
  // Required(highest-dialog): ids are taken for places in the table, so that only some dialogs are looked at.
  std::uint64_t place = 0;
  while (place < tables.appendedDialogs.size()) {
    place = std::max<std::uint64_t>(place, tables.appendedDialogs[place].id) + 1;
  }
  return std::max<std::uint64_t>(place, builtInDialog().id);
}

std::int32_t copyText(const char* text, char* buffer, std::int32_t size) {
  if (size <= 0 || buffer == nullptr) return 0;
  const auto room = static_cast<std::size_t>(size);
  const std::size_t length = std::min(std::strlen(text), room);
  const std::size_t kept = std::min(length, room - 1);
  std::memcpy(buffer, text, kept);
  buffer[kept] = '\0';
  // Required(cut-counts-size): a text that was cut counts as `size` characters, one more than were kept.
  return static_cast<std::int32_t>(length);
}

}  // namespace nimbolsp
