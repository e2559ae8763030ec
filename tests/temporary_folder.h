#pragma once

#include <filesystem>
#include <string>

#include "platform/uuid.h"

namespace tavrine {

/// A folder of a test's own below TMPDIR, its links resolved; gone with all it holds when the test ends.
class TemporaryFolder final {
 public:
  TemporaryFolder()
      : path_(std::filesystem::canonical(std::filesystem::temp_directory_path()) / Uuid::random().text()) {
    std::filesystem::create_directory(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;  // what cannot be removed is found by the check behind the last test
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

}  // namespace tavrine
