#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/paths.h"
#include "platform/process.h"
#include "tests/temporary_folder.h"

namespace tavrine {

/// How a run of the tool ended, and all it printed.
struct ToolResult {
  int status;  ///< exit code or signal
  std::string output;
};

struct Attachment {
  std::string image;
  std::string mountPoint;

  auto operator<=>(const Attachment&) const = default;
};

enum class Tool { real, fake };

inline void PrintTo(Tool tool, std::ostream* stream) {
  *stream << (tool == Tool::real ? "real" : "fake");
}

/// A running image tool, its input already given and closed.
class ToolRun final {
 public:
  ToolRun(const Path& tool, const std::vector<std::string>& arguments, const std::string& input);

  /// Returns after `milliseconds`, or when the tool has ended.
  void waitAtMost(int milliseconds) { child_.waitAtMost(std::chrono::milliseconds(milliseconds)); }

  /// Ends the tool wherever it is; it has no way to tidy up.
  void cutShort() { child_.terminate(); }

  /// Waits for the end, and until nobody holds the tool's output any more.
  ToolResult result();

 private:
  Pipe input_;
  Pipe output_;
  ChildProcess child_;
};

/// A test in a folder of its own with an image tool and the kit's ways of calling it. What is still attached at the end
/// is taken away.
class ImageTest : public testing::Test {
 protected:
  explicit ImageTest(Tool tool);
  ~ImageTest() override;

  ToolResult run(const std::vector<std::string>& arguments, const std::string& input = {}) const;
  ToolResult create(const Path& image, const std::string& password = "secret",
                    const std::string& volume = "Volume") const;
  ToolResult attach(const Path& image, const Path& mountPoint, const std::string& password = "secret") const;
  ToolResult attachReadOnly(const Path& image, const Path& mountPoint) const;
  ToolResult detach(const Path& mountPoint) const;
  ToolResult forceDetach(const Path& mountPoint) const;
  ToolResult changePassword(const Path& image, const std::string& from, const std::string& to) const;

  /// What the tool says is attached below the test's folder, sorted.
  std::vector<Attachment> attached() const;

  /// An image named `name`.tavrlock with "secret" as its password.
  Path makeImage(const std::string& name = "image") const;
  Path makeFolder(const Path& name) const;

  /// Whether the password opens the image, which is not attached.
  bool opens(const Path& image, const std::string& password) const;

  Path tool() const;
  Path path(const Path& name) const { return folder_ / name; }

 private:
  const Tool tool_;
  const TemporaryFolder folder_;
};

std::string contentOf(const Path& file);
void write(const Path& file, const std::string& content);

/// Why no volume can be mounted here; empty where one can. Does not use the tool under test.
std::string reasonNotToMount();

}  // namespace tavrine

/// A run that is expected to end well.
#define EXPECT_DONE(run)                                      \
  do {                                                        \
    const tavrine::ToolResult expectedDone = (run);           \
    EXPECT_EQ(expectedDone.status, 0) << expectedDone.output; \
  } while (false)
