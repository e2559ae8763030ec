#include <csignal>

#include "tests/programs/ditto/ditto_fixture.h"

namespace tavrine {
namespace {

/// What happens while a large file is copied.
class DittoInterruption : public DittoFixture {
 protected:
  DittoInterruption() { EXPECT_EQ(shell("mkdir source/sub; head -c 192M /dev/zero >source/sub/large"), success); }

  /// Runs the script in the middle of a copy, which is process "$!"; a machine that was too fast gets another try.
  Outcome inTheMiddle(const std::string& script) const {
    Outcome outcome;
    for (int attempt = 0; attempt < 20; ++attempt) {
      outcome = shell(R"(rm -rf copy; (trap '' TERM; exec "$0" source copy) &
        until [ -s copy/sub/large ]; do :; done; )" +
                      script);
      if (outcome.first != tooLate) break;
    }
    return outcome;
  }

  /// The same while the copy is stopped, and then to the end of the copy.
  Outcome whileStopped(const std::string& script) const {
    return inTheMiddle(R"(kill -STOP $!; until grep -q 'State:.[TZ]' /proc/$!/status; do :; done
      [ $(stat -c %s copy/sub/large) -lt 201326592 ] || exit 99
      )" + script + "; kill -CONT $!; wait $!");
  }

  static constexpr int tooLate = 99;
};

TEST_F(DittoInterruption, NamesWhatChangesWhileItIsCopied) {
  const std::pair<const char*, const char*> table[] = {
      {"echo more >>source/sub/large", "source/sub/large"},
      {"echo other 1<>source/sub/large", "source/sub/large"},
      {": >source/sub/new", "source/sub"},
      {"truncate -s 100 source/sub/large", "source/sub/large"},
  };
  for (const auto& [change, named] : table) {
    EXPECT_EQ(whileStopped(change), Outcome(1, std::string("ditto: ") + named + ": changed while it was copied\n"))
        << change;
  }
}

TEST_F(DittoInterruption, NobodyElseHasAccessToWhatIsUnfinished) {
  EXPECT_EQ(whileStopped("stat -c %a copy copy/sub copy/sub/large"), Outcome(0, "700\n700\n600\n"));
}

TEST_F(DittoInterruption, AFolderSwappedForALinkLeadsNowhereElse) {
  EXPECT_EQ(whileStopped("mkdir elsewhere; mv copy/sub moved; ln -s ../elsewhere copy/sub; touch -d @1 elsewhere"),
            success);
  EXPECT_EQ(shell("ls elsewhere; stat -c %Y elsewhere; rm copy/sub; mv moved copy/sub; touch -r source copy"),
            Outcome(0, "1\n"));
  EXPECT_EQ(shell(judge), success);
}

TEST_F(DittoInterruption, EndsAtOnceWhenToldTo) {
  // A busy machine may keep one attempt waiting, and a fast one may be done before it is told.
  const Outcome outcome = inTheMiddle(R"(exec 2>&-; now() { date +%s%N; }; before=$(now); kill -TERM $!; wait $!
    [ $? = 143 ] && [ $((($(now) - before) / 1000000)) -lt 100 ] || exit 99)");
  EXPECT_EQ(outcome, success);
}

TEST_F(DittoInterruption, EndsWithTheProcessThatStartedIt) {
  EXPECT_EQ(whileStopped("kill -CONT $!; kill -KILL $$"), Outcome(SIGKILL, ""));
  EXPECT_EQ(shell("[ $(stat -c %s copy/sub/large) -lt 201326592 ]"), success);
}

}  // namespace
}  // namespace tavrine
