#include "tests/programs/ditto/ditto_fixture.h"

namespace tavrine {
namespace {

/// Fills "source" with one of each kind, as far as the user who runs it may make them.
constexpr const char* makeSource = R"sh(cd source; mkdir -p a/b/c closed
for name in $(printf %0255d 0) -rf "$(printf 'two\nlines\377\376')"; do mkdir "a/$name"; echo "$name" >"./$name"; done
: >empty; yes odd | head -c 100001 >odd; yes large | head -c 40000000 >large
ln odd a/b/other; ln odd a/third; echo linked >a/b/one; ln a/b/one a/two
ln -s odd link; ln -s a folderlink; ln -s /nowhere/$(printf %03000d 0) dangling; mkfifo -m 640 fifo
setfattr -n user.one -v 1 odd; setfattr -n user.long -v $(printf %02000d 0) odd; setfattr -n user.folder -v 0x00ff a
setfacl -m u:5:rw,g:6:r odd; setfacl -m u:5:rwx,d:u:7:rx a/b
if [ $(id -u) = 0 ]; then
  mknod -m 606 device c 1 3; chown -h 5:6 dangling large a/b/c
  for name in link fifo odd; do setfattr -h -n trusted.one -v 1 $name; done
fi
chmod 6751 large; chmod 400 empty; chmod 3511 a/b/c; chmod $([ $(id -u) = 0 ] && echo 0 || echo 500) closed
for name in a/b/c a/b a odd link dangling fifo closed; do
  touch -hd @$((n += 10000)).$((999999999 - n)) $name
done
touch -d @-5.1 .
)sh";

using DittoCopy = DittoFixture;

TEST_F(DittoCopy, LosesNothingOfATreeOrOfOneItem) {
  const std::string table[] = {
      R"("$0" "$PWD/source" copy)",
      R"(rm -rf copy source/a; mkdir copy; for item in source/*; do "$0" "$item" "copy/${item#*/}"; done
         touch -d @1 source copy)",
  };
  EXPECT_EQ(shell(makeSource), success);
  for (const std::string& copying : table) EXPECT_EQ(shell(copying + " && " + judge), success) << copying;
}

TEST_F(DittoCopy, LosesNothingButTheOwnerForAnOrdinaryUser) {
  if (!isRoot()) GTEST_SKIP() << "only root can make the files of others; the other tests are an ordinary user's now";
  if (const std::string reason = giveToOrdinary(); !reason.empty()) GTEST_SKIP() << reason;
  EXPECT_EQ(ordinary(makeSource), success);
  EXPECT_EQ(shell("chown 0:0 source/large; chmod 6755 source/large; mkdir -m 2777 group; chgrp 12345 group"), success);
  const std::string notice = ": the set-user-ID or set-group-ID bit was left out: the owner could not be kept\n";
  EXPECT_EQ(ordinary(R"("$0" source copy && "$0" source/large group/large && stat -c '%a %g' copy/large group/large)"),
            Outcome(0, "ditto: copy/large" + notice + "ditto: group/large" + notice + "755 65534\n755 65534\n"));
  EXPECT_EQ(shell(std::string("chown 0:0 copy/large; chmod 6755 copy/large; ") + judge), success);
}

TEST_F(DittoCopy, InheritsNothingFromAnExistingFolderAndLeavesItAsItIs) {
  EXPECT_EQ(shell(makeSource), success);
  const std::string copying = R"(mkdir copy; setfacl -m d:u:9:rwx,d:g:9:rwx,d:o:rwx copy
    [ $(id -u) != 0 ] || chown 0:12345 copy
    chmod 2711 copy; getfacl copy >before; "$0" source copy; getfacl copy | diff before - && )";
  EXPECT_EQ(shell(copying + judge + R"( | sed '/ \.\/$/d')"), success) << "more than the folder itself differs";
}

TEST_F(DittoCopy, LeavesHolesEmpty) {
  const std::string copying =
      R"(cd source; for end in 100M 1073741819; do truncate -s $end large; echo data >>large; done
    truncate -s 1100000000 large; truncate -s 30000 small; cd ..; "$0" source copy && )";
  EXPECT_EQ(shell(copying + judge), success);
  const std::string counting = R"([ $(stat -c %b copy/large) -le $(stat -c %b source/large) ] || echo large
    truncate -s 10G huge; "$0" huge copy/huge; stat -c '%s %b' copy/small copy/huge)";
  EXPECT_EQ(shell(counting), Outcome(0, "30000 0\n10737418240 0\n"));
}

TEST_F(DittoCopy, WalksDeeperThanAPathOrTheOpenFilesReach) {
  const Outcome outcome = shell(R"(half=$(printf 'down/%.0s' $(seq 500)); mkdir -m 750 -p source/$half half/$half
    find source half -name down | sed 's:$:/file:' | xargs touch
    find source half -name down | sed 's:$:/beside:' | xargs mkdir -m 710
    mv half/down source/$half; ulimit -n 200; "$0" source copy
    listing() { find $1 -printf '%P %y %m %T@\n' | sort; }
    listing source >before; listing copy | diff before -; wc -l <before)");
  EXPECT_EQ(outcome, Outcome(0, "3001\n"));
}

TEST_F(DittoCopy, NeedsNoMoreMemoryForALargerFolder) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's own memory is too large";
#endif
  const Outcome outcome = shell(R"(seq -f %0250.0f 8000 | (cd source && xargs touch)
    (ulimit -s 128; ulimit -d 3000; MALLOC_ARENA_MAX=1 exec "$0" source copy); ls copy | wc -l)");
  EXPECT_EQ(outcome, Outcome(0, "8000\n")) << "the names alone are 2,000 KiB";
}

}  // namespace
}  // namespace tavrine
