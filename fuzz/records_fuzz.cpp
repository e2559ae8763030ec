// Any bytes in the place of a record's file read as a list that survives being written, or as damage that is set aside
// byte by byte; a marker that comes out of them survives as well.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>

#include "kit/records/item_index.h"
#include "kit/records/item_marker.h"
#include "kit/records/operation_journal.h"
#include "platform/file_manager.h"
#include "tests/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

void require(bool holds) {
  if (!holds) std::abort();
}

/// The bytes are all that is in the folder, under another name.
void requireSetAside(const fs::path& folder, std::string_view bytes) {
  require(std::distance(fs::directory_iterator(folder), {}) == 1);
  const fs::path file = fs::directory_iterator(folder)->path();
  require(file.filename().string().find(".damaged-") != std::string::npos);
  require(tavrine::readFile(file) == bytes);
  fs::remove(file);
}

void readIndex(const fs::path& folder, std::string_view bytes) {
  const tavrine::ItemIndex index(folder / "items.json");
  tavrine::writeFile(index.fileURL(), bytes);
  const auto loaded = index.loadReportingDamage();
  if (loaded.damaged) return requireSetAside(folder, bytes);
  index.save(loaded.items);
  require(index.load() == loaded.items);
  for (const auto& item : loaded.items) (void)tavrine::ItemIndex::locate(item);
  fs::remove(index.fileURL());
}

void readJournal(const fs::path& folder, std::string_view bytes) {
  const tavrine::OperationJournal journal(folder / "operations.json");
  tavrine::writeFile(journal.fileURL(), bytes);
  const auto loaded = journal.loadReportingDamage();
  if (loaded.damaged) return requireSetAside(folder, bytes);
  if (!loaded.entries.empty()) {
    journal.add(loaded.entries.front());
    require(journal.load().back() == loaded.entries.front());
  }
  fs::remove(journal.fileURL());
}

void readMarker(const fs::path& folder, std::string_view bytes) {
  tavrine::writeFile(folder / tavrine::ItemMarker::fileName, bytes);
  if (const auto marker = tavrine::ItemMarker::read(folder)) {
    marker->write(folder);
    require(tavrine::ItemMarker::read(folder) == marker);
  }
  fs::remove(folder / tavrine::ItemMarker::fileName);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const tavrine::TemporaryFolder folder;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  readIndex(folder.path(), bytes);
  readJournal(folder.path(), bytes);
  readMarker(folder.path(), bytes);
  return 0;
}
