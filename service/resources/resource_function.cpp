// The answers to the layer's resource operations. Owns the tables of the module's appended block, guarded by
// the layer's call guard, inside which every operation is called.
#include "service/resources/resource_function.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <vector>

#include "service/resources/block_reader.h"
#include "service/resources/dialog_template.h"
#include "service/resources/resource_tables.h"

namespace nimbolsp {

namespace {

constexpr std::intptr_t kConstantAnswer = 2;

// A loaded resource.
struct ResourceHandle {
  void* data;
  bool ownsData;  // true for dialogs, whose template is from the general heap
};

// Null unless a block was attached.
constinit AppendedTables* appended = nullptr;

ResourceTables currentTables() {
  ResourceTables tables;
  if (appended != nullptr) {
    tables.appendedStrings = appended->strings.entries;
    tables.appendedDialogs = appended->dialogs;
  }
  return tables;
}

void* newTemplate(const DialogRecord& dialog) {
  const std::vector<std::uint8_t> bytes = buildDialogTemplate(dialog);
  void* data = std::malloc(bytes.size());
  if (data != nullptr) std::memcpy(data, bytes.data(), bytes.size());
  return data;
}

ResourceHandle* load(const void* pointer) {
  const ResourceRecord record = identifyRecord(currentTables(), pointer);
  const auto* dialog = std::get_if<const DialogRecord*>(&record);
  ResourceHandle loaded{};
  loaded.ownsData = dialog != nullptr;
  loaded.data = dialog != nullptr ? newTemplate(**dialog) : const_cast<void*>(recordData(record));
  if (loaded.data == nullptr) return nullptr;
  auto* handle = static_cast<ResourceHandle*>(std::malloc(sizeof(ResourceHandle)));
  if (handle != nullptr) {
    *handle = loaded;
  } else if (loaded.ownsData) {
    std::free(loaded.data);
  }
  return handle;
}

void release(ResourceHandle* handle) {
  if (handle != nullptr && handle->ownsData) std::free(handle->data);
  std::free(handle);
}

std::int32_t loadString(std::uint32_t id, char* buffer, std::int32_t size) {
  const StringResource* string = findString(currentTables(), id);
  return copyText(string == nullptr || string->text == nullptr ? "" : string->text, buffer, size);
}

void attach(HMODULE module) {
  char fileName[MAX_PATH_BYTES];
  if (GetModuleFileName(module, fileName, sizeof fileName) == 0) return;
  if (appended == nullptr) appended = new AppendedTables;
  readAppendedBlock(fileName, *appended);
}

void detach() {
  delete appended;
  appended = nullptr;
}

std::intptr_t asResult(const void* pointer) {
  return reinterpret_cast<std::intptr_t>(pointer);
}

std::intptr_t answer(std::intptr_t operation, std::intptr_t a, std::intptr_t b, std::intptr_t c) {
  switch (operation) {
    case RESOURCE_FIND:
      return asResult(findResource(currentTables(), a, b));
    case RESOURCE_LOAD:
      return asResult(load(reinterpret_cast<const void*>(a)));
    case RESOURCE_FREE:
      release(reinterpret_cast<ResourceHandle*>(b));
      return 0;
    case RESOURCE_LOCK:
      return b == 0 ? 0 : asResult(reinterpret_cast<ResourceHandle*>(b)->data);
    case RESOURCE_SIZE: {
      const ResourceTables tables = currentTables();
      return static_cast<std::intptr_t>(recordSize(identifyRecord(tables, reinterpret_cast<const void*>(b))));
    }
    case RESOURCE_LOAD_STRING:
      return loadString(static_cast<std::uint32_t>(a), reinterpret_cast<char*>(b),
                        static_cast<std::int32_t>(c));
    case RESOURCE_CONSTANT:
      return kConstantAnswer;
    case RESOURCE_HIGHEST_ID:
      return static_cast<std::intptr_t>(highestId(currentTables(), b));
    case RESOURCE_ATTACH:
      attach(reinterpret_cast<HMODULE>(a));
      return 0;
    case RESOURCE_DETACH:
      detach();
      return 0;
    default:
      return 0;
  }
}

}  // namespace

}  // namespace nimbolsp

intptr_t OSresFunc(intptr_t operation, intptr_t a, intptr_t b, intptr_t c) {
  try {
    return nimbolsp::answer(operation, a, b, c);
  } catch (const std::exception&) {  // without memory; the callers are C
    return 0;
  }
}
