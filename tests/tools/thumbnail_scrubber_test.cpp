#include "kit/tools/thumbnail_scrubber.h"

#include <gtest/gtest.h>

#include "tests/tools/scripted_tool.h"

namespace tavrine {
namespace {

TEST(ThumbnailScrubber, TellsWhetherTheToolDidItsWork) {
  const ScriptedTool tool({{0, "cache cleared"}, {1, ""}});
  EXPECT_TRUE(ThumbnailScrubber::reset(tool.path()));
  EXPECT_FALSE(ThumbnailScrubber::reset(tool.path()));
  EXPECT_EQ(tool.runs().at(0), "-r|cache|");
  EXPECT_FALSE(ThumbnailScrubber::reset("/missing"));
}

}  // namespace
}  // namespace tavrine
