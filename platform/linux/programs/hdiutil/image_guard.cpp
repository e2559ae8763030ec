#include "platform/linux/programs/hdiutil/image_guard.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <string_view>

#include "platform/linux/directory_stream.h"
#include "platform/linux/programs/hdiutil/gocryptfs.h"
#include "platform/linux/programs/hdiutil/image_bundle.h"
#include "platform/linux/programs/hdiutil/served_volume.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/linux/programs/hdiutil/unmount.h"

namespace tavrine {
namespace {

// The descriptors a guard is started with, behind the three streams. The folder's number is what `ServingProcesses`
// looks for.
constexpr int folderDescriptor = 3;
constexpr int lineDescriptor = 4;

// What the two processes say to each other, each a message of its own. Any other text is the reason of a failure.
constexpr std::string_view volumeCame = "volume came";
constexpr std::string_view acknowledged = "acknowledged";

bool sendMessage(const FileDescriptor& line, std::string_view text) {
  return ::send(line.get(), text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

/// The next message; nothing when the other end is closed.
std::optional<std::string> receiveMessage(const FileDescriptor& line) {
  std::string text(16 * 1024, '\0');
  ssize_t count = -1;
  do {
    count = ::recv(line.get(), text.data(), text.size(), 0);
  } while (count < 0 && errno == EINTR);
  if (count <= 0) return std::nullopt;
  text.resize(static_cast<size_t>(count));
  return text;
}

/// What is left to do for the attaching process when its guard has died: without it nobody would take the volume away.
void takeBackAsAttacher(const GuardLaunch& launch) {
  constexpr std::chrono::seconds mostForEnd{10};
  const ServingProcesses processes({launch.token, launch.mountPoint, ::geteuid()});
  processes.killServer();
  (void)processes.waitForEnd(mostForEnd);  // the attach has failed whatever comes of this
  if (const auto volume = servedVolumeOf(launch.token)) unmountLazily(volume->mountPoint);
}

/// A guard as the attaching process sees it.
struct StartedGuard {
  pid_t pid;
  FileDescriptor line;
};

StartedGuard startGuard(const GuardLaunch& launch) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
    throw ToolError::system("cannot make a socket");
  FileDescriptor ours(ends[0]);
  const FileDescriptor theirs(ends[1]);
  const FileDescriptor null = nullDevice();
  const std::string access = launch.readOnly ? "ro" : "rw";
  const pid_t pid = startChild({"/proc/self/exe",
                                {"hdiutil", guardVerb, launch.token, access, launch.mountPoint},
                                {launch.password, null.get(), null.get(), launch.bundleFolder, theirs.get()},
                                Launch::Life::ofItsOwn});
  return {pid, std::move(ours)};
}

/// A running guard. It has one thread; signals reach it through a descriptor.
class Guard final {
 public:
  Guard(std::string token, Path mountPoint, bool readOnly)
      : token_(std::move(token)), mountPoint_(std::move(mountPoint)), readOnly_(readOnly), line_(lineDescriptor) {}

  int run() {
    watchSignals();
    server_ = startServer({folderDescriptor, STDIN_FILENO, output_.descriptor(), token_, mountPoint_, readOnly_});
    if (::dup2(STDOUT_FILENO, STDIN_FILENO) < 0) throw ToolError::system();  // the password is the server's alone
    const bool isKnown = awaitVolume() && sendMessage(line_, volumeCame) && receiveMessage(line_) == acknowledged;
    if (isKnown) {
      (void)line_.close();
      awaitUnmounting();
    } else {
      takeBack();
    }
    makeContentsUsable(folderDescriptor);
    return isKnown ? EXIT_SUCCESS : EXIT_FAILURE;
  }

 private:
  /// The end of a terminal or a login is not the end of an attached image: its server decides itself what the signals
  /// of these mean.
  void watchSignals() {
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, nullptr);
    sigset_t watched;
    ::sigemptyset(&watched);
    ::sigaddset(&watched, SIGCHLD);
    ::sigaddset(&watched, SIGUSR1);
    signals_ = FileDescriptor(::signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK));
    // What the server starts to do the mounting is to be waited for as well.
    if (!signals_.isOpen() || ::prctl(PR_SET_CHILD_SUBREAPER, 1) != 0)
      throw ToolError::system("cannot watch the server");
  }

  /// Waits for `descriptor` or a signal, and takes note of what the signals tell. Whether it was the descriptor.
  bool waitFor(int descriptor, short events) {
    pollfd watched[] = {{signals_.get(), POLLIN, 0}, {descriptor, events, 0}};
    (void)::poll(watched, 2, -1);  // every signal is blocked, so nothing interrupts it
    signalfd_siginfo signal{};
    while (::read(signals_.get(), &signal, sizeof signal) > 0) serverIsReady_ |= signal.ssi_signo == SIGUSR1;
    takeNoteOfEnds();
    return watched[1].revents != 0;
  }

