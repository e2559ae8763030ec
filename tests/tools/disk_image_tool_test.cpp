#include "kit/tools/disk_image_tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "kit/errors/tavrine_error.h"
#include "platform/path_text.h"
#include "tests/tools/scripted_tool.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Answer = ScriptedTool::Answer;
using Force = DiskImageTool::Force;
using Texts = std::vector<std::string>;

const Answer done = {0, ""};
const Answer busy = {16, ""};
const Answer busyText = {1, "hdiutil: detach: Resource busy\n"};
const Answer readers = {0, "p1\ncmds\nf1\nar\np2\ncmdworker\nf1\nar\n"};

std::string failure(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const TavrineError& error) {
    return error.what();
  }
  return {};
}

std::string diskImage(const std::string& detail) {
  return TavrineError::diskImage(detail).what();
}

std::string inUseBy(const Texts& apps) {
  return TavrineError::inUse(apps).what();
}

std::string plist(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + content + "\n</plist>\n";
}

std::string list(const std::string& images) {
  return plist("<dict><key>framework</key><true/><key>images</key><array>" + images + "</array></dict>");
}

std::string volume(const std::string& mountPoint) {
  return "<dict><key>mount-point</key><string>" + mountPoint + "</string></dict>";
}

std::string image(const std::string& path, const std::string& entities) {
  return "<dict><key>system-entities</key><array>" + entities + "</array><key>image-path</key>" + path + "</dict>";
}

/// A DiskImageTool over scripted programs; its pauses are counted, not made.
class DiskImageToolTest : public testing::Test {
 protected:
  /// The programs answer so from now on; what they did before is forgotten.
  void script(const std::vector<Answer>& answers, const Answer& lister = done) {
    hdiutil_.emplace(answers);
    lsof_.emplace(std::vector{lister});
    paused_ = {};
    tool_.hdiutil = hdiutil_->path();
    tool_.lsof = lsof_->path();
  }

  /// Detaching takes so many runs and ends so.
  void expectDetach(const std::vector<Answer>& answers, const Answer& lister, size_t runs, const std::string& end,
                    Force force = Force::no) {
    script(answers, lister);
    EXPECT_EQ(failure([&] { tool_.detach(folder_.path(), force); }), end);
    ASSERT_EQ(hdiutil_->runs().size(), runs) << end;
    EXPECT_EQ(paused_, std::chrono::milliseconds(500) * (std::min<size_t>(runs, 3) - 1)) << end;
    EXPECT_EQ(hdiutil_->runs().back().ends_with("|-force|"), force == Force::yes || runs > 3) << end;
  }

  std::vector<AttachedImage> listed(const std::string& output) {
    script({{0, output}});
    return tool_.attachedImages();
  }

  std::optional<ScriptedTool> hdiutil_;
  std::optional<ScriptedTool> lsof_;
  std::chrono::microseconds paused_{};
  DiskImageTool tool_{.hdiutil = {},
                      .executablePath = [](int32_t) { return "/usr/libexec/mdworker_shared"; },
                      .pause = [this](std::chrono::microseconds time) { paused_ += time; }};
  const TemporaryFolder folder_;
  const Password password_{std::string("pass \xC3\xA9")};
};

TEST_F(DiskImageToolTest, GivesTheToolExactArgumentsAndPasswordsByInputAlone) {
  script({done});
  tool_.create("/a/b c.sparsebundle", "My Taxes", password_);
  tool_.attach({"/a/Taxes.tavrlock", "/m p/1", password_});
  tool_.attach({"/a/Taxes.tavrlock/", "/m p/1/", password_, DiskImageTool::Access::readOnly});
  tool_.changePassword("/a/Taxes.tavrlock", password_, Password(std::string("new")));
  tool_.detach("/m p/1");
  tool_.detach("/m p/1", Force::yes);
  const std::string text(password_.text());
  const Texts expected = {
      "create|-size|2t|-type|SPARSEBUNDLE|-fs|APFS|-encryption|AES-256|-stdinpass|-volname|My Taxes|-quiet|"
      "/a/b c.sparsebundle|" +
          text,
      "attach|-stdinpass|-nobrowse|-noautoopen|-mountpoint|/m p/1|/a/Taxes.tavrlock|" + text,
      "attach|-stdinpass|-nobrowse|-noautoopen|-mountpoint|/m p/1|-readonly|/a/Taxes.tavrlock|" + text,
      "chpass|-oldstdinpass|-newstdinpass|/a/Taxes.tavrlock|" + text + '\0' + "new" + '\0',
      "detach|/m p/1|-quiet|",
      "detach|/m p/1|-quiet|-force|"};
  EXPECT_EQ(hdiutil_->runs(), expected);
}

TEST_F(DiskImageToolTest, OnlyASparsebundleIsCreated) {
  script({done});
  for (const char* image : {"/a/b.tavrlock", "/a/.sparsebundle", "/a/b.sparsebundle.dmg", "/a/b.SPARSEBUNDLE"}) {
    EXPECT_THROW(tool_.create(image, "v", password_), std::invalid_argument) << image;
  }
  EXPECT_EQ(hdiutil_->runs(), Texts());
}

