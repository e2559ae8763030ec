#include "platform/linux/programs/hdiutil/gocryptfs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <regex>

#include "platform/file_manager.h"
#include "platform/linux/programs/hdiutil/image_bundle.h"
#include "platform/linux/programs/hdiutil/tool_error.h"

namespace tavrine {
namespace {

constexpr const char* program = "gocryptfs";
constexpr int wrongPasswordExit = 12;

/// Where the children find the image's folder: the descriptor behind their three streams.
constexpr const char* folderInChild = "/proc/self/fd/3/";

std::string inChild(const char* name) {
  return std::string(folderInChild) + name;
}

/// The arguments that say what is worked on: the key file (it lies outside the contents), then the contents.
void appendPlaces(std::vector<std::string>& command, const char* keyFile) {
  command.insert(command.end(), {"-config", inChild(keyFile), "--", inChild(bundle::contents)});
}

void run(int bundleFolder, std::vector<std::string> command, const FileDescriptor& input) {
  const OutputBuffer output;
  const int status = waitForChild(
      startChild({program, std::move(command), {input.get(), output.descriptor(), output.descriptor(), bundleFolder}}));
  if (status != 0) throw ToolError(failureText(status, output.text()));
}

/// The output as one line, without colours and without where the children find the image's folder.
std::string asOneLine(const std::string& output) {
  std::string line = std::regex_replace(output, std::regex("\033\\[[0-9;]*m"), "");
  for (size_t at = 0; (at = line.find(folderInChild)) != std::string::npos;) line.erase(at, std::strlen(folderInChild));
  line = std::regex_replace(line, std::regex("\n+$"), "");
  return std::regex_replace(line, std::regex("\n+"), "; ");
}

std::string readKeyFile(int bundleFolder) {
  try {
    return readFile(Path("/proc/self/fd") / std::to_string(bundleFolder) / bundle::keyFile);
  } catch (const std::filesystem::filesystem_error& error) {
    throw ToolError("cannot read the key file: " + error.code().message());
  }
}

void copyKeyFile(int bundleFolder) {
  const std::string key = readKeyFile(bundleFolder);
  const FileDescriptor copy(
      ::openat(bundleFolder, bundle::newKeyFile, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  errno = copy.isOpen() ? ENOSPC : errno;  // what a write that was cut short does not set
  if (!copy.isOpen() || ::write(copy.get(), key.data(), key.size()) != static_cast<ssize_t>(key.size())) {
    throw ToolError::system("cannot write the new key file");
  }
}

void syncEntry(int bundleFolder, const char* name) {
  const FileDescriptor file(::openat(bundleFolder, name, O_RDONLY | O_CLOEXEC));
  if (!file.isOpen() || ::fsync(file.get()) != 0) throw ToolError::system("cannot bring the new key to disk");
}

}  // namespace

void requireUsable(const Password& password) {
  const std::string& text = password.text();
  if (text.empty()) throw ToolError("the password is empty");
  if (text.find_first_of("\r\n") != std::string::npos) throw ToolError("a password cannot hold a line break");
  if (text.find('\0') != std::string::npos) throw ToolError("a password cannot hold a zero byte");
  if (text.size() > longestPassword) {
    throw ToolError("a password cannot be longer than " + std::to_string(longestPassword) + " bytes");
  }
}

FileDescriptor passwordPipe(const Password& password) {
  const Password line(password.text() + "\n");
  return pipeHolding(line.text());
}

void makeVolume(int bundleFolder, const Password& password) {
  std::vector<std::string> command = {program, "-init", "-q"};
#ifdef TAVRINE_CHEAP_KEYS  // only the tests' own build of the program: deriving a key is slow by design
  command.insert(command.end(), {"-scryptn", "10"});
#endif
  appendPlaces(command, bundle::keyFile);
  run(bundleFolder, std::move(command), passwordPipe(password));
}

void changeVolumePassword(int bundleFolder, const Password& from, const Password& to) {
  // The file system's own way of replacing its key file does not sync the folder, and its temporary file may be in its
  // own way after it was cut short. It gets a copy to work on.
  removeUnfinishedKeyFiles(bundleFolder);
  try {
    copyKeyFile(bundleFolder);
    std::vector<std::string> command = {program, "-passwd", "-q"};
    appendPlaces(command, bundle::newKeyFile);
    const Password lines(from.text() + "\n" + to.text() + "\n");
    run(bundleFolder, std::move(command), pipeHolding(lines.text()));
    syncEntry(bundleFolder, bundle::newKeyFile);
    if (::renameat(bundleFolder, bundle::newKeyFile, bundleFolder, bundle::keyFile) != 0) {
      throw ToolError::system("cannot replace the key file");
    }
  } catch (const ToolError&) {
    removeUnfinishedKeyFiles(bundleFolder);
    throw;
  }
  syncEntry(bundleFolder, ".");
}

pid_t startServer(const ServerLaunch& launch) {
  std::vector<std::string> command = {program, "-fsname",   launch.token, "-q",
                                      "-fg",   "-nosyslog", "-notifypid", std::to_string(::getpid())};
  if (launch.readOnly) command.emplace_back("-ro");
  appendPlaces(command, bundle::keyFile);
  command.push_back(launch.mountPoint);
  return startChild({program,
                     std::move(command),
                     {launch.password, launch.output, launch.output, launch.bundleFolder},
                     Launch::Life::ofItsOwn});
}

std::string serverCommandStart(const std::string& token) {
  using namespace std::string_literals;
  return program + "\0-fsname\0"s + token + '\0';
}

std::string failureText(int waitStatus, const std::string& output) {
  if (WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == wrongPasswordExit) return "Authentication error";
  if (WIFSIGNALED(waitStatus))
    return std::string(program) + " was ended by signal " + std::to_string(WTERMSIG(waitStatus));
  const std::string reason = asOneLine(output);
  return reason.empty() ? std::string(program) + " failed" : reason;
}

}  // namespace tavrine
