#include "tests/app/program_test.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "kit/commands/shared_state.h"
#include "kit/tools/support_lock.h"
#include "platform/file_items.h"
#include "platform/file_manager.h"

namespace tavrine {

namespace fs = std::filesystem;

Program::Program() {
  for (const char* name : {"bin", "libexec/tavrine", "home", "fake"}) fs::create_directories(folder_ / name);
  fs::copy_file(TAVRINE_PROGRAM, folder_ / "bin/tavrine");
  for (const char* name : {"ditto", "lsof", "qlmanage"})
    fs::create_symlink(fs::path(TAVRINE_TOOLS) / name, folder_ / "libexec/tavrine" / name);
  fs::create_symlink(TAVRINE_FAKE_IMAGE_TOOL, folder_ / "libexec/tavrine/hdiutil");
  replaceFile(folder_ / "password", "horse battery 9 Staple\n");
}

int Program::runWithPassword(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--password-file", (folder_ / "password").string()});
  return run(arguments);
}

pid_t Program::start(const std::vector<std::string>& arguments) const {
  const pid_t child = ::fork();
  if (child != 0) return child;
  ::setsid();
  (void)::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
  (void)::dup2(::open((folder_ / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
  (void)::dup2(::open((folder_ / "error").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
  ::setenv("HOME", home("").c_str(), 1);
  ::setenv("XDG_STATE_HOME", (folder_ / "state").c_str(), 1);
  ::setenv("XDG_CACHE_HOME", (folder_ / "cache").c_str(), 1);
  ::setenv("TAVRINE_SUPPORT_DIR", (folder_ / "support").c_str(), 1);
  ::setenv("TAVRINE_FAKE_HDIUTIL", (folder_ / "fake").c_str(), 1);
  std::vector<std::string> words = arguments;
  words.insert(words.begin(), (folder_ / "bin/tavrine").string());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  ::execv(pointers[0], pointers.data());
  ::_exit(127);
}

int Program::wait(pid_t program) {
  int status = 0;
  EXPECT_EQ(::waitpid(program, &status, 0), program);
  out_ = readFile(folder_ / "out");
  error_ = readFile(folder_ / "error");
  EXPECT_TRUE(WIFEXITED(status)) << error_;
  return WEXITSTATUS(status);
}

Path Program::write(const std::string& name, const std::string& text) const {
  fs::create_directories(home(name).parent_path());
  std::ofstream(home(name)) << text;
  return home(name);
}

void Program::failImageTool(const std::string& line) const {
  std::ofstream(folder_ / "fake/control", std::ios::app) << line << '\n';
}

void Program::replaceTool(const std::string& name, const std::string& script) const {
  const Path tool = folder_ / "libexec/tavrine" / name;
  fs::remove(tool);
  std::ofstream(tool) << "#!/bin/sh\n" << script << '\n';
  fs::permissions(tool, fs::perms::owner_all);
}

std::vector<std::string> Program::unlockedPaths() const {
  const auto state = SharedState::read(folder_ / "state" / SharedState::groupIdentifier / "state.json");
  return state ? state->unlockedPaths : std::vector<std::string>{"no state"};
}

namespace {

TEST_F(Program, DoesTheWholeJob) {
  write("Taxes/2025/sums", "42");
  const Path locked = home("Taxes.tavrlock");
  ASSERT_EQ(runWithPassword({"lock", home("Taxes")}), 0) << error_;
  EXPECT_EQ(out_, "Taxes is locked: " + locked.string() + "\n");
  EXPECT_FALSE(fs::exists(home("Taxes")));
  ASSERT_EQ(run({"list"}), 0) << error_;
  EXPECT_EQ(out_, "Taxes\tlocked\tfolder\t2 bytes\t" + locked.string() + "\t1\n");
  ASSERT_EQ(runWithPassword({"unlock", locked}), 0) << error_;
  EXPECT_EQ(unlockedPaths(), std::vector<std::string>{locked});
  ASSERT_EQ(run({"reveal", locked}), 0) << error_;
  EXPECT_EQ(readFile(Path(out_.substr(0, out_.size() - 1)) / "2025/sums"), "42");
  ASSERT_EQ(run({"lock-now", "--all"}), 0) << error_;
  EXPECT_EQ(unlockedPaths(), std::vector<std::string>{});
  ASSERT_EQ(runWithPassword({"remove-lock", locked}), 0) << error_;
  EXPECT_EQ(readFile(home("Taxes/2025/sums")), "42");
  EXPECT_FALSE(fs::exists(locked));
}

TEST_F(Program, TellsWhyItFailedAndHow) {
  const Path note = write("note", "x");
  ASSERT_EQ(runWithPassword({"lock", note}), 0) << error_;
  const Path locked = home("note.tavrlock");
  replaceFile(folder_ / "wrong", "another one 1 Staple\n");
  const std::string wrong = (folder_ / "wrong").string();
  const std::string ours = (folder_ / "password").string();
  struct Row {
    std::vector<std::string> arguments;
    int code;
    std::string message;
  };
  for (const Row& row :
       std::vector<Row>{{{"unlock", "--password-file", wrong, locked}, 12, "tavrine: That password did not work.\n"},
                        {{"lock", "--password-file", ours, note},
                         1,
                         "tavrine: " + note.string() + ": That item no longer exists.\n"},
                        {{"unlock", "--password-file", ours, home("")}, 1, "This is not a Tavrine locked item.\n"},
                        {{"lock-now", home("x.tavrlock")}, 1, "That item could not be found.\n"},
                        {{"reveal", locked}, 1, "note.tavrlock is locked. Unlock it first.\n"},
                        {{"list", "--nonsense"}, 2, "--nonsense"},
                        {{"list", "word"}, 2, "word"},
                        {{"lock-now", "--all", "word"}, 2, "--all"},
                        {{"reveal", "a", "b"}, 2, "b"}}) {
    EXPECT_EQ(run(row.arguments), row.code) << row.message;
    EXPECT_NE(error_.find(row.message), std::string::npos) << error_ << row.message;
    EXPECT_EQ(out_, "");
  }
}

TEST_F(Program, RefusesASupportDirectoryOthersCanWriteTo) {
  fs::create_directory(folder_ / "support");
  fs::permissions(folder_ / "support", fs::perms::all);
  EXPECT_EQ(run({"list"}), 1);
  EXPECT_NE(error_.find("can be changed by others"), std::string::npos) << error_;
  EXPECT_TRUE(fs::is_empty(folder_ / "support")) << "nothing may be read or made there";
}

TEST_F(Program, HandlesEveryItemOnce) {
  const Path one = write("one", "1");
  const Path two = write("two", "2");
  EXPECT_EQ(runWithPassword({"lock", one, home("gone"), two, one.parent_path() / "." / "one"}), 3);
  EXPECT_EQ(out_, "one is locked: " + one.string() + ".tavrlock\ntwo is locked: " + two.string() + ".tavrlock\n");
  EXPECT_EQ(error_, "tavrine: " + home("gone").string() + ": That item no longer exists.\n");
  EXPECT_EQ(runWithPassword({"lock", home("gone"), home("gone too")}), 1) << "all failed alike";
}

TEST_F(Program, GivesWayToAnotherThatDoesNotFinish) {
  const auto other = SupportLock::acquire(folder_ / "support");
  EXPECT_EQ(run({"list", "--json"}), 11);
  EXPECT_TRUE(out_.starts_with("{\"event\":\"failed\",\"error\":\"busy\",\"code\":11,")) << out_;
}

TEST_F(Program, SetsADamagedListAsideAndSaysSo) {
  fs::create_directory(folder_ / "support");
  fs::permissions(folder_ / "support", fs::perms::owner_all);
  replaceFile(folder_ / "support/items.json", "nonsense");
  EXPECT_EQ(run({"list"}), 0);
  EXPECT_TRUE(error_.starts_with("tavrine: Tavrine set a damaged file aside\n")) << error_;
  EXPECT_EQ(run({"recover"}), 0);
  EXPECT_EQ(error_ + out_, "There was nothing to finish.\n");
}

TEST_F(Program, CancelsALockAndLeavesNothingOfIt) {
  write("Taxes/sums", "42");
  replaceTool("ditto", ": >\"$TAVRINE_FAKE_HDIUTIL/copying\"; exec sleep 60");
  const pid_t program = start({"lock", "--password-file", folder_ / "password", home("Taxes"), home("next")});
  for (int i = 0; i < 5000 && !fs::exists(folder_ / "fake/copying"); ++i) ::usleep(2000);
  ::kill(program, SIGINT);
  EXPECT_EQ(wait(program), 130);
  EXPECT_EQ(error_, "tavrine: " + home("Taxes").string() + ": Cancelled. Nothing was changed.\ntavrine: " +
                        home("next").string() + ": Tavrine is quitting, so it cannot start anything new.\n");
  EXPECT_EQ(namesIn(home("")), std::vector<std::string>{"Taxes"});
  EXPECT_EQ(readFile(folder_ / "support/operations.json"), "[]");
}

TEST_F(Program, RemovesNoLockFromAFileThatBecameAFolder) {
  const Path locked = write("note", "x").replace_extension(".tavrlock");
  ASSERT_EQ(runWithPassword({"lock", home("note")}), 0) << error_;
  ASSERT_EQ(runWithPassword({"unlock", locked}), 0) << error_;
  run({"reveal", locked});
  const Path note = out_.substr(0, out_.size() - 1);
  fs::remove(note);
  fs::create_directory(note);
  replaceFile(note.parent_path() / "second", "2");
  EXPECT_EQ(runWithPassword({"remove-lock", locked}), 1);
  EXPECT_NE(error_.find("also holds second"), std::string::npos) << error_;
  EXPECT_TRUE(fs::exists(locked));
}

TEST_F(Program, RemovesNoLockFromAFileThatGotCompany) {
  const Path locked = write("note", "x").replace_extension(".tavrlock");
  ASSERT_EQ(runWithPassword({"lock", home("note")}), 0) << error_;
  ASSERT_EQ(runWithPassword({"unlock", "--json", locked}), 0) << error_;
  run({"reveal", locked});
  replaceFile(Path(out_.substr(0, out_.size() - 1)).parent_path() / "second", "2");
  EXPECT_EQ(runWithPassword({"remove-lock", locked}), 1);
  EXPECT_NE(error_.find("note.tavrlock also holds second, saved there"), std::string::npos) << error_;
  EXPECT_EQ(namesIn(home("")), std::vector<std::string>{"note.tavrlock"});
  EXPECT_EQ(runWithPassword({"remove-lock", "--yes", locked}), 0) << error_;
  EXPECT_EQ(readFile(home("note")), "x");
}

TEST_F(Program, ForcesOnlyWhenToldTo) {
  const Path locked = write("note", "x").replace_extension(".tavrlock");
  ASSERT_EQ(runWithPassword({"lock", home("note")}), 0) << error_;
  ASSERT_EQ(runWithPassword({"unlock", locked}), 0) << error_;
  const auto keepBusy = [&] {
    for (int tries = 0; tries < 3; ++tries) failImageTool("detach 16 hdiutil: couldn't unmount - Resource busy");
  };
  keepBusy();
  EXPECT_EQ(run({"lock-now", locked}), 16);
  EXPECT_EQ(unlockedPaths(), std::vector<std::string>{locked});
  keepBusy();
  EXPECT_EQ(run({"lock-now", "--force", locked}), 0) << error_;
  EXPECT_EQ(unlockedPaths(), std::vector<std::string>{});
}

TEST_F(Program, WritesNamesExactlyAndWarnsOfWhatStaysBehind) {
  const std::string name = "a\n\xFF";
  write(name + "/.DS_Store", "x");
  ASSERT_EQ(runWithPassword({"lock", "--json", home(name)}), 0) << error_;
  EXPECT_TRUE(out_.starts_with("{\"event\":\"warning\",")) << out_;
  EXPECT_NE(out_.find("\n{\"event\":\"locked\","), std::string::npos) << out_;
  EXPECT_NE(out_.find("\"name\":\"a\\u000a\xF4\x80\x83\xBF\",\"kind\":\"folder\""), std::string::npos) << out_;
  fs::remove_all(home(name + ".tavrlock"));
  ASSERT_EQ(run({"list"}), 0) << error_;
  EXPECT_TRUE(out_.starts_with(name + "\tmissing\t")) << out_;
}

}  // namespace
}  // namespace tavrine
