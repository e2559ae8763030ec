#include "tests/programs/ditto/ditto_fixture.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace tavrine {
namespace {

constexpr off_t largeFile = 192 * 1024 * 1024;

}  // namespace

DittoFixture::DittoFixture() {
  std::filesystem::create_directory(source);
}

DittoFixture::~DittoFixture() {
  // Not left to the standard library, which opens a file for every level of a deep tree.
  run({"rm", "-rf", source, copy});
}

Outcome DittoFixture::ditto(const Path& from, const Path& to, const Program::Preparation& prepare) {
  return run({TAVRINE_DITTO, from, to}, prepare);
}

std::string DittoFixture::differences(const Path& one, const Path& other) {
  const Outcome judge = run({"rsync", "-aHAXn", "--checksum", "--modify-window=-1", "--itemize-changes", "--delete",
                             one.string() + "/", other.string() + "/"});
  return judge.output + (judge.status == 0 ? "" : "the judge failed");
}

std::multiset<std::string> DittoFixture::linesOf(const std::string& text) {
  std::multiset<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

void DittoFixture::write(const Path& file, const std::string& text) {
  std::ofstream(file) << text;
}

std::string DittoFixture::textOf(const Path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

struct stat DittoFixture::statusOf(const Path& item) {
  struct stat status {};
  EXPECT_EQ(::lstat(item.c_str(), &status), 0) << item;
  return status;
}

void DittoFixture::setTimes(const Path& item, time_t seconds, long nanoseconds) {
  const timespec times[] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
  EXPECT_EQ(::utimensat(AT_FDCWD, item.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << item;
}

void DittoFixture::setAttribute(const Path& item, const std::string& name, const std::string& value) {
  EXPECT_EQ(::lsetxattr(item.c_str(), name.c_str(), value.data(), value.size(), 0), 0) << item << name;
}

void DittoFixture::setAccessList(const Path& item, const std::string& entries) {
  EXPECT_EQ(run({"setfacl", "-m", entries, item}).output, "");
}

void DittoFixture::giveToOrdinaryUser(const Path& item) {
  if (isRoot()) {
    EXPECT_EQ(run({"chown", "-hR", "65534:65534", item}).output, "");
  }
}

bool DittoFixture::isRoot() {
  return ::geteuid() == 0;
}

bool DittoFixture::ordinaryUserCanTakePart() const {
  return run({"test", "-x", TAVRINE_DITTO, "-a", "-x", folder.path()}, becomeOrdinaryUser).status == 0;
}

std::unique_ptr<Program> DittoFixture::copyingLargeFile(const Path& name) const {
  std::filesystem::create_directories((source / name).parent_path());
  write(source / name, std::string(largeFile, 'x'));
  auto program = std::make_unique<Program>(std::vector<std::string>{TAVRINE_DITTO, source, copy});
  struct stat status {};
  while (!program->hasEnded() && (::stat((copy / name).c_str(), &status) != 0 || status.st_size == 0)) continue;
  return program;
}

bool DittoFixture::isUnfinished(const Path& name) const {
  return statusOf(copy / name).st_size < largeFile;
}

}  // namespace tavrine
