#include "kit/tools/open_files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/tools/scripted_tool.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Holder = OpenFiles::Holder;
using Holders = OpenFiles::Holders;

TEST(OpenFiles, PutsTheListersLinesTogetherToHolders) {
  struct Row {
    const char* name;
    std::string output;
    std::vector<Holder> holders;
  };
  const Row rows[] = {
      {"reader", "p123\ncmdworker_shared\nf4\nar\n", {{"mdworker_shared", false, 123}}},
      {"one of its files is written", "p1\nca\nf3\nar\nf4\naw\nf5\nar\n", {{"a", true, 1}}},
      {"reads and writes", "p1\nca\nf3\nau", {{"a", true, 1}}},
      {"modes that are none", "p1\nca\naww\naW\na \na\n", {{"a", false, 1}}},
      {"again", "p1\nca\np2\ncb\np1\ncz\naw\n", {{"a", true, 1}, {"b", false, 2}}},
      {"a second look does not clear", "p1\nca\naw\np1\nar\n", {{"a", true, 1}}},
      {"no name", "p7\nf1\nar\n", {{"", false, 7}}},
      {"numbers", "p+5\np-6\n", {{"", false, 5}, {"", false, -6}}},
      {"no numbers", "p12x\n", {{"", false, 0}}},
      {"one holder for all that is no number", "p\nca\np 1\np2147483648\np+-1\np+\n", {{"a", false, 0}}},
      {"lines before the first process", "cx\nau\n\n\np3\ncy\n", {{"y", false, 3}}},
      {"nothing", "", {}},
  };
  for (const Row& row : rows) EXPECT_EQ(OpenFiles::parse(row.output), row.holders) << row.name;
}

TEST(OpenFiles, SilenceWithAFailureIsUnknown) {
  const Holders found = Holders::known({{"a", true, 1}});
  EXPECT_EQ(OpenFiles::classify(0, false, "p1\nca\naw\n"), found);
  EXPECT_EQ(OpenFiles::classify(1, false, "p1\nca\naw\n"), found) << "it tells what it found";
  EXPECT_EQ(OpenFiles::classify(0, true, "p1\nca\naw\n"), Holders::unknown());
  EXPECT_EQ(OpenFiles::classify(0, false, ""), Holders::known({}));
  EXPECT_EQ(OpenFiles::classify(1, false, " \n\t\r\n"), Holders::unknown());
  EXPECT_EQ(OpenFiles::classify(1, false, "lsof: warning\n"), Holders::known({}));
}

TEST(OpenFiles, NamesWritersElseThoseThatAreNoBackgroundService) {
  const Holder editor{"Editor", false, 1};
  const Holder writer{"Writer", true, 2};
  const Holder indexer{"mdworker", false, 3};
  using Names = std::vector<std::string>;
  EXPECT_EQ(OpenFiles::blockingNames(Holders::known({editor, indexer, editor})), Names{"Editor"});
  EXPECT_EQ(OpenFiles::blockingNames(Holders::known({editor, writer, {"mds", true, 4}, writer})),
            (Names{"Writer", "mds"}));
  EXPECT_EQ(OpenFiles::blockingNames(Holders::known({indexer})), Names());
  EXPECT_EQ(OpenFiles::blockingNames(Holders::unknown()), Names());
  EXPECT_EQ(OpenFiles::writerNames(Holders::known({editor, writer, {"Writer", true, 9}})), Names{"Writer"});
  EXPECT_EQ(OpenFiles::writerNames(Holders::unknown()), Names());
}

TEST(OpenFiles, OnlyTheSystemsOwnReadersMayBePushedAside) {
  struct Row {
    const char* name;
    std::vector<Holder> holders;
    std::optional<std::string> path;
    bool isSafe;
  };
  const Holder mds{"mds", false, 1};
  const Row rows[] = {
      {"the system's", {mds}, "/System/Library/mds", true},
      {"its libraries' and administrators'", {mds, {"mdworker_shared", false, 2}}, "/usr/libexec/x", true},
      {"cut name", {{"com.apple.quicklook.ThumbnailsA", false, 1}}, "/usr/sbin/x", true},
      {"whole name", {{"com.apple.quicklook.ThumbnailsAgent", false, 1}}, "/usr/sbin/x", false},
      {"anybody's", {mds}, "/Applications/mds", false},
      {"other case", {mds}, "/system/mds", false},
      {"the root itself", {mds}, "/System", false},
      {"gone", {mds}, std::nullopt, false},
      {"writes", {mds, {"mds", true, 2}}, "/System/mds", false},
      {"other program", {mds, {"bash", false, 2}}, "/System/mds", false},
      {"nobody", {}, "/System/mds", false},
  };
  for (const Row& row : rows) {
    const auto path = [&row](int32_t) { return row.path; };
    EXPECT_EQ(OpenFiles::safeToAutoEject(Holders::known(row.holders), path), row.isSafe) << row.name;
  }
  EXPECT_FALSE(OpenFiles::safeToAutoEject(Holders::unknown(), [](int32_t) { return "/System/mds"; }));
}

TEST(OpenFiles, TheListerIsAskedForWhatExists) {
  const TemporaryFolder folder;
  const fs::path file = folder / "a file";
  std::ofstream(file) << "x";
  const ScriptedTool lister({{0, "p5\ncvi\nf3\nau\n"}});
  const Holders held = Holders::known({{"vi", true, 5}});
  EXPECT_EQ(OpenFiles::holders(folder / "", 10, lister.path()), held);
  EXPECT_EQ(OpenFiles::holders(file, 10, lister.path()), held);
  EXPECT_EQ(OpenFiles::holders(folder / "missing", 10, lister.path()), Holders::known({}));
  const std::vector<ScriptedTool::Call> expected = {{{"-F", "pcfa", "+D", folder.path().string()}, ""},
                                                    {{"-F", "pcfa", file.string()}, ""}};
  EXPECT_EQ(lister.runs(), expected);
  EXPECT_EQ(OpenFiles::holders(file, 10, folder / "no lister"), Holders::unknown());
  EXPECT_EQ(OpenFiles::holders(file, 0, lister.path()), Holders::unknown());
}

TEST(OpenFiles, TheKernelTellsTheProgramOfAProcess) {
  EXPECT_EQ(OpenFiles::executablePath(::getpid()), fs::read_symlink("/proc/self/exe").string());
  for (const int32_t nobody : {0, -1, std::numeric_limits<int32_t>::max()}) {
    EXPECT_EQ(OpenFiles::executablePath(nobody), std::nullopt) << nobody;
  }
}

}  // namespace
}  // namespace tavrine
