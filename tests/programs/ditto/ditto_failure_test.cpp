#include <sys/stat.h>

#include "tests/programs/ditto/ditto_fixture.h"

namespace tavrine {
namespace {

class DittoFailure : public DittoFixture {
 protected:
  /// Copies to a new file system mounted at "copy". Prints the status and then the messages; 99 where none can be
  /// mounted.
  Outcome copyToNew(const std::string& fileSystem) const {
    return shell("mkdir copy; unshare --mount " + std::string(isRoot() ? "" : "--map-root-user ") + "sh -c 'mount -t " +
                 fileSystem + " none copy || exit 1; " +
                 R"("$0" source copy >messages 2>&1; echo $?; sed s/file../FILE/ messages | sort' "$0" || exit 99)");
  }
};

TEST_F(DittoFailure, ReplacesNothingFollowsNoLinkAndNamesThePath) {
  EXPECT_EQ(shell(R"(mkdir -p source/sub/folder elsewhere copy; echo new >source/file; echo old >taken
    ln -s elsewhere tofolder; ln -s nowhere dangling; ln -s ../elsewhere copy/sub; touch -d @1 source)"),
            success);
  const std::string usage = "; usage: ditto SOURCE DESTINATION";
  const std::string tooLong(5000, 'n');
  const std::pair<std::string, std::string> table[] = {
      {"a", "two paths are needed" + usage},
      {"a b c", "two paths are needed" + usage},
      {"a -V", "unknown option -V" + usage},
      {"-- -x y", "-x: No such file or directory"},
      {"\"$(printf 'no\\nlines')\" x", "no\uFFFDlines: No such file or directory"},
      {"source/file taken", "taken: File exists"},
      {"source/file elsewhere", "elsewhere: File exists"},
      {"source/file dangling", "dangling: File exists"},
      {"source taken", "taken: File exists"},
      {"source tofolder", "tofolder: File exists"},
      {"source copy", "copy/sub: File exists"},
      {"source/file x/y", "x/y: No such file or directory"},
      {"source/file " + tooLong, tooLong + ": File name too long"},
      {"/proc/version z", "/proc/version: changed while it was copied"},
      {"source source", "source: a folder cannot be copied into itself"},
      {"source source/inside",
       "source/inside: a folder cannot be copied into itself\n"
       "ditto: source: changed while it was copied"},
  };
  for (const auto& [arguments, message] : table) {
    EXPECT_EQ(shell("\"$0\" " + arguments), Outcome(1, "ditto: " + message + "\n")) << arguments;
  }
  EXPECT_EQ(shell("cat taken copy/file; ls elsewhere source/inside; ls -d nowhere 2>&1 | wc -l"),
            Outcome(0, "old\nnew\nelsewhere:\n\nsource/inside:\nfile\nsub\n1\n"));
}

TEST_F(DittoFailure, PrintsHelpAndMessagesAsText) {
  EXPECT_TRUE(shell("\"$0\" --help").second.starts_with("usage: ditto SOURCE DESTINATION\n"));
  EXPECT_EQ(shell("\"$0\" \"$(printf 'no\\377')\" x 2>&1 | iconv -f UTF-8 -t UTF-8"),
            Outcome(0, "ditto: no\uFFFD: No such file or directory\n"));
}

TEST_F(DittoFailure, NamesWhatCannotBeCopiedAndCopiesTheRest) {
  if (const std::string reason = giveToOrdinary(); !reason.empty()) GTEST_SKIP() << reason;
  const Outcome outcome =
      ordinary(R"(cd source; echo text >readable; echo text >secret; mkdir closed; chmod 0 secret closed
    cd ..; "$0" source copy >messages 2>&1; echo $?; sort messages; cat copy/readable; "$0" /dev/null null)");
  EXPECT_EQ(outcome, Outcome(1,
                             "1\nditto: source/closed: Permission denied\nditto: source/secret: Permission denied\n"
                             "text\nditto: null: Operation not permitted\n"));
}

TEST_F(DittoFailure, TellsOfSocketsAndCopiesTheRest) {
  EXPECT_EQ(::mknod((folder_ / "source/socket").c_str(), S_IFSOCK | 0600, 0), 0);
  EXPECT_EQ(shell(R"(echo text >source/file; "$0" source copy; echo $?; ls copy)"),
            Outcome(0, "ditto: source/socket: is a socket and was left out\n0\nfile\n"));
}

TEST_F(DittoFailure, NamesAFullDiskOnceAndEnds) {
  EXPECT_EQ(shell("head -c 10M /dev/zero | split -b 500K - source/file"), success);
  const Outcome outcome = copyToNew("tmpfs -o size=1m");
  if (outcome.first == 99) GTEST_SKIP() << "no file system can be mounted here: " << outcome.second;
  EXPECT_EQ(outcome, Outcome(0, "1\nditto: copy/FILE: No space left on device\n"));
}

TEST_F(DittoFailure, NamesWhatTheTargetCannotHold) {
  EXPECT_EQ(
      shell("cd source; : >attribute; setfattr -n user.one -v 1 attribute; : >list; setfacl -m u:$(id -u):rw list"),
      success);
  const Outcome outcome = copyToNew("ramfs");
  if (outcome.first == 99) GTEST_SKIP() << "no file system can be mounted here: " << outcome.second;
  EXPECT_EQ(outcome, Outcome(0,
                             "1\nditto: copy/attribute: extended attribute user.one: Operation not supported\n"
                             "ditto: copy/list: access-control list: Operation not supported\n"));
}

}  // namespace
}  // namespace tavrine
