#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/failure.h"
#include "app/run.h"
#include "app/session.h"

namespace tavrine {

/// Takes one item after the other, in one session: registers the work, shows why an item failed and goes on with the
/// next, keeps the shared state current. After an interruption the items left are not begun.
class ItemLoop final {
 public:
  using Handle = std::function<void(const Path&)>;

  /// All three outlive it. How each item ended is added to `outcome`.
  ItemLoop(const Run& run, Session& session, Outcome& outcome) : run_(run), session_(session), outcome_(outcome) {}

  /// `doing` is the work's name before the item's: "locking".
  void each(const std::vector<Path>& items, const std::string& doing, const Handle& handle);

 private:
  ExitCode one(const Path& item, const std::string& doing, const Handle& handle);

  const Run& run_;
  Session& session_;
  Outcome& outcome_;
};

}  // namespace tavrine