TEST_F(DiskImageToolTest, AFailureCarriesTheToolsTextAndAWrongPasswordIsItsOwn) {
  const std::string wrongPassword = TavrineError::wrongPassword().what();
  const std::string otherwise = diskImage("Authentication error");
  const std::pair<std::function<void()>, std::string> rows[] = {
      {[this] { tool_.create("/i.sparsebundle", "v", password_); }, otherwise},
      {[this] {
         tool_.attach({"/i.tavrlock", "/m", password_});
       },
       wrongPassword},
      {[this] { tool_.changePassword("/i.tavrlock", password_, password_); }, wrongPassword},
      {[this] { tool_.detach("/m"); }, otherwise},
      {[this] { (void)tool_.attachedImages(); }, otherwise}};
  for (const auto& [operation, message] : rows) {
    script({{1, "hdiutil: failed - No space\n\nhdiutil: left on device\n"}, {1, "hdiutil: Authentication error\n"}});
    EXPECT_EQ(failure(operation), diskImage("failed - No space left on device"));
    EXPECT_EQ(failure(operation), message);
    tool_.hdiutil = folder_ / "missing";
    EXPECT_THROW(operation(), std::system_error);
  }
  script({{0, "Authentication error"}});
  EXPECT_EQ(failure(rows[1].first), "") << "success is success whatever is said";
}

TEST_F(DiskImageToolTest, CleansTheToolsTextToOneLine) {
  const std::pair<const char*, const char*> rows[] = {{"\n\n \thdiutil: a: hdiutil: b \t\n\n", "a: b"},
                                                      {"hdihdiutil: util: a\r\n", "hdiutil: a\r"},
                                                      {"hdiutil: \nhdiutil: \nb", "b"},
                                                      {"hdiutil:\n", "hdiutil:"},
                                                      {" \t", ""}};
  for (const auto& [text, line] : rows) EXPECT_EQ(DiskImageTool::clean(text), line) << text;
}

TEST_F(DiskImageToolTest, ABusyVolumeIsTriedThreeTimes) {
  expectDetach({busy, busyText, done}, done, 3, "");
  expectDetach({{0, "Resource busy"}, done}, done, 2, "");
  expectDetach({busy, {2, "gone"}}, done, 2, diskImage("gone"));
  expectDetach({busy, busy, busy, done}, done, 3, inUseBy({}));
  expectDetach({busy, busy, busy, done}, {1, ""}, 3, inUseBy({}));
  expectDetach({busy}, readers, 3, inUseBy({}), Force::yes);
}

TEST_F(DiskImageToolTest, OnlyTheSystemsBackgroundReadersArePushedAside) {
  const Answer writer = {0, "p1\ncmds\nar\np2\ncmdworker\naw\n"};
  const Answer program = {0, "p1\ncmds\nar\np2\ncvi\nar\n"};
  expectDetach({busy, busy, busy, done}, readers, 4, "");
  expectDetach({busy, busy, busy, done}, writer, 3, inUseBy({"mdworker"}));
  expectDetach({busy, busy, busy, done}, program, 3, inUseBy({"vi"}));
  expectDetach({busy, busyText}, readers, 4, diskImage("detach: Resource busy"));
}

TEST_F(DiskImageToolTest, ListsEveryMountedVolumeOfEveryImage) {
  fs::create_directories(folder_ / "real");
  fs::create_symlink("real", folder_ / "link");
  const auto text = [](const std::string& path) { return "<string>" + path + "</string>"; };
  const std::string output =
      "warning: <old> tool\n" +
      list(image(text((folder_ / "link/T &amp; &#60;b&gt;.tavrlock").string()),
                 volume("/m/2") + "<dict><key>mount-point</key><true/></dict>" + volume("/m \xC3\xA9\t&#10;&quot;")) +
           "<dict><key>image-path</key><string>/attached only</string></dict>" +
           image("<integer>3</integer>", volume("/m/3")) + image(text("/z"), volume("/m/5") + "<true/>") +
           image(text(textFromPath("/not text \xFF")), volume("/m/6")));
  const std::string resolved = (folder_ / "real/T & <b>.tavrlock").string();
  const std::vector<AttachedImage> expected = {
      {resolved, "/m/2"}, {resolved, "/m \xC3\xA9\t\n\""}, {"/not text \xFF", "/m/6"}};
  EXPECT_EQ(listed(output), expected);
  EXPECT_EQ(hdiutil_->runs(), Texts{"info|-plist|"});
}

TEST_F(DiskImageToolTest, AListWithoutImagesIsEmptyAndNoListAFailure) {
  for (const std::string& text : {plist("<dict/>"), plist("<dict><key>images</key><string>x</string></dict>")}) {
    EXPECT_TRUE(listed(text).empty()) << text;
  }
  for (const std::string& text : {std::string("<plist><dict/></plist>"), list("").substr(0, 90), plist("<array/>")}) {
    EXPECT_EQ(failure([&] { (void)listed(text); }), diskImage("Could not list mounted disk images.")) << text;
  }
}

}  // namespace
}  // namespace tavrine
