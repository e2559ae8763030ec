#include <algorithm>
#include <map>
#include <set>

#include "tests/engine/engine_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// What recovery has to make of crashes and of what happened after them.
struct Case {
  const char* happened;
  std::string points;  ///< the numbers of the crash points, in hexadecimal digits
  /// L a lock finished, l undone, R a lock removal finished, r undone, C changed original kept, K kept for later, X
  /// stale image detached, I index damaged, J journal damaged.
  const char* report;
  const char* state;  ///< in the work folder | record | journal entries | attached images
};

// clang-format off
const Case cases[] = {
    {"nothing", "1234", "l", "item|-|0|0"},
    {"nothing", "5", "L", "image|-|0|0"},
    {"nothing", "678", "L", "image|complete|0|0"},
    {"nothing", "9A", "r", "image|complete|0|0"},
    {"nothing", "BC", "R", "item|-|0|0"},
    {"edited", "1234", "l", "item|-|0|0"},
    {"edited", "5", "LC", "image item|-|0|0"},
    {"edited", "68", "LC", "image item|complete|0|0"},
    {"edited", "7", "L", "image item|complete|0|0"},
    {"edited", "9A", "r", "image item|complete|0|0"},
    {"edited", "BC", "R", "item|-|0|0"},
    {"imageMoved", "13", "l", "item moved|-|0|0"},
    {"imageMoved", "2", "lX", "item moved|-|0|0"},
    {"imageMoved", "45", "K", "item moved|-|1|0"},
    {"imageMoved", "678", "L", "moved|complete|0|0"},
    {"imageMoved", "9A", "r", "moved|complete|0|1"},
    {"imageMoved", "B", "R", "item moved|-|0|0"},
    {"imageMoved", "C", "R", "item|-|0|0"},
    {"volumeGone", "134", "K", "item partial|-|1|0"},
    {"volumeGone", "2", "KX", "item partial|-|1|0"},
    {"volumeGone", "5", "K", "image item|-|1|0"},
    {"volumeGone", "6", "K", "image item|pending|1|0"},
    {"volumeGone", "7", "K", "deleting image|pending|1|0"},
    {"volumeGone", "8", "K", "image|pending|1|0"},
    {"volumeGone", "9A", "K", "image restoring|complete|1|1"},
    {"volumeGone", "B", "K", "image item|complete|1|1"},
    {"volumeGone", "C", "K", "item|complete|1|0"},
    {"indexDamaged", "1234", "IK", "item partial|-|1|0"},
    {"indexDamaged", "56", "IK", "image item|-|1|0"},
    {"indexDamaged", "7", "IK", "deleting image|-|1|0"},
    {"indexDamaged", "8", "IK", "image|-|1|0"},
    {"indexDamaged", "9A", "IK", "image restoring|complete|1|1"},
    {"indexDamaged", "B", "IK", "image item|complete|1|1"},
    {"indexDamaged", "C", "IK", "item|-|1|0"},
    {"journalDamaged", "134", "J", "item partial|-|0|0"},
    {"journalDamaged", "2", "JX", "item partial|-|0|0"},
    {"journalDamaged", "5", "J", "image item|-|0|0"},
    {"journalDamaged", "6", "J", "image item|pending|0|0"},
    {"journalDamaged", "7", "J", "deleting image|pending|0|0"},
    {"journalDamaged", "8", "J", "image|pending|0|0"},
    {"journalDamaged", "9A", "J", "image restoring|complete|0|1"},
    {"journalDamaged", "B", "J", "image item|complete|0|1"},
    {"journalDamaged", "C", "J", "item|complete|0|0"},
    {"attached", "1234", "l", "item|-|0|0"},
    {"attached", "5", "LX", "image|-|0|0"},
    {"attached", "678", "L", "image|complete|0|1"},
    {"attached", "9A", "r", "image|complete|0|0"},
    {"attached", "BC", "R", "item|-|0|0"},
};
// clang-format on

struct Crash {
  CrashPoint point;
  Case expected;
  LockedItem::Kind kind;
  const char* undisturbed;  ///< the report of this crash where nothing else happened
};

std::vector<Crash> crashes() {
  std::vector<Crash> all;
  for (const Case& one : cases) {
    for (const char digit : one.points) {
      const auto isUndisturbed = [digit](const Case& other) { return other.points.find(digit) != std::string::npos; };
      const char* undisturbed = std::find_if(std::begin(cases), std::end(cases), isUndisturbed)->report;
      const CrashPoint point = allCrashPoints.at(std::stoul(std::string(1, digit), nullptr, 16) - 1);
      for (const auto kind : {LockedItem::Kind::file, LockedItem::Kind::folder})
        all.push_back({point, one, kind, undisturbed});
    }
  }
  return all;
}

std::string nameOf(const testing::TestParamInfo<Crash>& info) {
  return std::string(rawValue(info.param.point)) + "_" + info.param.expected.happened + "_" +
         std::string(rawValue(info.param.kind));
}

std::string letters(const RecoveryReport& report) {
  std::string text;
  const auto add = [&text](char letter, int64_t count) { text.append(static_cast<size_t>(count), letter); };
  add('I', report.indexWasDamaged);
  add('J', report.journalWasDamaged);
  add('L', report.finishedLocks);
  add('l', report.discardedLocks);
  add('R', report.finishedRestores);
  add('r', report.discardedRestores);
  add('C', report.keptChangedOriginals);
  add('K', report.keptForLater);
  add('X', report.detachedStale);
  return text;
}

