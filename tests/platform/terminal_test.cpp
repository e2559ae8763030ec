#include "platform/terminal.h"

#include <gtest/gtest.h>

#include "platform/stop_signals.h"
#include "tests/pty_session.h"

namespace tavrine {
namespace {

constexpr int answered = 0;
constexpr int ended = 7;
constexpr int stopped = 8;

int askForSecret() {
  static const StopSignals signals([](int) {});  // to the very end: a vanished terminal sends its signal late
  const auto terminal = ControllingTerminal::open(signals.stop());
  if (!terminal) return 1;
  const auto password = terminal->readPassword("Password: ");
  if (!password) return signals.stop().isRaised() ? stopped : ended;
  return password->text() ==
                 "s\xc3\xa9"
                 "cret"
             ? answered
             : 2;
}

TEST(Terminal, HidesWhatIsTypedAndShowsItAfterwards) {
  PtySession session(askForSecret);
  ASSERT_TRUE(session.sees("Password: "));
  EXPECT_FALSE(session.showsWhatIsTyped());
  session.type(
      "\x1cs\xc3\xa9"
      "cret\n");  // the quit character first
  EXPECT_TRUE(session.sees("\n"));
  EXPECT_EQ(session.waitForExit(), 2) << "quit is an ordinary character meanwhile";
  EXPECT_TRUE(session.showsWhatIsTyped());
  EXPECT_EQ(session.shown().find("cret"), std::string::npos);
}

TEST(Terminal, TakesTheLineAndNothingTypedBefore) {
  PtySession session([] { return askForSecret() * 10 + askForSecret(); });
  ASSERT_TRUE(session.sees("Password: "));
  session.type(
      "s\xc3\xa9"
      "cret\n");
  ASSERT_TRUE(session.sees("Password: "));
  session.type(
      "s\xc3\xa9"
      "cret\n");
  EXPECT_EQ(session.waitForExit(), answered);
}

TEST(Terminal, EchoIsBackHoweverAQuestionEnds) {
  struct Row {
    const char* name;
    std::function<void(PtySession&)> end;
    int result;
  };
  const Row rows[] = {{"Ctrl-C", [](PtySession& s) { s.type("\x03"); }, stopped},
                      {"terminate", [](PtySession& s) { s.send(SIGTERM); }, stopped},
                      {"hang up", [](PtySession& s) { s.send(SIGHUP); }, stopped},
                      {"end of input", [](PtySession& s) { s.type("\x15\x04"); }, ended}};
  for (const Row& row : rows) {
    PtySession session(askForSecret);
    ASSERT_TRUE(session.sees("Password: ")) << row.name;
    session.type("half");
    row.end(session);
    EXPECT_EQ(session.waitForExit(), row.result) << row.name;
    EXPECT_TRUE(session.showsWhatIsTyped()) << row.name;
    EXPECT_EQ(session.shown().find("half"), std::string::npos) << row.name;
  }
}

TEST(Terminal, OneThatVanishesEndsTheQuestion) {
  PtySession session(askForSecret);
  ASSERT_TRUE(session.sees("Password: "));
  session.hangUp();
  const int result = session.waitForExit();
  EXPECT_TRUE(result == ended || result == stopped) << result;
}

/// What a shell does with a job that asks: 0 when the job was stopped with echo on and then answered.
int runAsJob() {
  (void)std::signal(SIGTTOU, SIG_IGN);
  const pid_t job = ::fork();
  if (job == 0) {
    (void)std::signal(SIGTTOU, SIG_DFL);
    (void)::setpgid(0, 0);
    while (::tcgetpgrp(STDIN_FILENO) != ::getpid()) (void)::poll(nullptr, 0, 1);
    ::_exit(askForSecret());
  }
  (void)::setpgid(job, job);
  (void)::tcsetpgrp(STDIN_FILENO, job);
  int status = 0;
  if (::waitpid(job, &status, WUNTRACED) != job || !WIFSTOPPED(status)) return 3;
  termios settings{};
  if (::tcgetattr(STDIN_FILENO, &settings) != 0 || (settings.c_lflag & ECHO) == 0) return 4;
  (void)::kill(-job, SIGCONT);
  if (::waitpid(job, &status, 0) != job || !WIFEXITED(status)) return 5;
  return WEXITSTATUS(status);
}

TEST(Terminal, ASuspendedQuestionShowsWhatIsTypedAndAsksAnew) {
  PtySession session(runAsJob);
  ASSERT_TRUE(session.sees("Password: "));
  session.type("half\x1a");
  ASSERT_TRUE(session.sees("Password: "));
  EXPECT_FALSE(session.showsWhatIsTyped());
  session.type(
      "s\xc3\xa9"
      "cret\n");
  EXPECT_EQ(session.waitForExit(), answered);
  EXPECT_TRUE(session.showsWhatIsTyped());
}

}  // namespace
}  // namespace tavrine
