#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/programs/hdiutil/image_tool.h"

namespace tavrine {

/// A test of the real tool with an image and an empty folder to attach it at, where volumes can be mounted.
class MountedImage : public ImageTest {
 protected:
  MountedImage() : ImageTest(Tool::real) {}

  void SetUp() override;

  void attachImage() const { EXPECT_DONE(attach(image_, mountPoint_)); }
  void detachImage() const { EXPECT_DONE(detach(mountPoint_)); }

  /// Attaches, writes and detaches once more.
  void expectImageIsSound() const;

  /// The processes that work for volumes of this test, of those whose command line begins with `name`: "gocryptfs" the
  /// servers, "hdiutil" their guards, none for both.
  std::vector<pid_t> processes(const std::string& name = {}) const;
  void killProcesses(const std::string& name) const;

  /// Whether neither a process nor a mount of this test is left, waiting a while for it.
  bool nothingIsLeft() const;

  Path image_;
  Path mountPoint_;

 private:
  bool isAnythingMounted() const;
};

/// Polls until the condition holds; false when it has not for ten seconds.
template <typename Condition>
bool eventually(Condition condition) {
  for (int i = 0; i < 5000; ++i) {
    if (condition()) return true;
    ::usleep(2000);
  }
  return false;
}

}  // namespace tavrine
