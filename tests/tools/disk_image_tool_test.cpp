#include "kit/tools/disk_image_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "kit/errors/tavrine_error.h"
#include "platform/path_text.h"
#include "tests/tools/scripted_tool.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Answer = ScriptedTool::Answer;
using Access = DiskImageTool::Access;
using Force = DiskImageTool::Force;
using Call = ScriptedTool::Call;

const Answer busy = {16, ""};
const Answer busyText = {1, "hdiutil: couldn't unmount \"disk4\" - Resource busy\n"};
const Answer done = {0, ""};
const char* const readers = "p1\ncmds\nf1\nar\np2\ncmdworker\nf1\nar\n";
const char* const inUse = "Some files are still open. Close them, then try again.";

/// What an operation threw, as text; empty when it threw nothing.
template <typename Operation>
std::string failure(Operation operation) {
  try {
    operation();
  } catch (const TavrineError& error) {
    const auto* detail = error.payload<std::string>();
    return error.kind() == TavrineError::Case::diskImage ? "diskImage: " + *detail : error.errorDescription();
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

std::string plist(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n" +
         content + "\n</plist>\n";
}

std::string list(const std::string& images) {
  return plist("<dict><key>framework</key><string>1</string><key>images</key><array>" + images + "</array></dict>");
}

std::string volume(const std::string& mountPoint) {
  return "<dict><key>mount-point</key><string>" + mountPoint + "</string></dict>";
}

std::string image(const std::string& path, const std::string& entities) {
  return "<dict><key>system-entities</key><array>" + entities + "</array><key>image-path</key><string>" + path +
         "</string></dict>";
}

/// A detach and what comes of it.
struct DetachRow {
  const char* name;
  std::vector<Answer> answers;
  const char* holders;  ///< what the lister says; null where it fails in silence
  size_t runs;
  std::string failure;  ///< empty when the volume was detached
  Force force = Force::no;
};

/// A DiskImageTool over scripted programs; its pauses are counted, not made.
class DiskImageToolTest : public testing::Test {
 protected:
  /// The programs answer so from now on; what they did before is forgotten.
  void script(const std::vector<Answer>& answers, const Answer& lister = {}) {
    hdiutil_ = std::make_unique<ScriptedTool>(answers);
    lsof_ = std::make_unique<ScriptedTool>(std::vector<Answer>{lister});
    pauses_ = 0;
    tool_.hdiutil = hdiutil_->path();
    tool_.lsof = lsof_->path();
    tool_.pause = [this](std::chrono::microseconds time) {
      pauses_ += time == std::chrono::milliseconds(500) ? 1 : 1000;
    };
  }

  std::vector<Call> runs() const { return hdiutil_->runs(); }

  void expectDetach(const DetachRow& row) {
    script(row.answers, row.holders != nullptr ? Answer{0, row.holders} : Answer{1, ""});
    EXPECT_EQ(failure([&] { tool_.detach(folder_.path(), row.force); }), row.failure) << row.name;
    ASSERT_EQ(runs().size(), row.runs) << row.name;
    EXPECT_EQ(pauses_, static_cast<int>(std::min<size_t>(row.runs, 3)) - 1) << row.name;
    const bool isForced = row.force == Force::yes || row.runs > 3;
    EXPECT_EQ(runs().back().arguments.back(), isForced ? "-force" : "-quiet") << row.name;
  }

  std::vector<AttachedImage> listed(const std::string& output) {
    script({{0, output}});
    return tool_.attachedImages();
  }

  DiskImageTool tool_{.hdiutil = "/", .executablePath = [](int32_t) { return "/usr/libexec/mdworker_shared"; }};
  int pauses_ = 0;
  std::unique_ptr<ScriptedTool> lsof_;
  const TemporaryFolder folder_;
  const Password password_{std::string("pass \xC3\xA9")};

 private:
  std::unique_ptr<ScriptedTool> hdiutil_;
};

TEST_F(DiskImageToolTest, GivesTheToolExactArgumentsAndPasswordsByInputAlone) {
  script({done});
  tool_.create("/a/b c.sparsebundle", "My Taxes", password_);
  tool_.attach({"/a/Taxes.tavrlock", "/m p/1", password_});
  tool_.attach({"/a/Taxes.tavrlock/", "/m p/1/", password_, Access::readOnly});
  tool_.changePassword("/a/Taxes.tavrlock", password_, Password(std::string("new")));
  tool_.detach("/m p/1");
  tool_.detach("/m p/1", Force::yes);
  const std::string text = password_.text();
  const std::vector<Call> expected = {
      {{"create", "-size", "2t", "-type", "SPARSEBUNDLE", "-fs", "APFS", "-encryption", "AES-256", "-stdinpass",
        "-volname", "My Taxes", "-quiet", "/a/b c.sparsebundle"},
       text},
      {{"attach", "-stdinpass", "-nobrowse", "-noautoopen", "-mountpoint", "/m p/1", "/a/Taxes.tavrlock"}, text},
      {{"attach", "-stdinpass", "-nobrowse", "-noautoopen", "-mountpoint", "/m p/1", "-readonly", "/a/Taxes.tavrlock"},
       text},
      {{"chpass", "-oldstdinpass", "-newstdinpass", "/a/Taxes.tavrlock"}, text + '\0' + "new" + '\0'},
      {{"detach", "/m p/1", "-quiet"}, ""},
      {{"detach", "/m p/1", "-quiet", "-force"}, ""}};
  EXPECT_EQ(runs(), expected);
}

TEST_F(DiskImageToolTest, OnlyASparsebundleIsCreated) {
  for (const char* image :
       {"/a/b", "/a/b.tavrlock", "/a/.sparsebundle", "/a/b.sparsebundle.dmg", "/a/b.SPARSEBUNDLE"}) {
    script({done});
    EXPECT_THROW(tool_.create(image, "v", password_), std::invalid_argument) << image;
    EXPECT_EQ(runs().size(), 0u) << image;
  }
}

TEST_F(DiskImageToolTest, AFailureCarriesTheToolsTextAndAWrongPasswordIsItsOwn) {
  const std::string wrongPassword = "That password did not work.";
  const std::string otherwise = "diskImage: Authentication error";
  const auto create = [this] { tool_.create("/i.sparsebundle", "v", password_); };
  const auto attach = [this] { tool_.attach({"/i.tavrlock", "/m", password_}); };
  const auto change = [this] { tool_.changePassword("/i.tavrlock", password_, password_); };
  const auto detach = [this] { tool_.detach("/m"); };
  const auto list = [this] { (void)tool_.attachedImages(); };
  const std::pair<std::function<void()>, std::string> rows[] = {
      {create, otherwise}, {attach, wrongPassword}, {change, wrongPassword}, {detach, otherwise}, {list, otherwise}};
  for (const auto& [operation, message] : rows) {
    script({{1, "hdiutil: failed - No space\n\nhdiutil: left on device\n"}, {1, "hdiutil: Authentication error\n"}});
    EXPECT_EQ(failure(operation), "diskImage: failed - No space left on device");
    EXPECT_EQ(failure(operation), message);
    tool_.hdiutil = folder_ / "missing";
    EXPECT_THROW(operation(), std::system_error);
  }
  script({{0, "Authentication error"}});
  EXPECT_EQ(failure(attach), "") << "success is success whatever is said";
}

TEST_F(DiskImageToolTest, CleansTheToolsTextToOneLine) {
  const std::pair<std::string, std::string> rows[] = {
      {"hdiutil: a\nhdiutil: b\n", "a b"},
      {"\n\n \thdiutil: a: hdiutil: b \t\n\n", "a: b"},
      {"hdihdiutil: util: a", "hdiutil: a"},
      {"a\r\n", "a\r"},
      {"hdiutil: \nhdiutil: \nb", "b"},
      {"hdiutil:\n", "hdiutil:"},
      {" \t", ""},
      {"", ""},
  };
  for (const auto& [text, line] : rows) EXPECT_EQ(DiskImageTool::clean(text), line) << text;
}

TEST_F(DiskImageToolTest, ABusyVolumeIsTriedThreeTimes) {
  expectDetach({"free", {done}, "", 1, ""});
  expectDetach({"freed at last", {busy, busyText, done}, "", 3, ""});
  expectDetach({"busy although done", {{0, "Resource busy"}, done}, "", 2, ""});
  expectDetach({"another failure", {{1, "hdiutil: no such volume\n"}}, "", 1, "diskImage: no such volume"});
  expectDetach({"another failure after busy", {busy, {2, "gone"}}, "", 2, "diskImage: gone"});
  expectDetach({"never freed, nobody found", {busy}, "", 3, inUse});
  expectDetach({"never freed, no answer", {busy}, nullptr, 3, inUse});
  expectDetach({"never freed, forced", {busy}, readers, 3, inUse, Force::yes});
}

TEST_F(DiskImageToolTest, OnlyTheSystemsBackgroundReadersArePushedAside) {
  const std::vector<Answer> freedByForce = {busy, busy, busy, done};
  expectDetach({"readers", freedByForce, readers, 4, ""});
  expectDetach({"one writes", freedByForce, "p1\ncmds\nar\np2\ncmdworker\naw\n", 3,
                "Files are still open in mdworker. Close them, then try again."});
  expectDetach({"a program", freedByForce, "p1\ncmds\nar\np2\ncvi\nar\n", 3,
                "Files are still open in vi. Close them, then try again."});
  expectDetach({"not even by force",
                {busy, busy, busy, {16, "hdiutil: Resource busy"}, done},
                readers,
                4,
                "diskImage: Resource busy"});
  tool_.executablePath = [](int32_t pid) { return pid == 1 ? "/home/user/mds" : "/usr/libexec/mdworker_shared"; };
  expectDetach({"only by name", freedByForce, readers, 3, inUse});
}

TEST_F(DiskImageToolTest, ListsEveryMountedVolumeOfEveryImage) {
  fs::create_directories(folder_ / "real");
  fs::create_symlink("real", folder_ / "link");
  const std::string path = (folder_ / "link/T &amp; &#60;b&gt;.tavrlock").string();
  const std::string noVolume = "<dict><key>mount-point</key><true/></dict>";
  const std::string text =
      image(path, volume("/m/2") + noVolume + volume("/m/1 \xC3\xA9\t&#10;&quot;")) +
      "<dict><key>image-path</key><string>/attached only</string></dict>" +
      "<dict><key>image-path</key><integer>3</integer><key>system-entities</key><array>" + volume("/m/3") +
      "</array></dict><dict><key>image-path</key><string>/x</string><key>system-entities</key><string/></dict>" +
      image("/y", volume("/m/4")) + image("/z", volume("/m/5") + "<true/>") +
      image(textFromPath("/not text \xFF"), volume("/m/6"));
  const std::string resolved = (folder_ / "real/T & <b>.tavrlock").string();
  const std::vector<AttachedImage> expected = {
      {resolved, "/m/2"}, {resolved, "/m/1 \xC3\xA9\t\n\""}, {"/y", "/m/4"}, {"/not text \xFF", "/m/6"}};
  EXPECT_EQ(listed("warning: <old> tool\n" + list(text)), expected);
  EXPECT_EQ(runs(), (std::vector<Call>{{{"info", "-plist"}, ""}}));
}

TEST_F(DiskImageToolTest, AListWithoutImagesIsEmptyAndNoListAFailure) {
  const char* const others = "<dict><key>images</key><string>x</string></dict>";
  for (const std::string& text : {list(""), plist("<dict/>"), plist(others), list("<string>no dictionary</string>")}) {
    EXPECT_TRUE(listed(text).empty()) << text;
  }
  const std::string cut = list("").substr(0, list("").size() / 2);
  for (const std::string& text : {std::string(), std::string("<plist><dict/></plist>"), cut, plist("<array/>")}) {
    EXPECT_EQ(failure([&] { (void)listed(text); }), "diskImage: Could not list mounted disk images.") << text;
  }
}

}  // namespace
}  // namespace tavrine
