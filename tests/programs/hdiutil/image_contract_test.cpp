// What every image tool owes to the kit, the real one and the fake alike.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/programs/hdiutil/image_tool.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Attachments = std::vector<Attachment>;

class ImageContract : public ImageTest, public testing::WithParamInterface<Tool> {
 protected:
  ImageContract() : ImageTest(GetParam()) {}

  void SetUp() override {
    if (GetParam() == Tool::real && !reasonNotToMount().empty()) GTEST_SKIP() << reasonNotToMount();
  }

  /// A run that has to fail with one line for people that holds `reason`.
  static void expectRefused(const ToolResult& result, const std::string& reason = {}) {
    EXPECT_NE(result.status, 0);
    EXPECT_TRUE(result.output.starts_with("hdiutil: ")) << result.output;
    EXPECT_EQ(result.output.find('\n'), result.output.size() - 1) << result.output;
    EXPECT_NE(result.output.find(reason), std::string::npos) << result.output;
  }
};

INSTANTIATE_TEST_SUITE_P(, ImageContract, testing::Values(Tool::real, Tool::fake),
                         [](const auto& tool) { return tool.param == Tool::real ? "Real" : "Fake"; });

TEST_P(ImageContract, AnImageIsPrivate) {
  EXPECT_DONE(create(path("a.sparsebundle")));
  EXPECT_EQ(fs::status(path("a.sparsebundle")).permissions(), fs::perms::owner_all);
}

TEST_P(ImageContract, CreateRefusesWhatCannotBeAnImage) {
  makeFolder("taken.sparsebundle");
  write(path("taken.sparsebundle/mine"), "x");
  expectRefused(create(path("taken.sparsebundle")), "File exists");
  EXPECT_EQ(contentOf(path("taken.sparsebundle/mine")), "x");
  expectRefused(create(path("a.tavrlock")), ".sparsebundle");
  expectRefused(create(path("none/a.sparsebundle")));
  for (const std::string& password : {std::string(), std::string("a\n"), std::string("a\rb"), std::string("a\0b", 3)}) {
    expectRefused(create(path("a.sparsebundle"), password), "password");
  }
  EXPECT_FALSE(fs::exists(path("a.tavrlock")) || fs::exists(path("a.sparsebundle")));
}

TEST_P(ImageContract, WhatIsWrittenIsThereAfterAReadOnlyAttach) {
  const Path image = makeImage();
  const Path mountPoint = makeFolder("mount");
  EXPECT_DONE(attach(image, mountPoint));
  EXPECT_EQ(attached(), (Attachments{{image, mountPoint}}));
  makeFolder("mount/folder");
  write(mountPoint / "folder/file", "content");
  EXPECT_DONE(detach(mountPoint));
  EXPECT_TRUE(attached().empty());
  EXPECT_TRUE(fs::is_empty(mountPoint));
  fs::rename(image, path("renamed.tavrlock"));
  EXPECT_DONE(attachReadOnly(path("renamed.tavrlock"), mountPoint));
  EXPECT_EQ(contentOf(mountPoint / "folder/file"), "content");
  EXPECT_DONE(detach(mountPoint));
}

TEST_P(ImageContract, AWrongPasswordOpensNothing) {
  const Path image = makeImage();
  const Path mountPoint = makeFolder("mount");
  for (const char* wrong : {"Secret", "secret ", "secre"})
    expectRefused(attach(image, mountPoint, wrong), "Authentication error");
  EXPECT_TRUE(attached().empty());
  EXPECT_TRUE(fs::is_empty(mountPoint));
  EXPECT_DONE(attach(image, mountPoint));
  EXPECT_DONE(detach(mountPoint));
}

TEST_P(ImageContract, AnImageIsAttachedOnce) {
  const Path image = makeImage();
  EXPECT_DONE(attach(image, makeFolder("mount")));
  expectRefused(attach(image, makeFolder("second")), "attached already");
  expectRefused(changePassword(image, "secret", "other"), "attached already");
  write(path("mount/file"), "still works");
  EXPECT_DONE(detach(path("mount")));
  EXPECT_DONE(attach(image, path("second")));
  EXPECT_EQ(contentOf(path("second/file")), "still works");
  EXPECT_DONE(detach(path("second")));
}

TEST_P(ImageContract, TwoImagesAreApart) {
  const Path one = makeImage("one");
  const Path two = makeImage("two");
  EXPECT_DONE(attach(one, makeFolder("mount 1")));
  EXPECT_DONE(attach(two, makeFolder("mount 2")));
  write(path("mount 1/file"), "1");
  write(path("mount 2/file"), "2");
  EXPECT_EQ(attached(), (Attachments{{one, path("mount 1")}, {two, path("mount 2")}}));
  EXPECT_DONE(detach(path("mount 1")));
  EXPECT_EQ(attached(), (Attachments{{two, path("mount 2")}}));
  EXPECT_EQ(contentOf(path("mount 2/file")), "2");
  EXPECT_DONE(forceDetach(path("mount 2")));
}