class Recovery : public EngineTest, public testing::WithParamInterface<Crash> {
 protected:
  bool isFolder() const { return GetParam().kind == LockedItem::Kind::folder; }

  void crash(CrashPoint point) {
    item_ = makeItem(GetParam().kind);
    before_ = described(item_);
    const Path image = rawValue(point).starts_with("restore") ? lockedImage(item_) : Path();
    locker_.crashPoint = point;
    EXPECT_THROW(image.empty() ? void(lock(item_)) : void(removeLock(image)), SimulatedCrash);
    locker_.crashPoint.reset();
    id_ = entries().at(0).id.text();
  }

  void happen(const std::string& what) {
    if (what == "edited") edit();
    if (what == "imageMoved" && !image().empty()) {
      fs::create_directory(work("an.elsewhere"));
      fs::rename(image(), work("an.elsewhere") / image().filename());
    }
    if (what == "volumeGone") fs::rename(work(), gone());
    if (what == "indexDamaged") write(locker_.index.fileURL(), "[{}]");
    if (what == "journalDamaged") write(locker_.journal.fileURL(), "[");
    if (what != "attached" || image().empty() || !attached().empty()) return;
    fs::create_directories(locker_.mountsRoot / id_);
    EXPECT_DONE(attach(image(), locker_.mountsRoot / id_));
  }

  /// As a user who works on some while after the crash.
  void edit() const {
    const Path edited = isFolder() ? item_ / "a file" : item_;
    if (isFolder()) fs::create_directories(item_);
    write(edited, "edited");
    fs::last_write_time(edited, fs::file_time_type::clock::now() + std::chrono::seconds(5));
  }

  /// The image in the work folder, finished or not; empty where there is none.
  Path image() const {
    for (const std::string& name : names(work())) {
      if (name.ends_with(".tavrlock") || name.ends_with(".sparsebundle")) return work(name);
    }
    return {};
  }
  Path gone() const { return path("home/gone"); }

  std::string onDisk() const {
    const std::map<std::string, std::string> kinds = {{".tavrlock", "image"},
                                                      {".sparsebundle", "partial"},
                                                      {".deleting", "deleting"},
                                                      {".restoring", "restoring"},
                                                      {".elsewhere", "moved"}};
    std::set<std::string> all;
    for (const std::string& name : names(fs::exists(gone()) ? gone() : work())) {
      const auto kind = kinds.find(Path(name).extension());
      all.insert(name == item_.filename() ? "item" : kind == kinds.end() ? name : kind->second);
    }
    std::string text;
    for (const std::string& one : all) text += (text.empty() ? "" : " ") + one;
    return text;
  }

  std::string state() const {
    const std::vector<LockedItem> items = records();
    const bool isPending = !items.empty() && items[0].originalPath;
    const std::string record = items.empty() ? "-" : isPending ? "pending" : "complete";
    EXPECT_EQ(isPending, !items.empty() && items[0].stage == LockedItem::Stage::originalPending);
    EXPECT_EQ(attached().size(), names(locker_.mountsRoot).size());
    return onDisk() + "|" + record + "|" + std::to_string(entries().size()) + "|" + std::to_string(attached().size());
  }

  /// The user's content is where it was, or opens with the password.
  void checkContent(bool isEdited) const {
    const auto first = [this](const Path& place) { return contentOf(isFolder() ? place / "a file" : place); };
    if (fs::exists(item_)) {
      EXPECT_EQ(isEdited ? first(item_) : described(item_), isEdited ? "edited" : before_);
    }
    if (image().extension() != ".tavrlock") return;
    const OpenItem open = locker_.unlock(image(), password_);
    EXPECT_EQ(first(open.contentURL()), isFolder() ? "some content" : "content");
    locker_.relock(open, DiskImageTool::Force::no);
  }

  Path item_;
  std::string before_;
  std::string id_;
};

TEST_P(Recovery, SettlesWhatACrashLeft) {
  const auto& [point, expected, kind, undisturbed] = GetParam();
  crash(point);
  happen(expected.happened);
  const RecoveryReport report = locker_.recover();
  EXPECT_EQ(letters(report), expected.report);
  EXPECT_EQ(state(), expected.state);
  EXPECT_TRUE(report.notice());
  if (fs::exists(gone())) fs::rename(gone(), work());
  // What kept the recovery from an entry is gone at the second start, unless it is the image that cannot be found.
  const bool isKept = report.keptForLater > 0;
  const bool isKeptAgain = isKept && expected.happened == std::string("imageMoved");
  EXPECT_EQ(letters(locker_.recover()), isKeptAgain ? "K" : isKept ? undisturbed : "");
  if (!isKept || isKeptAgain) {
    EXPECT_EQ(state(), expected.state);
  }
  checkContent(expected.happened == std::string("edited"));
}

INSTANTIATE_TEST_SUITE_P(Of, Recovery, testing::ValuesIn(crashes()), nameOf);

TEST(Recoveries, AreTriedForEveryCrashPointAndCircumstance) {
  EXPECT_EQ(crashes().size(), 12u * 7u * 2u);
}

}  // namespace
}  // namespace tavrine