  void takeNoteOfEnds() {
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, WNOHANG)) > 0;) {
      if (pid == server_) serverStatus_ = status;
    }
  }

  /// Whether the volume is there. When it does not come, says why on the line.
  bool awaitVolume() {
    while (!serverIsReady_ || !servedVolumeOf(token_)) {
      const bool isAbandoned = waitFor(line_.get(), POLLIN);  // nothing is said there yet but goodbye
      if (isAbandoned) return false;
      if (serverStatus_) {
        (void)sendMessage(line_, failureText(*serverStatus_, output_.text()));  // nobody may be left to hear it
        return false;
      }
    }
    output_.close();
    return true;
  }

  void awaitUnmounting() {
    const FileDescriptor changes = watchContents();
    const FileDescriptor table(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
    while (!serverStatus_) {
      if (waitFor(changes.get(), POLLIN)) keepContentsUsable(changes);
    }
    // A server that died leaves a mount behind that somebody has to take away.
    while (servedVolumeOf(token_)) (void)waitFor(table.get(), POLLPRI);
  }

  /// Tells of changed modes. Not open where the system has no more of these to give: then only the next attach sets
  /// things right.
  static FileDescriptor watchContents() {
    FileDescriptor changes(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    const std::string contents = "/proc/self/fd/" + std::to_string(folderDescriptor) + "/" + bundle::contents;
    (void)::inotify_add_watch(changes.get(), contents.c_str(), IN_ATTRIB);
    return changes;
  }

  static void keepContentsUsable(const FileDescriptor& changes) {
    std::array<char, 4096> ignored{};
    while (::read(changes.get(), ignored.data(), ignored.size()) > 0) {
    }
    try {
      makeContentsUsable(folderDescriptor);
    } catch (const ToolError&) {
      // The image was removed under its volume. The guard's work goes on until that is unmounted.
    }
  }

  void takeBack() {
    if (const auto volume = servedVolumeOf(token_)) unmountLazily(volume->mountPoint);
    if (!serverStatus_) ProcessHandle(server_).killBetweenCalls();
    // The server may have been mounting. Whoever did it for the server is a child of this process now.
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
    if (const auto volume = servedVolumeOf(token_)) unmountLazily(volume->mountPoint);
  }

  const std::string token_;
  const Path mountPoint_;
  const bool readOnly_;
  const OutputBuffer output_;
  FileDescriptor line_;
  FileDescriptor signals_;
  pid_t server_ = 0;
  bool serverIsReady_ = false;
  std::optional<int> serverStatus_;
};

}  // namespace

void attachGuarded(const GuardLaunch& launch) {
  StartedGuard guard = startGuard(launch);
  const auto answer = receiveMessage(guard.line);
  // What came into the folder while the volume was on its way would be hidden by it.
  const bool hidesNothing = isEmptyFolder(launch.mountFolder);
  if (answer == volumeCame && hidesNothing && sendMessage(guard.line, acknowledged)) return;
  (void)guard.line.close();
  (void)waitForChild(guard.pid);  // it holds the image until it has tidied up
  if (!hidesNothing) throw ToolError("the mount point is not empty");
  if (answer && answer != volumeCame) throw ToolError(*answer);
  takeBackAsAttacher(launch);
  throw ToolError("the process that looks after the image has died");
}

bool isEmptyFolder(int folder) {
  // Through the descriptor and not by its path, which may show something else by now.
  const DirectoryStream entries = entriesOf(folder);
  if (!entries) throw ToolError::system("the mount point cannot be used");
  const dirent* entry = nullptr;
  do {
    entry = ::readdir(entries.get());  // NOLINT(concurrency-mt-unsafe): the stream is ours alone
  } while (entry != nullptr && (std::string_view(entry->d_name) == "." || std::string_view(entry->d_name) == ".."));
  return entry == nullptr;
}

int runGuard(const std::vector<std::string>& words) {
  constexpr size_t wordsOfGuard = 4;
  if (words.size() != wordsOfGuard) return EXIT_FAILURE;
  ::prctl(PR_SET_NAME, "hdiutil");  // the way it was started names it after the link to the program
  try {
    return Guard(words[1], words[3], words[2] == "ro").run();
  } catch (const std::exception&) {
    return EXIT_FAILURE;  // nobody listens; the attaching process sees the line closed
  }
}

}  // namespace tavrine
