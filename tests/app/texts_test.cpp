#include <gtest/gtest.h>

#include "app/failure.h"
#include "app/item_paths.h"
#include "app/json_line.h"
#include "app/progress_line.h"
#include "app/shown_text.h"
#include "app/table.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

TEST(ShownText, LetsNoNameMoveTheCursorOrTheDirection) {
  EXPECT_EQ(shownText("Größe 👨‍👩‍👧 \\"), "Größe 👨‍👩‍👧 \\");
  EXPECT_EQ(shownText("a\x1b[2K\r\n\tb\x7f"), "a\\x1b[2K\\x0d\\n\\tb\\x7f");
  EXPECT_EQ(shownText("\u009b1m"), "\\x9b1m");
  EXPECT_EQ(shownText("\u202Etxt.exe\u2069\u200F\u061C\u2028"), "\\u202etxt.exe\\u2069\\u200f\\u061c\\u2028");
  EXPECT_EQ(shownText("a\xFF"), "a\uFFFD");
}

TEST(JsonLine, EscapesWhatJSONCannotHold) {
  JsonLine line("e");
  line.add("text", "\"\\\n\x1f\xC3").add("number", int64_t{-1}).add("flag", false).addNames("names", {"a", "b\""});
  EXPECT_EQ(line.text(),
            "{\"event\":\"e\",\"text\":\"\\\"\\\\\\u000a\\u001f\uFFFD\",\"number\":-1,\"flag\":false,\"names\":[\"a\","
            "\"b\\\"\"]}");
}

TEST(Outcome, SumsUpSeveralItems) {
  using enum ExitCode;
  struct Row {
    std::vector<ExitCode> items;
    ExitCode whole;
  };
  for (const Row& row : std::vector<Row>{{{}, done},
                                         {{done, done}, done},
                                         {{inUse}, inUse},
                                         {{wrongPassword, wrongPassword}, wrongPassword},
                                         {{done, inUse}, someFailed},
                                         {{inUse, wrongPassword}, someFailed},
                                         {{failed, cancelled, cancelled}, cancelled}}) {
    Outcome outcome;
    for (const ExitCode code : row.items) outcome.add(code);
    EXPECT_EQ(outcome.exitCode(), row.whole);
  }
}

TEST(ProgressLine, FitsTheTerminal) {
  ProgressState state{.step = LockStep::encrypting, .name = "Taxes", .seconds = 10};
  EXPECT_EQ(progressLine(state, 80), "Encrypting Taxes");
  state.doneBytes = 250'000'000;
  state.totalBytes = 1'000'000'000;
  state.items = 7;
  EXPECT_EQ(progressLine(state, 80), "Encrypting Taxes  [#####---------------]  250 MB of 1 GB, 7 items, 0:30 left");
  EXPECT_EQ(progressLine(state, 70), "Encrypting Taxes  [#####---------------]  250 MB of 1 GB, 0:30 left");
  EXPECT_EQ(progressLine(state, 20), "Encrypting T  [#####");
  state.doneBytes = 2'000'000'000;  // an image is larger than what it holds
  EXPECT_EQ(progressLine(state, 80), "Encrypting Taxes  [####################]  1 GB of 1 GB, 7 items, 0:00 left");
}

TEST(Table, AlignsByCharacters) {
  EXPECT_EQ(alignedLines({{"Größe", "x"}, {"a", "y"}}), (std::vector<std::string>{"Größe  x", "a      y"}));
}

TEST(ItemPaths, GoTheWayTheSystemGoes) {
  const TemporaryFolder folder;
  std::filesystem::create_directories(folder / "deep/below");
  std::filesystem::create_directory_symlink(folder / "deep/below", folder / "link");
  EXPECT_EQ(itemPaths({folder / "link/../x", folder / "deep/x/"}, LastLink::stands),
            std::vector<Path>{folder / "deep/x"});
  EXPECT_EQ(itemPaths({folder / "link/"}, LastLink::stands), std::vector<Path>{folder / "link"});
  EXPECT_EQ(itemPaths({folder / "link"}, LastLink::isFollowed), std::vector<Path>{folder / "deep/below"});
}

}  // namespace
}  // namespace tavrine
