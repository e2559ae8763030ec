#include "tests/programs/hdiutil/image_tool.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/linux/file_descriptor.h"
#include "platform/path_text.h"
#include "platform/property_list.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// Gives the owner all rights to the folders below, or what is in them could not be removed.
void openFolders(const Path& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.is_directory() || entry.is_symlink()) continue;
    fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add);
    openFolders(entry.path());
  }
}

std::string tryMount() {
  const FileDescriptor device(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
  if (!device.isOpen()) return std::string("/dev/fuse cannot be opened: ") + std::strerror(errno);
  struct stat mounter {};
  if (::geteuid() != 0) {
    const bool mayMount = ::stat("/usr/bin/fusermount3", &mounter) == 0 && (mounter.st_mode & S_ISUID) != 0;
    return mayMount ? "" : "fusermount3 is not here or may not mount";
  }
  const TemporaryFolder folder;
  const std::string options = "fd=" + std::to_string(device.get()) + ",rootmode=40000,user_id=0,group_id=0";
  if (::mount("probe", folder.path().c_str(), "fuse", 0, options.c_str()) != 0) {
    return std::string("mounting is not allowed: ") + std::strerror(errno);
  }
  ::umount2(folder.path().c_str(), MNT_DETACH);
  return {};
}

}  // namespace

ToolRun::ToolRun(const Path& tool, const std::vector<std::string>& arguments, const std::string& input)
    : child_({tool, arguments, input_, output_}) {
  (void)input_.write(input);  // refused when the tool has ended without reading, which its result shows
  input_.closeWriteEnd();
}

ToolResult ToolRun::result() {
  std::string output = output_.readToEnd();
  return {child_.waitForExit(), std::move(output)};
}

ImageTest::ImageTest(Tool tool) : tool_(tool) {
  ignoreBrokenPipes();
  fs::create_directory(folder_ / "fake-state");
  ::setenv("TAVRINE_FAKE_HDIUTIL", (folder_ / "fake-state").c_str(), 1);
}

ImageTest::~ImageTest() {
  for (const Attachment& one : attached()) {
    ADD_FAILURE_AT(__FILE__, __LINE__) << "left attached: " << one.mountPoint;
    (void)forceDetach(one.mountPoint);
  }
  if (::geteuid() != 0) openFolders(folder_.path());
}

Path ImageTest::tool() const {
  return tool_ == Tool::real ? TAVRINE_REAL_HDIUTIL : TAVRINE_FAKE_HDIUTIL;
}

ToolResult ImageTest::run(const std::vector<std::string>& arguments, const std::string& input) const {
  return ToolRun(tool(), arguments, input).result();
}

ToolResult ImageTest::create(const Path& image, const std::string& password, const std::string& volume) const {
  return run({"create", "-size", "2t", "-type", "SPARSEBUNDLE", "-fs", "APFS", "-encryption", "AES-256", "-stdinpass",
              "-volname", volume, "-quiet", image},
             password);
}

ToolResult ImageTest::attach(const Path& image, const Path& mountPoint, const std::string& password) const {
  return run({"attach", "-stdinpass", "-nobrowse", "-noautoopen", "-mountpoint", mountPoint, image}, password);
}

ToolResult ImageTest::attachReadOnly(const Path& image, const Path& mountPoint) const {
  return run({"attach", "-stdinpass", "-nobrowse", "-noautoopen", "-mountpoint", mountPoint, "-readonly", image},
             "secret");
}

ToolResult ImageTest::detach(const Path& mountPoint) const {
  return run({"detach", mountPoint, "-quiet"});
}

ToolResult ImageTest::forceDetach(const Path& mountPoint) const {
  return run({"detach", mountPoint, "-quiet", "-force"});
}

ToolResult ImageTest::changePassword(const Path& image, const std::string& from, const std::string& to) const {
  return run({"chpass", "-oldstdinpass", "-newstdinpass", image}, from + '\0' + to + '\0');
}

std::vector<Attachment> ImageTest::attached() const {
  const ToolResult info = run({"info", "-plist"});
  EXPECT_EQ(info.status, 0) << info.output;
  std::vector<Attachment> result;
  const auto list = PropertyList::parse(info.output);
  const PropertyList* images = list ? list->member("images") : nullptr;
  if (images == nullptr) ADD_FAILURE() << info.output;
  for (const PropertyList& image : images == nullptr ? PropertyList::List() : *images->list()) {
    for (const PropertyList& entity : *image.member("system-entities")->list()) {
      const std::string mountPoint = pathFromText(*entity.member("mount-point")->text());
      if (mountPoint.starts_with(folder_.path().string()))
        result.push_back({pathFromText(*image.member("image-path")->text()), mountPoint});
    }
  }
  std::sort(result.begin(), result.end());
  return result;
}

Path ImageTest::makeImage(const std::string& name) const {
  EXPECT_DONE(create(path(name + ".sparsebundle")));
  fs::rename(path(name + ".sparsebundle"), path(name + ".tavrlock"));
  return path(name + ".tavrlock");
}

Path ImageTest::makeFolder(const Path& name) const {
  fs::create_directories(path(name));
  return path(name);
}

bool ImageTest::opens(const Path& image, const std::string& password) const {
  const ToolResult result = changePassword(image, password, password);
  EXPECT_TRUE(result.status == 0 || result.output.find("Authentication error") != std::string::npos) << result.output;
  return result.status == 0;
}

std::string contentOf(const Path& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

void write(const Path& file, const std::string& content) {
  std::ofstream stream(file, std::ios::binary);
  stream << content << std::flush;
  EXPECT_TRUE(stream) << file << ": " << std::strerror(errno);
}

std::string reasonNotToMount() {
  static const std::string reason = tryMount();
  return reason;
}

}  // namespace tavrine
