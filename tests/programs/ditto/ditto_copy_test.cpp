#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "tests/programs/ditto/ditto_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class DittoCopy : public DittoFixture {
 protected:
  void makeNames() const {
    for (const std::string& name :
         {std::string(255, 'n'), std::string("-rf"), std::string("two\nlines \xFF\xFE"), std::string("é")}) {
      write(source / name, name);
      fs::create_directory(source / ("folder " + name).substr(0, 255));
    }
  }

  void makeFiles() const {
    write(source / "empty", "");
    write(source / "odd", std::string(100'001, 'o'));
    write(source / "large", std::string(40'000'000, 'l'));
    fs::create_directories(source / "a/b/c");
    fs::create_hard_link(source / "odd", source / "a/b/other name");
    fs::create_hard_link(source / "odd", source / "a/third name");
    write(source / "a/b/one of two", "linked");
    fs::create_hard_link(source / "a/b/one of two", source / "a/two of two");
  }

  void makeSpecialFiles() const {
    fs::create_symlink("odd", source / "link");
    fs::create_directory_symlink("a", source / "link to folder");
    fs::create_symlink("/nowhere/" + std::string(3000, 't'), source / "dangling");
    EXPECT_EQ(::mkfifo((source / "fifo").c_str(), 0640), 0);
  }

  /// Data at 100 MiB and at the end of the first GiB, and holes before, between and after it.
  void makeHoles() const {
    const Path file = source / "holes";
    write(file, "");
    for (const off_t offset : {off_t{100} << 20, (off_t{1} << 30) - 5}) {
      std::fstream(file, std::ios::in | std::ios::out).seekp(offset) << "data";
    }
    fs::resize_file(file, (1u << 30) + 12345);
    write(source / "only a hole", "");
    fs::resize_file(source / "only a hole", 70'000);
  }

  void makeAttributes() const {
    setAttribute(source / "odd", "user.one", "1");
    setAttribute(source / "odd", "user.long", std::string(2000, 'v'));
    setAttribute(source / "a", "user.folder", std::string("\0\xFF", 2));
    setAccessList(source / "odd", "u:5:rw,g:6:r");
    setAccessList(source / "a/b", "u:5:rwx,d:u:7:rx");
  }

  void makeWhatOnlyRootCan() const {
    if (!isRoot()) return;
    EXPECT_EQ(::mknod((source / "device").c_str(), S_IFCHR | 0606, 0x0103), 0);
    for (const char* name : {"link", "fifo", "odd"}) setAttribute(source / name, "trusted.one", "1");
    EXPECT_EQ(::lchown((source / "dangling").c_str(), 5, 6), 0);
    EXPECT_EQ(::lchown((source / "large").c_str(), 5, 6), 0);
    EXPECT_EQ(::lchown((source / "a/b/c").c_str(), 5, 6), 0);
  }

  void makeModesAndTimes() const {
    fs::permissions(source / "large", fs::perms(06751));
    fs::permissions(source / "empty", fs::perms(0400));
    fs::permissions(source / "a/b/c", fs::perms(03511));
    fs::permissions(source / "folder -rf", fs::perms(isRoot() ? 0 : 0500));
    long nanoseconds = 999'999'999;
    for (const char* name : {"a/b/c", "a/b", "a", "odd", "link", "dangling", "fifo", "holes", "folder -rf"}) {
      setTimes(source / name, 1'000'000'000 - nanoseconds, nanoseconds);
      nanoseconds -= 1'000'001;
    }
    setTimes(source, -5, 1);
  }

  void makeSource() const {
    makeNames();
    makeFiles();
    makeSpecialFiles();
    makeHoles();
    makeAttributes();
    makeWhatOnlyRootCan();
    makeModesAndTimes();
  }

  void makeDeepSource(int depth) const {
    const Path before = fs::current_path();
    fs::current_path(source);
    for (int level = 0; level < depth; ++level) {
      if (level % 20 == 0) write("file", std::to_string(level));
      if (level % 7 == 0) fs::create_directory("beside");
      fs::create_directory("down");
      fs::permissions("down", fs::perms(0750));
      fs::current_path("down");
    }
    fs::current_path(before);
  }

  void makeSocket(const Path& path) const {
    sockaddr_un address{AF_UNIX, "socket"};
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const Path before = fs::current_path();
    fs::current_path(path.parent_path());  // a socket's address has little room
    EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    fs::current_path(before);
    ::close(socket);
    fs::rename(path.parent_path() / "socket", path);
  }
};

TEST_F(DittoCopy, LosesNothingOfATree) {
  makeSource();
  const Outcome outcome = ditto();
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(differences(), "");
  EXPECT_LE(statusOf(copy / "holes").st_blocks, statusOf(source / "holes").st_blocks);
  EXPECT_EQ(statusOf(copy / "only a hole").st_blocks, 0);
  EXPECT_EQ(statusOf(copy / "odd").st_nlink, 3u);
}

TEST_F(DittoCopy, LosesNothingOfOneItem) {
  makeSource();
  fs::create_directory(copy);
  for (const auto& item : fs::directory_iterator(source)) {
    const Outcome outcome = ditto(item.path(), copy / item.path().filename());
    EXPECT_EQ(outcome.output, "") << item;
    EXPECT_EQ(outcome.status, 0) << item;
  }
  // A single file's other names are not in what is copied.
  fs::remove_all(source / "a");
  fs::remove_all(copy / "a");
  setTimes(source, 1, 1);
  setTimes(copy, 1, 1);
  EXPECT_EQ(differences(), "");
}

TEST_F(DittoCopy, LeavesAHugeHoleEmpty) {
  write(source / "file", "");
  fs::resize_file(source / "file", 10ull << 30);
  EXPECT_EQ(ditto().status, 0);
  EXPECT_EQ(statusOf(copy / "file").st_size, off_t{10} << 30);
  EXPECT_EQ(statusOf(copy / "file").st_blocks, 0);
}

TEST_F(DittoCopy, TellsOfSocketsAndCopiesTheRest) {
  makeSocket(source / "a socket");
  write(source / "file", "text");
  const Outcome outcome = ditto();
  EXPECT_EQ(outcome.output, "ditto: " + (source / "a socket").string() + ": is a socket and was left out\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(textOf(copy / "file"), "text");
  EXPECT_FALSE(fs::exists(copy / "a socket"));
}

TEST_F(DittoCopy, InheritsNothingFromAnExistingFolderAndLeavesItAsItIs) {
  makeFiles();
  makeSpecialFiles();
  setAccessList(source / "a/b", "u:5:rwx,d:u:7:rx");
  fs::create_directory(copy);
  setAccessList(copy, "d:u:9:rwx,d:g:9:rwx,d:o:rwx");
  if (isRoot()) {
    EXPECT_EQ(::chown(copy.c_str(), 0, 12345), 0);
  }
  fs::permissions(copy, fs::perms(02711));
  const std::string list = run({"getfacl", "-p", copy}).output;
  EXPECT_EQ(ditto().output, "");
  EXPECT_EQ(run({"getfacl", "-p", copy}).output, list);
  const std::string found = differences();
  EXPECT_EQ(std::ranges::count(found, '\n'), 1) << found;
  EXPECT_TRUE(found.ends_with(" ./\n")) << "only the existing folder itself differs: " << found;
}

TEST_F(DittoCopy, LosesNothingButTheOwnerForAnOrdinaryUser) {
  if (!isRoot()) GTEST_SKIP() << "only root can make the files of others; the other tests are an ordinary user's now";
  if (!ordinaryUserCanTakePart()) GTEST_SKIP() << "an ordinary user cannot reach " << folder.path();
  makeFiles();
  giveToOrdinaryUser(folder.path());
  makeAttributes();
  EXPECT_EQ(::chown((source / "large").c_str(), 0, 0), 0);
  fs::permissions(source / "large", fs::perms(06755));
  const Outcome outcome = ditto(becomeOrdinaryUser);
  EXPECT_EQ(outcome.output, "ditto: " + (copy / "large").string() +
                                ": the set-user-ID or set-group-ID bit was left out: the owner could not be kept\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(modeOf(copy / "large"), 0755u);
  EXPECT_EQ(run({"chown", "0:0", copy / "large"}).status, 0);
  fs::permissions(copy / "large", fs::perms(06755));
  EXPECT_EQ(differences(), "");
}

TEST_F(DittoCopy, WalksDeeperThanAPathOrTheOpenFilesReach) {
  constexpr int depth = 1000;
  makeDeepSource(depth);
  EXPECT_EQ(ditto(limitedTo(200)).output, "");
  const auto listing = [](const Path& tree) { return run({"find", tree, "-printf", "%P %y %m %s %T@\n"}).output; };
  const std::string copied = listing(copy);
  EXPECT_GT(std::ranges::count(copied, '\n'), depth);
  EXPECT_EQ(linesOf(copied), linesOf(listing(source)));
}

}  // namespace
}  // namespace tavrine
