#include "app/password_source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "kit/errors/tavrine_error.h"
#include "platform/stop_signals.h"
#include "tests/pty_session.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

using namespace std::string_literals;

class PasswordSourceTest : public testing::Test {
 protected:
  Path makeFile(const std::string& content, int mode = 0600) const {
    std::ofstream(folder_ / "password", std::ios::trunc | std::ios::binary) << content;
    std::filesystem::permissions(folder_ / "password", std::filesystem::perms(mode));
    return folder_ / "password";
  }

  /// The password, or the message of the refusal.
  std::string taken(const Path& file, bool isNew = false) {
    PasswordSource source(file, stop_, messages_);
    try {
      return (isNew ? source.newPassword("") : source.password("")).text();
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  const TemporaryFolder folder_;
  StopRequest stop_;
  std::ostringstream messages_;
};

TEST_F(PasswordSourceTest, TakesTheFirstLineOfAFile) {
  const std::pair<std::string, std::string> rows[] = {
      {"secret", "secret"},
      {"secret\nsecond\n", "secret"},
      {" secret \r\n", " secret "},
      {"", "The password is empty."},
      {"\nsecond", "The password is empty."},
      {"a\rb\n", "A password cannot hold a line break."},
      {"a\0b\n"s, "A password cannot hold a zero byte."},
      {std::string(2048, 'x') + "\n", std::string(2048, 'x')},
      {std::string(2049, 'x'), "A password cannot be longer than 2,048 bytes."},
      {std::string(100'000, 'x'), "A password cannot be longer than 2,048 bytes."},
      {"caf\xe9\n", "A password must be text in UTF-8."}};
  for (const auto& [content, expected] : rows) EXPECT_EQ(taken(makeFile(content)), expected);
  EXPECT_EQ(messages_.str(), "");
  EXPECT_EQ(taken(makeFile("1234567\n"), true), "Use at least 8 characters.");
  EXPECT_EQ(taken(makeFile("12345678\n"), true), "12345678");
}

TEST_F(PasswordSourceTest, WarnsOfAFileThatOthersMayRead) {
  for (const int mode : {0604, 0640}) {
    messages_.str("");
    EXPECT_EQ(taken(makeFile("secret", mode)), "secret");
    EXPECT_EQ(messages_.str(), "Other users may read the password file " + (folder_ / "password").string() + ".\n");
  }
}

TEST_F(PasswordSourceTest, TakesOneLineAfterTheOtherFromAPipeAndNoMore) {
  const Path fifo = folder_ / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const int writer = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::write(writer, "one\ntwo\n", 8), 8);
  EXPECT_EQ(taken(fifo), "one");
  EXPECT_EQ(taken(fifo), "two");
  std::thread stopper([this] { stop_.raise(); });
  EXPECT_EQ(taken(fifo), TavrineError::cancelled().what()) << "it would wait for ever";
  stopper.join();
  (void)::close(writer);
}

TEST_F(PasswordSourceTest, WithoutTerminalAndFileSaysWhatToDo) {
  PtySession session([this] {
    if (::fork() == 0) {  // in a session without a terminal
      (void)::setsid();
      try {
        (void)PasswordSource(std::nullopt, stop_, messages_).password("");
      } catch (const std::runtime_error& error) {
        std::cout << error.what() << std::endl;
      }
      ::_exit(0);
    }
    return ::wait(nullptr) > 0 ? 0 : 1;
  });
  EXPECT_TRUE(session.sees("There is no terminal to ask for the password on."));
  EXPECT_EQ(session.waitForExit(), 0);
}

TEST_F(PasswordSourceTest, APersonIsAskedUntilANewPasswordWillDo) {
  PtySession session([this] {
    PasswordSource source("-", stop_, std::cout);  // a password typed into standard input would be shown
    return source.newPassword("New: ").text() == "long enough" ? 0 : 1;
  });
  const std::pair<const char*, const char*> dialogue[] = {{"New: ", "short\n"},
                                                          {"Use at least 8 characters.\r\nNew: ", "long enough\n"},
                                                          {"Strength: fair\r\nThe same again: ", "long enouGh\n"},
                                                          {"The two passwords differ.\r\nNew: ", "long enough\n"},
                                                          {"The same again: ", "long enough\n"}};
  for (const auto& [shown, typed] : dialogue) {
    ASSERT_TRUE(session.sees(shown)) << shown << session.shown();
    session.type(typed);
  }
  EXPECT_EQ(session.waitForExit(), 0);
  EXPECT_EQ(session.shown().find("enou"), std::string::npos);
}

}  // namespace
}  // namespace tavrine
