#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tests/programs/ditto/ditto_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class DittoFailure : public DittoFixture {
 protected:
  static std::string message(const Path& path, const std::string& reason) {
    return "ditto: " + path.string() + ": " + reason + "\n";
  }

  /// A source with a file and folders, and destinations where something is already: a file, a folder, links.
  void makeOccupiedPlaces() const {
    write(source / "file", "new");
    fs::create_directories(source / "sub/folder");
    write(folder / "taken", "old");
    fs::create_directories(folder / "elsewhere");
    fs::create_directory_symlink("elsewhere", folder / "to folder");
    fs::create_symlink("nowhere", folder / "dangling");
    fs::create_directory(copy);
    fs::create_directory_symlink("../elsewhere", copy / "sub");
  }

  struct Refusal {
    Path from, to, named;
    std::string reason;
  };

  static void expectRefusals(const std::vector<Refusal>& table) {
    for (const Refusal& row : table) {
      const Outcome outcome = ditto(row.from, row.to);
      EXPECT_EQ(outcome.output, message(row.named, row.reason));
      EXPECT_EQ(outcome.status, 1);
    }
  }
};

TEST_F(DittoFailure, RefusesOtherArgumentsThanTwoPaths) {
  const std::string usage = "; usage: ditto SOURCE DESTINATION\n";
  const struct {
    std::vector<std::string> arguments;
    std::string message;
  } table[] = {{{}, "two paths are needed"},
               {{"a"}, "two paths are needed"},
               {{"a", "b", "c"}, "two paths are needed"},
               {{"-V", "a", "b"}, "unknown option -V"},
               {{"a", "--help"}, "unknown option --help"}};
  for (const auto& row : table) {
    std::vector<std::string> command = {TAVRINE_DITTO};
    command.insert(command.end(), row.arguments.begin(), row.arguments.end());
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.output, "ditto: " + row.message + usage);
    EXPECT_EQ(outcome.status, 1);
  }
  EXPECT_NE(run({TAVRINE_DITTO, "--help"}).output.find("SOURCE DESTINATION"), std::string::npos);
}

TEST_F(DittoFailure, ReplacesNothingFollowsNoLinkAndNamesThePath) {
  makeOccupiedPlaces();
  const Path tooLong = folder / std::string(5000, 'n');
  expectRefusals({{source / "file", folder / "taken", folder / "taken", "File exists"},
                  {source / "file", folder / "elsewhere", folder / "elsewhere", "File exists"},
                  {source / "file", folder / "dangling", folder / "dangling", "File exists"},
                  {source, folder / "taken", folder / "taken", "File exists"},
                  {source, folder / "to folder", folder / "to folder", "File exists"},
                  {source, copy, copy / "sub", "File exists"},
                  {source / "missing", folder / "x", source / "missing", "No such file or directory"},
                  {source / "file", folder / "x/y", folder / "x/y", "No such file or directory"},
                  {source / "file", tooLong, tooLong, "File name too long"},
                  {"/proc/version", folder / "z", "/proc/version", "changed while it was copied"},
                  {source, source, source, "a folder cannot be copied into itself"}});
  EXPECT_EQ(textOf(folder / "taken"), "old");
  EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
  EXPECT_FALSE(fs::exists(folder / "nowhere"));
  EXPECT_EQ(textOf(copy / "file"), "new") << "the rest was copied";
}

TEST_F(DittoFailure, DoesNotCopyACopyIntoItself) {
  write(source / "file", "text");
  const Outcome outcome = ditto(source, source / "inside");
  EXPECT_NE(outcome.output.find(message(source / "inside", "a folder cannot be copied into itself")),
            std::string::npos);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_FALSE(fs::exists(source / "inside/inside"));
}

TEST_F(DittoFailure, ShowsAnyNameOnOneLine) {
  write(source / "two\nlines\xFF", "new");
  write(folder / "copy", "old");
  EXPECT_EQ(ditto(source / "two\nlines\xFF", copy / "x").output, message(copy / "x", "Not a directory"));
  EXPECT_EQ(ditto(source / "no\nlines\xFF", copy).output,
            message(source / "no\xEF\xBF\xBDlines\xEF\xBF\xBD", "No such file or directory"));
}

TEST_F(DittoFailure, NamesWhatCannotBeReadAndCopiesTheRest) {
  if (!ordinaryUserCanTakePart()) GTEST_SKIP() << "an ordinary user cannot reach " << folder.path();
  write(source / "readable", "text");
  write(source / "secret", "text");
  fs::create_directory(source / "closed");
  giveToOrdinaryUser(folder.path());
  fs::permissions(source / "secret", fs::perms(0));
  fs::permissions(source / "closed", fs::perms(0));
  const Outcome outcome = ditto(becomeOrdinaryUser);
  EXPECT_EQ(linesOf(outcome.output),
            linesOf(message(source / "closed", "Permission denied") + message(source / "secret", "Permission denied")));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(textOf(copy / "readable"), "text");
}

TEST_F(DittoFailure, NamesADeviceThatAnOrdinaryUserCannotMake) {
  const Path there = folder / "null";
  if (!ordinaryUserCanTakePart()) GTEST_SKIP() << "an ordinary user cannot reach " << folder.path();
  giveToOrdinaryUser(folder.path());
  const Outcome outcome = ditto("/dev/null", there, becomeOrdinaryUser);
  EXPECT_EQ(outcome.output, message(there, "Operation not permitted"));
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(DittoFailure, NamesAFullDiskOnceAndEnds) {
  for (int file = 0; file < 20; ++file) write(source / std::to_string(file), std::string(500'000, 'x'));
  fs::create_directory(copy);
  const Outcome outcome = ditto(mounted(copy, "tmpfs", "size=1m"));
  if (outcome.status == Program::notPrepared) GTEST_SKIP() << "no file system can be mounted here";
  EXPECT_TRUE(outcome.output.starts_with("ditto: " + copy.string() + "/")) << outcome.output;
  EXPECT_TRUE(outcome.output.ends_with(": No space left on device\n")) << outcome.output;
  EXPECT_EQ(std::ranges::count(outcome.output, '\n'), 1);
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(DittoFailure, NamesWhatTheTargetCannotHold) {
  write(source / "attribute", "text");
  setAttribute(source / "attribute", "user.one", "1");
  write(source / "list", "text");
  setAccessList(source / "list", "u:" + std::to_string(::geteuid()) + ":rw");
  fs::create_directory(copy);
  const Outcome outcome = ditto(mounted(copy, "ramfs"));
  if (outcome.status == Program::notPrepared) GTEST_SKIP() << "no file system can be mounted here";
  const std::string refused = "Operation not supported";
  EXPECT_EQ(linesOf(outcome.output), linesOf(message(copy / "attribute", "extended attribute user.one: " + refused) +
                                             message(copy / "list", "access-control list: " + refused)));
  EXPECT_EQ(outcome.status, 1);
}

}  // namespace
}  // namespace tavrine
