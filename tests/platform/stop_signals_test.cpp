#include "platform/stop_signals.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <future>

#include "platform/core_dumps.h"
#include "platform/process.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

int exitCodeOf(const std::function<int()>& work) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(work());
  int status = 0;
  (void)::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

TEST(StopSignals, CountsWhatComesAndEndsNothing) {
  EXPECT_EQ(exitCodeOf([] {
              std::promise<void> two;
              {
                const StopSignals signals([&two](int count) {
                  if (count == 2) two.set_value();
                });
                if (signals.stop().isRaised()) return 1;
                (void)::kill(::getpid(), SIGTERM);
                (void)::kill(::getpid(), SIGINT);
                two.get_future().wait();
                if (!signals.stop().isRaised()) return 2;
              }
              Pipe unread;
              unread.closeReadEnd();
              if (unread.write("x")) return 3;
              (void)::kill(::getpid(), SIGHUP);  // given back
              return 4;
            }),
            1000 + SIGHUP);
}

TEST(StopSignals, WhatWasIgnoredFromTheStartStaysIgnored) {
  EXPECT_EQ(exitCodeOf([] {
              (void)std::signal(SIGHUP, SIG_IGN);
              std::promise<int> first;
              const StopSignals signals([&first](int count) {
                if (count == 1) first.set_value(count);
              });
              (void)::kill(::getpid(), SIGHUP);
              const bool isQuiet = !signals.stop().isRaised();
              (void)::kill(::getpid(), SIGTERM);
              return isQuiet && first.get_future().get() == 1 ? 0 : 1;
            }),
            0);
}

TEST(CoreDumps, AreOffForChildrenToo) {
  const TemporaryFolder folder;
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_CORE, &limit), 0);
  const pid_t pid = ::fork();
  if (pid == 0) {
    limit.rlim_cur = limit.rlim_max;
    (void)::setrlimit(RLIMIT_CORE, &limit);
    disableCoreDumps();
    if (::chdir(folder.path().c_str()) == 0 && ::fork() == 0) std::abort();
    int status = 0;
    (void)::wait(&status);
    ::_exit(WIFSIGNALED(status) && !WCOREDUMP(status) ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tavrine
