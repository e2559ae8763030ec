// What the tests of the engine count on in the fake, beyond what it shares with the real tool.

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/programs/hdiutil/image_tool.h"

namespace tavrine {
namespace {

class FakeImageTool : public ImageTest {
 protected:
  FakeImageTool() : ImageTest(Tool::fake) {}

  void script(const std::string& lines) const { write(path("fake-state/control"), lines); }
};

TEST_F(FakeImageTool, RecordsArgumentsAndInput) {
  EXPECT_EQ(run({"chpass", "-oldstdinpass", "-newstdinpass", "/none \"x\""}, std::string("a\0b\0", 4)).status, 1);
  EXPECT_EQ(run({"detach", "/none", "-quiet"}).status, 1);
  EXPECT_EQ(contentOf(path("fake-state/calls")),
            "{\"arguments\":[\"chpass\",\"-oldstdinpass\",\"-newstdinpass\",\"/none "
            "\\\"x\\\"\"],\"input\":\"a\\u0000b\\u0000\"}\n"
            "{\"arguments\":[\"detach\",\"/none\",\"-quiet\"],\"input\":\"\"}\n");
}

TEST_F(FakeImageTool, FailsAsScripted) {
  const Path image = makeImage();
  const Path mountPoint = makeFolder("mount");
  script("detach 16 hdiutil: Resource busy\nattach+ 1 hdiutil: gave up\ndetach-force 1 hdiutil: no\n");
  EXPECT_EQ(attach(image, mountPoint).output, "hdiutil: gave up\n");
  EXPECT_EQ(attached().size(), 1u) << "after its work was done";
  EXPECT_EQ(forceDetach(mountPoint).output, "hdiutil: no\n");
  EXPECT_EQ(detach(mountPoint).status, 16);
  EXPECT_EQ(contentOf(path("fake-state/control")), "");
  EXPECT_DONE(detach(mountPoint));
}

TEST_F(FakeImageTool, TakesTheDocumentedOrderOnly) {
  const Path image = makeImage();
  const Path mountPoint = makeFolder("mount");
  EXPECT_NE(
      run({"attach", "-stdinpass", "-nobrowse", "-noautoopen", "-mountpoint", mountPoint, image, "-readonly"}, "secret")
          .status,
      0);
  EXPECT_NE(run({"detach", mountPoint, "-force", "-quiet"}).status, 0);
  EXPECT_TRUE(attached().empty());
}

TEST_F(FakeImageTool, NoticesAWriteToAReadOnlyVolume) {
  const Path image = makeImage();
  const Path mountPoint = makeFolder("mount");
  EXPECT_DONE(attachReadOnly(image, mountPoint));
  write(mountPoint / "file", "x");
  EXPECT_EQ(detach(mountPoint).output, "hdiutil: a read-only volume was changed\n");
  std::filesystem::remove(mountPoint / "file");
  EXPECT_DONE(detach(mountPoint));
}

}  // namespace
}  // namespace tavrine
