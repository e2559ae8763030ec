#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "kit/engine/tree_verifier.h"
#include "kit/errors/tavrine_error.h"
#include "tests/temporary_folder.h"

namespace tavrine {

/// Two trees, "one" and "two", and what the verifier says of them.
class VerifiedTrees : public testing::Test {
 protected:
  VerifiedTrees() {
    for (const char* name : {"one", "two"}) std::filesystem::create_directory(folder_ / name);
  }

  void write(const Path& path, const std::string& content = "content") const {
    std::filesystem::create_directories((folder_ / path).parent_path());
    std::ofstream(folder_ / path) << content;
  }

  std::vector<std::string> differences(const TreeVerifier::Names& ignored = {}) const {
    std::vector<std::string> texts;
    for (const TreeMismatch& mismatch : TreeVerifier::compare(folder_ / "one", folder_ / "two", ignored)) {
      texts.push_back((mismatch.path.empty() ? "(root)" : mismatch.path) + ": " + mismatch.reason);
    }
    return texts;
  }

  /// What the comparison fails with: the detail of `copyFailed`, "cancelled", or the errno and the name of the path.
  std::string failure(const TreeVerifier::Cancel& cancel = nullptr) const {
    try {
      const auto mismatches = TreeVerifier::compare(folder_ / "one", folder_ / "two", {}, cancel);
      return mismatches.empty() ? "" : "differs";
    } catch (const TavrineError& error) {
      if (error.kind() == TavrineError::Case::cancelled) return "cancelled";
      return error.kind() == TavrineError::Case::copyFailed ? *error.payload<std::string>() : error.what();
    } catch (const std::filesystem::filesystem_error& error) {
      return std::to_string(error.code().value()) + " " + lastComponent(error.path1());
    }
  }

  const TemporaryFolder folder_;
};

}  // namespace tavrine
