// Any bytes in the place of the image tool's list are read as a property list of the types we know, or as none.

#include <cstdint>
#include <string_view>

#include "platform/property_list.h"

namespace {

/// Comes to every value, so that one that dangles is noticed.
size_t textBytes(const tavrine::PropertyList& value) {
  size_t bytes = value.text() != nullptr ? value.text()->size() : 0;
  if (value.list() != nullptr) {
    for (const auto& element : *value.list()) bytes += textBytes(element);
  }
  if (value.dictionary() != nullptr) {
    for (const auto& [key, element] : *value.dictionary()) bytes += key.size() + textBytes(element);
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto list = tavrine::PropertyList::parse({reinterpret_cast<const char*>(data), size});
  if (list && textBytes(*list) > size * size) __builtin_trap();
  return 0;
}
