#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <thread>

#include "tests/programs/lsof/lsof_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

constexpr const char* judge = "/usr/bin/lsof";

void map(const Path& path, int protection, int flags) {
  const int fd = ::open(path.c_str(), O_RDWR);
  require(fd >= 0 && ::mmap(nullptr, 1, protection, flags, fd, 0) != MAP_FAILED && ::close(fd) == 0);
}

/// Waits for the end of the first thread.
void goOnAlone() {
  const auto firstThread = [] {
    std::string line;
    std::getline(std::ifstream("/proc/self/stat"), line);
    return line.substr(line.rfind(')') + 2, 1);
  };
  while (firstThread() != "Z") std::this_thread::yield();
  (void)::close_range(3, 99, 0);  // among them the pipe whose end says that all is ready
  (void)::pause();
}

class LsofTest : public LsofFixture {
 protected:
  LsofTest() {
    fs::create_directory(scratch_ / "tree2");
    for (const char* name : {"sp ace", "line\nbreak", "four\\012signs", "x (deleted)", "x", "../tree2/f"}) {
      std::ofstream(tree_ / name) << "content";
    }
  }

  static std::string listedFile(const Path& path) { return listed({"-F", "pcfa", path.string()}); }

  void holdInEveryWay() const {
    require(::chdir((tree_ / "sub").c_str()) == 0);
    openAs(100, tree_ / "f", O_RDONLY);
    openAs(101, tree_ / "sp ace", O_WRONLY);
    openAs(102, tree_ / "line\nbreak", O_RDWR | O_APPEND);
    openAs(103, tree_ / "sub", O_RDONLY | O_DIRECTORY);
    openAs(104, tree_ / "\xFF\xFE", O_RDWR);
    openAs(105, tree_ / "gone", O_RDWR);
    fs::remove(tree_ / "gone");
    openAs(106, tree_ / "f", 3);  // for ioctl only
    openAs(107, scratch_ / "tree2/f", O_RDWR);
    map(tree_ / "f", PROT_READ, MAP_SHARED);
    map(tree_ / "sp ace", PROT_READ | PROT_WRITE, MAP_PRIVATE);
    map(tree_ / "x (deleted)", PROT_READ, MAP_PRIVATE);
  }
};

TEST_F(LsofTest, ListsWhatTheJudgeListsOfTheSameProcess) {
  if (!fs::exists(judge)) GTEST_SKIP() << judge << " is not here (package lsof)";
  const HoldingProcess process([this] { holdInEveryWay(); });
  const Texts expected = {"100 r", "101 w", "102 u", "103 r", "104 u", "105 u",
                          "106 u", "cwd  ", "mem  ", "mem  ", "mem  "};
  const auto judged = ProcessRunner::run(judge, {"-w", "-F", "fan", "-p", std::to_string(process.pid())});
  EXPECT_EQ(filesOf(process.pid(), judged.output, tree_), expected);
  const std::string listing = listedTree(tree_);
  EXPECT_EQ(filesOf(process.pid(), listing), expected);
  EXPECT_EQ(listing.rfind('p', listing.find("\nc")), 0u) << "nobody else: " << listing;
}

TEST_F(LsofTest, OnlyASharedWritableMappingWrites) {
  struct Row {
    const char* name;
    int protection;
    int flags;
    const char* file;
  };
  const Row rows[] = {
      {"f", PROT_READ | PROT_WRITE, MAP_SHARED, "mem u"},
      {"f", PROT_READ | PROT_WRITE, MAP_PRIVATE, "mem  "},
      {"f", PROT_READ, MAP_SHARED, "mem  "},
      {"line\nbreak", PROT_WRITE, MAP_SHARED, "mem u"},
      {"four\\012signs", PROT_WRITE, MAP_SHARED, "mem u"},
  };
  for (const Row& row : rows) {
    const HoldingProcess process([&] { map(tree_ / row.name, row.protection, row.flags); });
    for (const std::string& listing : {listedTree(tree_), listedFile(tree_ / row.name)}) {
      EXPECT_EQ(filesOf(process.pid(), listing), Texts{row.file}) << row.name << row.protection;
    }
  }
}

TEST_F(LsofTest, AProgramIsNamedInFullByItsFile) {
  const std::pair<const char*, const char*> rows[] = {
      {"exactly_fifteen", "exactly_fifteen"},
      {"com.example.very.long.ThumbnailsAndMore", "com.example.very.long.Thumbnail"},
      {"an_umlaut_at_the_very_cut_is_ä_kept_whole", "an_umlaut_at_the_very_cut_is_ä"},
      {"the_umlaut_at_the_very_cut_is_ä_left_out", "the_umlaut_at_the_very_cut_is_"},
      {"two\nlines", "two\\nlines"},
  };
  for (const auto& [file, name] : rows) {
    fs::copy_file("/bin/sleep", tree_ / file);
    const HoldingProcess process(
        [&] { (void)::execl((tree_ / file).c_str(), "sleep", "300", nullptr), require(false); });
    const std::string lines = "p" + std::to_string(process.pid()) + "\nc" + name + "\nftxt\na \n";
    EXPECT_EQ(listedTree(tree_), lines);
    fs::remove(tree_ / file);
    EXPECT_EQ(listedTree(tree_), lines) << "deleted";
  }
}

TEST_F(LsofTest, AProcessThatGaveItselfANameHasThatOne) {
  const HoldingProcess process([this] {
    require(::prctl(PR_SET_NAME, "fifteen letters") == 0);
    openAs(100, tree_ / "f", O_WRONLY);
  });
  EXPECT_EQ(listedTree(tree_), "p" + std::to_string(process.pid()) + "\ncfifteen letters\nf100\naw\n");
}

TEST_F(LsofTest, AFileIsFoundUnderAnyOfItsNamesAndAlone) {
  fs::create_hard_link(tree_ / "f", scratch_ / "other name");
  fs::create_symlink("tree/f", scratch_ / "link");
  const HoldingProcess process([this] {
    openAs(100, scratch_ / "other name", O_WRONLY);
    openAs(101, tree_ / "sp ace", O_WRONLY);
    openAs(102, tree_ / "f", O_PATH);
    map(scratch_ / "other name", PROT_WRITE, MAP_SHARED);
  });
  for (const Path& name : {scratch_ / "link", tree_ / "sub/../f"}) {
    EXPECT_EQ(filesOf(process.pid(), listedFile(name)), (Texts{"100 w", "102  ", "mem u"})) << name;
  }
  EXPECT_EQ(listedFile(tree_), "") << "the folder alone";
}

TEST_F(LsofTest, ADeletedFileIsNotTheOneNamedLikeItsMark) {
  const HoldingProcess process([this] {
    openAs(100, tree_ / "x", O_WRONLY);
    fs::remove(tree_ / "x");
    openAs(101, tree_ / "x (deleted)", O_WRONLY);
  });
  EXPECT_EQ(filesOf(process.pid(), listedFile(tree_ / "x (deleted)")), Texts{"101 w"});
  EXPECT_EQ(filesOf(process.pid(), listedTree(tree_)), (Texts{"100 w", "101 w"}));
}

TEST_F(LsofTest, AProcessWhoseFirstThreadHasEndedIsStillSeen) {
  const HoldingProcess process([this] {
    openAs(100, tree_ / "f", O_WRONLY);
    std::thread(goOnAlone).detach();
    (void)::syscall(SYS_exit, 0);  // of this thread alone
  });
  EXPECT_EQ(filesOf(process.pid(), listedTree(tree_)), Texts{"100 w"});
}

}  // namespace
}  // namespace tavrine
