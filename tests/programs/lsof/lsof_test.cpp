#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/programs/lsof/holding_process.h"
#include "tests/programs/lsof/listing.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Files = std::multiset<std::string>;

void require(bool condition) {
  if (!condition) throw std::runtime_error("cannot hold it");
}

/// Opened as a certain descriptor, so that the lines to come are known.
void openAs(int number, const Path& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CREAT * ((flags & O_ACCMODE) != O_RDONLY), 0600);
  require(fd >= 0 && ::dup2(fd, number) == number);
  if (fd != number) (void)::close(fd);
}

void map(const Path& path, int protection, int flags) {
  const int fd = ::open(path.c_str(), O_RDWR);
  require(fd >= 0 && ::mmap(nullptr, 1, protection, flags, fd, 0) != MAP_FAILED);
  (void)::close(fd);
}

/// Waits for the end of the first thread, then for that of standard input.
void goOnAlone() {
  const auto firstThread = [] {
    std::string line;
    std::getline(std::ifstream("/proc/self/stat"), line);
    return line.substr(line.rfind(')') + 2, 1);
  };
  while (firstThread() != "Z") std::this_thread::yield();
  (void)::close_range(3, 99, 0);  // among them the pipe whose end says that all is ready
  for (char byte = 0; ::read(STDIN_FILENO, &byte, 1) > 0;) continue;
  ::_exit(0);
}

/// A tree with a file "f" beside a folder whose name begins as the tree's.
class LsofTest : public testing::Test {
 protected:
  LsofTest() {
    fs::create_directories(tree_ / "sub");
    fs::create_directory(scratch_ / "tree2");
    for (const char* name : {"f", "sp ace", "line\nbreak", "four\\012signs", "x (deleted)", "\xFF\xFE", "../tree2/f"}) {
      std::ofstream(tree_ / name) << "content";
    }
  }

  void holdInEveryWay() const {
    require(::chdir((tree_ / "sub").c_str()) == 0);
    openAs(100, tree_ / "f", O_RDONLY);
    openAs(101, tree_ / "f", O_WRONLY);
    openAs(102, tree_ / "f", O_RDWR | O_APPEND);
    openAs(103, tree_ / "sub", O_RDONLY | O_DIRECTORY);
    openAs(104, tree_ / "sp ace", O_WRONLY);
    openAs(105, tree_ / "line\nbreak", O_RDONLY);
    openAs(106, tree_ / "\xFF\xFE", O_RDWR);
    openAs(107, tree_ / "gone", O_RDWR);
    fs::remove(tree_ / "gone");
    openAs(108, tree_ / "f", 3);  // for ioctl only
    openAs(109, scratch_ / "tree2/f", O_RDWR);
    map(tree_ / "f", PROT_READ, MAP_SHARED);
    map(tree_ / "sp ace", PROT_READ | PROT_WRITE, MAP_PRIVATE);
    map(tree_ / "x (deleted)", PROT_READ, MAP_PRIVATE);
  }

  const TemporaryFolder scratch_;
  const Path tree_ = scratch_ / "tree";
};

TEST_F(LsofTest, ListsWhatTheJudgeListsOfTheSameProcess) {
  if (!hasJudge()) GTEST_SKIP() << judge << " is not here (package lsof)";
  const HoldingProcess process([this] { holdInEveryWay(); });
  const Files expected = {"cwd  ", "100 r", "101 w", "102 u", "103 r", "104 w", "105 r",
                          "106 u", "107 u", "108 u", "mem  ", "mem  ", "mem  "};
  EXPECT_EQ(judgedFiles(process.pid(), tree_), expected);
  const Listing listing = listedTree(tree_);
  EXPECT_EQ(listing.filesOf(process.pid()), expected);
  EXPECT_EQ(listing.processes.size(), 1u) << listing.text;
}

