#include "kit/errors/activity.h"

#include <gtest/gtest.h>

#include "kit/errors/idle_policy.h"

namespace tavrine {
namespace {

TEST(Activity, ListsWorkInTheOrderItBeganUntilItEnds) {
  Activity activity;
  const Uuid first = activity.begin("locking Taxes");
  activity.begin("unlocking Notes");
  const Uuid third = activity.begin("locking Taxes");
  EXPECT_EQ(activity.descriptions(), (std::vector<std::string>{"locking Taxes", "unlocking Notes", "locking Taxes"}));
  activity.end(first);
  activity.end(Uuid::random());
  EXPECT_EQ(activity.descriptions(), (std::vector<std::string>{"unlocking Notes", "locking Taxes"}));
  activity.end(third);
  EXPECT_FALSE(activity.isIdle());
}

TEST(Activity, QuittingStopsNewWorkAndCanBeTakenBack) {
  Activity activity;
  EXPECT_TRUE(activity.acceptsNewWork());
  activity.beginQuitting();
  EXPECT_TRUE(activity.isQuitting());
  EXPECT_FALSE(activity.acceptsNewWork());
  activity.begin("locking Taxes");
  EXPECT_FALSE(activity.isIdle()) << "work that has begun anyway is counted";
  activity.cancelQuitting();
  EXPECT_TRUE(activity.acceptsNewWork());
}

TEST(Activity, APasswordChangeWaitsForWorkAndIsRefusedWhileQuitting) {
  Activity activity;
  EXPECT_EQ(activity.passwordChangeRefusal(), std::nullopt);
  activity.beginQuitting();
  EXPECT_EQ(activity.passwordChangeRefusal(), "Tavrine is quitting, so it cannot start anything new.");
  for (const char* work : {"A", "B", "C"}) activity.begin(work);
  EXPECT_EQ(activity.passwordChangeRefusal(), "Wait until Tavrine finishes A, B and C, then try again.");
  EXPECT_EQ(Activity::passwordChangeRefusal({}), "Wait until Tavrine finishes, then try again.");
}

TEST(Activity, TheQuitQuestionNamesTheWork) {
  EXPECT_EQ(Activity::quitQuestion({}), "Tavrine is still working. Quit when it finishes?");
  EXPECT_EQ(Activity::quitQuestion({"locking Taxes"}), "Tavrine is still locking Taxes. Quit when it finishes?");
  EXPECT_EQ(Activity::quitQuestion({"A", "A"}), "Tavrine is still A and A. Quit when it finishes?");
  EXPECT_EQ(Activity::quitQuestion({"\xFF"}), "Tavrine is still \uFFFD. Quit when it finishes?");
}

TEST(IdlePolicy, LocksWhenTheChosenMinutesAreOver) {
  struct Row {
    double idleSeconds;
    int64_t minutes;
    bool hasUnlockedItems, locks;
  };
  const Row rows[] = {{300, 5, true, true},   {299.999, 5, true, false}, {1e9, 0, true, false},
                      {1e9, -5, true, false}, {1e9, 5, false, false},    {3600, 60, true, true}};
  for (const Row& row : rows) {
    EXPECT_EQ(IdlePolicy::shouldLock(row.idleSeconds, row.minutes, row.hasUnlockedItems), row.locks)
        << row.idleSeconds << " s, " << row.minutes << " min";
  }
}

}  // namespace
}  // namespace tavrine