TEST_P(ImageContract, ANewPasswordTakesThePlaceOfTheOld) {
  const Path image = makeImage();
  expectRefused(changePassword(image, "wrong", "other"), "Authentication error");
  EXPECT_DONE(changePassword(image, "secret", "ÖTHER \\ \"word\""));
  EXPECT_FALSE(opens(image, "secret"));
  expectRefused(attach(image, makeFolder("mount")), "Authentication error");
  EXPECT_DONE(attach(image, path("mount"), "ÖTHER \\ \"word\""));
  EXPECT_DONE(detach(path("mount")));
  for (const std::string& input :
       {std::string("a\0b", 3), std::string("a\0b\0c\0", 6), std::string("a\0", 2), std::string()}) {
    expectRefused(run({"chpass", "-oldstdinpass", "-newstdinpass", image}, input));
  }
  expectRefused(changePassword(image, "ÖTHER \\ \"word\"", "line\nbreak"), "line break");
  EXPECT_TRUE(opens(image, "ÖTHER \\ \"word\""));
}

TEST_P(ImageContract, RenamingAnAttachedImageDoesNoHarm) {
  makeFolder("folder/sub");
  fs::rename(makeImage(), path("folder/sub/image.tavrlock"));
  const Path mountPoint = makeFolder("mount");
  EXPECT_DONE(attach(path("folder/sub/image.tavrlock"), mountPoint));
  fs::rename(path("folder/sub/image.tavrlock"), path("folder/sub/new name.tavrlock"));
  write(mountPoint / "file", "written behind");
  fs::rename(path("folder"), path("elsewhere"));
  const Path now = path("elsewhere/sub/new name.tavrlock");
  EXPECT_EQ(attached(), (Attachments{{now, mountPoint}}));
  makeFolder("mount/sub");
  EXPECT_DONE(detach(mountPoint));
  EXPECT_DONE(attachReadOnly(now, mountPoint));
  EXPECT_EQ(contentOf(mountPoint / "file"), "written behind");
  EXPECT_TRUE(fs::is_directory(mountPoint / "sub"));
  EXPECT_DONE(detach(mountPoint));
}

TEST_P(ImageContract, MountPointsMayHaveAnyName) {
  const Path image = makeImage("im <&> \"age\" \xFF");
  for (const char* name : {"with space", "tab\there", "back\\slash \\040", "line\nbreak", "ünï 日本", "<&>\"'", "#x",
                           "a,b=c", "G\xFCte"}) {
    const Path mountPoint = makeFolder(name);
    EXPECT_DONE(attach(image, mountPoint));
    EXPECT_EQ(attached(), (Attachments{{image, mountPoint}}));
    EXPECT_DONE(detach(mountPoint));
  }
}

TEST_P(ImageContract, AttachTakesOnlyAnEmptyFolder) {
  const Path image = makeImage();
  makeFolder("full");
  write(path("full/file"), "mine");
  write(path("file"), "mine");
  for (const char* name : {"full", "file", "missing"}) expectRefused(attach(image, path(name)), "mount point");
  EXPECT_EQ(contentOf(path("full/file")), "mine");
  EXPECT_DONE(attach(makeImage("other"), makeFolder("mount")));
  expectRefused(attach(image, path("mount")), "mounted on the mount point already");
  EXPECT_DONE(detach(path("mount")));
  expectRefused(attach(path("missing.tavrlock"), path("mount")), "No such file");
  expectRefused(attach(path("full"), path("mount")), "not recognized");
  expectRefused(detach(path("mount")), "no image is attached there");
}

TEST_P(ImageContract, UnknownArgumentsAreRefused) {
  const std::vector<std::vector<std::string>> all = {
      {},
      {"burn"},
      {"info"},
      {"info", "-xml"},
      {"detach"},
      {"detach", "/a", "/b"},
      {"detach", "/a", "-quiet", "-now"},
      {"attach", "-stdinpass", "/a"},
      {"create", "-size", "2t", path("a.sparsebundle")},
      {"chpass", "-oldstdinpass", "/a"},
      {"create", "-size", "2t", "-type", "UDIF", "-fs", "APFS", "-encryption", "AES-256", "-stdinpass", "-volname", "V",
       "-quiet", path("a.sparsebundle")}};
  for (const auto& arguments : all) expectRefused(run(arguments, "secret"));
  EXPECT_FALSE(fs::exists(path("a.sparsebundle")));
}

}  // namespace
}  // namespace tavrine
