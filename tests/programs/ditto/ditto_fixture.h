#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <set>
#include <string>

#include "tests/programs/ditto/program.h"
#include "tests/temporary_folder.h"

namespace tavrine {

/// A test of the built program, with a source to fill and a place for its copy.
class DittoFixture : public testing::Test {
 protected:
  using Path = std::filesystem::path;

  DittoFixture();
  ~DittoFixture() override;

  static Outcome ditto(const Path& from, const Path& to, const Program::Preparation& prepare = {});
  Outcome ditto(const Program::Preparation& prepare = {}) const { return ditto(source, copy, prepare); }

  /// What the judge says is different between two folders: contents and everything they carry. Empty when nothing is.
  static std::string differences(const Path& one, const Path& other);
  std::string differences() const { return differences(source, copy); }

  static std::multiset<std::string> linesOf(const std::string& text);
  static void write(const Path& file, const std::string& text);
  static std::string textOf(const Path& file);
  static struct stat statusOf(const Path& item);
  static mode_t modeOf(const Path& item) { return statusOf(item).st_mode & 07777; }
  static void setTimes(const Path& item, time_t seconds, long nanoseconds);
  static void setAttribute(const Path& item, const std::string& name, const std::string& value);
  static void setAccessList(const Path& item, const std::string& entries);
  static void giveToOrdinaryUser(const Path& item);
  static bool isRoot();

  /// Whether an ordinary user reaches the program and the test's folder.
  bool ordinaryUserCanTakePart() const;

  /// Makes a file too large to be copied at once, at `name` in the source, and starts a copy that has begun to write
  /// it.
  std::unique_ptr<Program> copyingLargeFile(const Path& name) const;

  /// Whether that copy was caught before its end, so that it can be looked at in the middle.
  bool isUnfinished(const Path& name) const;

  const TemporaryFolder folder;
  const Path source = folder / "source";
  const Path copy = folder / "copy";
};

}  // namespace tavrine