TEST_F(LsofTest, OnlyASharedWritableMappingWrites) {
  struct Row {
    const char* name;
    int protection;
    int flags;
    Files files;
  };
  const Row rows[] = {
      {"f", PROT_READ | PROT_WRITE, MAP_SHARED, {"mem u"}},
      {"f", PROT_READ | PROT_WRITE, MAP_PRIVATE, {"mem  "}},
      {"f", PROT_READ, MAP_SHARED, {"mem  "}},
      {"line\nbreak", PROT_WRITE, MAP_SHARED, {"mem u"}},
      {"four\\012signs", PROT_WRITE, MAP_SHARED, {"mem u"}},
  };
  for (const Row& row : rows) {
    const HoldingProcess process([&] { map(tree_ / row.name, row.protection, row.flags); });
    EXPECT_EQ(listedTree(tree_).filesOf(process.pid()), row.files) << row.name << row.protection;
    EXPECT_EQ(listedFile(tree_ / row.name).filesOf(process.pid()), row.files) << row.name;
    EXPECT_EQ(listedFile(tree_ / "sp ace").filesOf(process.pid()), Files()) << row.name;
  }
}

struct ProgramName {
  const char* file;
  const char* name;
};
constexpr ProgramName programNames[] = {
    {"short", "short"},
    {"exactly_fifteen", "exactly_fifteen"},
    {"longer_than_the_kernel_keeps", "longer_than_the_kernel_keeps"},
    {"com.example.very.long.ThumbnailsAndMore", "com.example.very.long.Thumbnail"},
    {"an_umlaut_at_the_very_cut_is_ä_kept_whole", "an_umlaut_at_the_very_cut_is_ä"},
    {"the_umlaut_at_the_very_cut_is_ä_left_out", "the_umlaut_at_the_very_cut_is_"},
    {"two\nlines", "two\\nlines"},
};

TEST_F(LsofTest, AProgramIsNamedInFullByItsFile) {
  for (const ProgramName& row : programNames) {
    fs::copy_file("/bin/cat", tree_ / row.file);
    const HoldingProcess process([&] { (void)::execl((tree_ / row.file).c_str(), "cat", nullptr), require(false); });
    auto listing = listedTree(tree_);
    EXPECT_EQ(listing.processes[process.pid()].command, row.name);
    EXPECT_EQ(listing.filesOf(process.pid()), Files{"txt  "});
    fs::remove(tree_ / row.file);
    listing = listedTree(tree_);
    EXPECT_EQ(listing.processes[process.pid()].command, row.name) << "deleted";
  }
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
  for (const Path& name : {tree_ / "f", scratch_ / "link", tree_ / "sub/../f"}) {
    EXPECT_EQ(listedFile(name).filesOf(process.pid()), (Files{"100 w", "102  ", "mem u"})) << name;
  }
  EXPECT_EQ(listedFile(tree_).filesOf(process.pid()), Files()) << "the folder alone";
}

TEST_F(LsofTest, ADeletedFileIsNotTheOneNamedLikeItsMark) {
  std::ofstream(tree_ / "x") << "x";
  fs::create_directory(tree_ / "folder (deleted)");
  const HoldingProcess process([this] {
    openAs(100, tree_ / "x", O_WRONLY);
    fs::remove(tree_ / "x");
    openAs(101, tree_ / "x (deleted)", O_WRONLY);
    require(::chdir((tree_ / "folder (deleted)").c_str()) == 0);
  });
  EXPECT_EQ(listedFile(tree_ / "x (deleted)").filesOf(process.pid()), Files{"101 w"});
  EXPECT_EQ(listedTree(tree_).filesOf(process.pid()), (Files{"100 w", "101 w", "cwd  "}));
  EXPECT_EQ(listedTree(tree_ / "folder (deleted)").filesOf(process.pid()), Files{"cwd  "});
}

TEST_F(LsofTest, AProcessWhoseFirstThreadHasEndedIsStillSeen) {
  const HoldingProcess process([this] {
    openAs(100, tree_ / "f", O_WRONLY);
    std::thread(goOnAlone).detach();
    (void)::syscall(SYS_exit, 0);  // of this thread alone
  });
  EXPECT_EQ(listedTree(tree_).filesOf(process.pid()), Files{"100 w"});
}

}  // namespace
}  // namespace tavrine
