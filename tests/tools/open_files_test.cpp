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
  const std::pair<std::string, std::vector<Holder>> rows[] = {
      {"p123\ncmdworker_shared\nf4\nar\n", {{"mdworker_shared", false, 123}}},
      {"p1\nca\nf3\nar\nf4\naw\nf5\nar\n", {{"a", true, 1}}},
      {"p1\nca\nf3\nau", {{"a", true, 1}}},
      {"p1\nca\naww\naW\na \na\n", {{"a", false, 1}}},
      {"p1\nca\naw\np2\ncb\np1\ncz\nar\n", {{"a", true, 1}, {"b", false, 2}}},
      {"p7\nf1\nar\n", {{"", false, 7}}},
      {"p+5\np-6\n", {{"", false, 5}, {"", false, -6}}},
      {"p\nca\np 1\np12x\np2147483648\np+-1\np+\n", {{"a", false, 0}}},
      {"cx\nau\n\n\np3\ncy\n", {{"y", false, 3}}},
  };
  for (const auto& [output, holders] : rows) EXPECT_EQ(OpenFiles::parse(output), holders) << output;
}

TEST(OpenFiles, SilenceWithAFailureIsUnknown) {
  EXPECT_EQ(OpenFiles::classify(1, false, "p1\nca\naw\n"), Holders::known({{"a", true, 1}}))
      << "it tells what it found";
  EXPECT_EQ(OpenFiles::classify(0, true, "p1\nca\naw\n"), Holders::unknown());
  EXPECT_EQ(OpenFiles::classify(0, false, ""), Holders::known({}));
  EXPECT_EQ(OpenFiles::classify(1, false, " \n\t\r\n"), Holders::unknown());
  EXPECT_EQ(OpenFiles::classify(1, false, "lsof: warning\n"), Holders::known({}));
}

TEST(OpenFiles, NamesWritersElseThoseThatAreNoBackgroundService) {
  const Holder editor{"Editor", false, 1};
  const Holder writer{"Writer", true, 2};
  const Holder indexer{"mdworker", false, 3};
  const Holders both = Holders::known({editor, writer, {"mds", true, 4}, writer});
  using Names = std::vector<std::string>;
  EXPECT_EQ(OpenFiles::blockingNames(Holders::known({editor, indexer, editor})), Names{"Editor"});
  EXPECT_EQ(OpenFiles::blockingNames(both), (Names{"Writer", "mds"}));
  EXPECT_EQ(OpenFiles::writerNames(Holders::unknown()), Names());
}

bool mayBePushedAside(const Holders& holders, const std::optional<std::string>& path) {
  return OpenFiles::safeToAutoEject(holders, [&path](int32_t) { return path; });
}

TEST(OpenFiles, OnlyTheSystemsOwnReadersMayBePushedAside) {
  const Holder mds{"mds", false, 1};
  const std::pair<std::vector<Holder>, const char*> safe[] = {
      {{mds}, "/System/Library/mds"},
      {{mds, {"mdworker_shared", false, 2}}, "/usr/libexec/x"},
      {{{"com.apple.quicklook.ThumbnailsA", false, 1}}, "/usr/sbin/x"}};
  const std::pair<std::vector<Holder>, const char*> unsafe[] = {
      {{{"com.apple.quicklook.ThumbnailsAgent", false, 1}}, "/usr/sbin/x"},
      {{mds}, "/Applications/System/mds"},
      {{mds}, "/System"},
      {{mds, {"mds", true, 2}}, "/System/mds"},
      {{mds, {"bash", false, 2}}, "/System/mds"},
      {{}, "/System/mds"}};
  for (const auto& [holders, path] : safe) EXPECT_TRUE(mayBePushedAside(Holders::known(holders), path)) << path;
  for (const auto& [holders, path] : unsafe) EXPECT_FALSE(mayBePushedAside(Holders::known(holders), path)) << path;
  EXPECT_FALSE(mayBePushedAside(Holders::known({mds}), std::nullopt)) << "its program is unknown";
  EXPECT_FALSE(mayBePushedAside(Holders::unknown(), "/System/mds"));
}

TEST(OpenFiles, TheListerIsAskedForWhatExists) {
  const TemporaryFolder folder;
  const fs::path file = folder / "a file";
  std::ofstream(file) << "x";
  const ScriptedTool lister({{0, "p5\ncvi\nf3\nau\n"}});
  for (const fs::path& path : {folder / "", file}) {
    EXPECT_EQ(OpenFiles::holders(path, 10, lister.path()), Holders::known({{"vi", true, 5}}));
  }
  EXPECT_EQ(OpenFiles::holders(folder / "missing", 10, lister.path()), Holders::known({}));
  const std::vector<std::string> expected = {"-F|pcfa|+D|" + folder.path().string() + "|",
                                             "-F|pcfa|" + file.string() + "|"};
  EXPECT_EQ(lister.runs(), expected);
  EXPECT_EQ(OpenFiles::holders(file, 10, folder / "no lister"), Holders::unknown());
  EXPECT_EQ(OpenFiles::holders(file, 0, lister.path()), Holders::unknown());
}

TEST(OpenFiles, TheKernelTellsTheProgramOfAProcess) {
  EXPECT_EQ(OpenFiles::executablePath(::getpid()), fs::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(OpenFiles::executablePath(-1), std::nullopt);
}

}  // namespace
}  // namespace tavrine
