#pragma once

#include <sys/stat.h>

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tavrine {

/// Remembers where each file with several names was copied to, so that its other names become links to that copy. It
/// forgets a file when its last name was met. Any thread may use it.
class HardLinks final {
  enum class State { copying, copied, failed };
  struct Record {
    nlink_t namesMet = 0;
    State state = State::copying;
    std::string path;
  };

 public:
  /// One name of a file. The first name's claim makes the copy and says so by `copied`; destroyed without, it tells the
  /// others that there is no copy to link to.
  class Claim final {
   public:
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    ~Claim();

    bool isFirst() const { return isFirst_; }
    void copied(std::string path);

    /// For every claim but the first: waits until the copy is made; its path in the tree, or nothing when that failed.
    std::optional<std::string> waitForCopy() const;

   private:
    friend class HardLinks;
    Claim(HardLinks& links, std::shared_ptr<Record> record, bool isFirst)
        : links_(links), record_(std::move(record)), isFirst_(isFirst) {}
    void settle(State state, std::string path);

    HardLinks& links_;
    const std::shared_ptr<Record> record_;
    const bool isFirst_;
    bool isSettled_ = false;
  };

  Claim claim(const struct stat& status);

 private:
  std::mutex mutex_;
  std::condition_variable settled_;
  std::map<std::pair<dev_t, ino_t>, std::shared_ptr<Record>> records_;
};

}  // namespace tavrine
