// A disk image tool for tests: the arguments, exit codes and messages of the real one, but no mount and no slow keys,
// so that a run takes milliseconds and no rights. Attaching moves an image's contents over the empty mount point. It is
// stricter than the real one: it takes the options in their documented order alone, and notices when a read-only volume
// was changed.
//
// TAVRINE_FAKE_HDIUTIL names a folder of the test. In it:
//   calls     one JSON object per run: {"arguments": [...], "input": "..."}
//   control   written by the test, one line per coming run that is to fail: VERB STATUS MESSAGE. The first line whose
//   VERB is that of a
//             run is taken out; the run prints MESSAGE and ends with STATUS, without doing anything, or, when a +
//             stands behind the VERB, after it has done its work. A forced detach goes by the name of detach-force.
//   attached  what is attached now
// Images are looked for in the folder that holds that folder when they are not where they were.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "platform/file_manager.h"
#include "platform/path_text.h"
#include "platform/uuid.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Words = std::vector<std::string>;

constexpr const char* descriptionName = "fake-image.json";
constexpr const char* contentsName = "contents";

struct Failure {
  int status;
  std::string message;
};

[[noreturn]] void fail(const std::string& message) {
  throw Failure{1, "hdiutil: " + message};
}

fs::path stateFolder() {
  const char* folder = std::getenv("TAVRINE_FAKE_HDIUTIL");
  if (folder == nullptr) fail("TAVRINE_FAKE_HDIUTIL is not set");
  return folder;
}

json readJson(const fs::path& path, const json& missing) {
  return fs::exists(path) ? json::parse(readFile(path)) : missing;
}

void writeJson(const fs::path& path, const json& value) {
  std::ofstream(path, std::ios::trunc) << value.dump();
}

// The command line. "*" takes any word, a word in brackets may be missing.
const std::vector<Words>& forms() {
  static const std::vector<Words> all = {
      {"create", "-size", "2t", "-type", "SPARSEBUNDLE", "-fs", "APFS", "-encryption", "AES-256", "-stdinpass",
       "-volname", "*", "-quiet", "*"},
      {"attach", "-stdinpass", "-nobrowse", "-noautoopen", "-mountpoint", "*", "[-readonly]", "*"},
      {"detach", "*", "-quiet", "[-force]"},
      {"chpass", "-oldstdinpass", "-newstdinpass", "*"},
      {"info", "-plist"},
  };
  return all;
}

/// The words that the form's stars stand for; nothing where the words are not of the form.
std::optional<Words> match(const Words& form, const Words& words) {
  Words taken;
  size_t at = 0;
  for (const std::string& part : form) {
    const bool mayMiss = part.front() == '[';
    const std::string wanted = mayMiss ? part.substr(1, part.size() - 2) : part;
    const bool isThere = at < words.size() && (wanted == "*" || words[at] == wanted);
    if (!isThere && !mayMiss) return std::nullopt;
    if (!isThere) continue;
    if (wanted == "*") taken.push_back(words[at]);
    ++at;
  }
  return at == words.size() ? std::optional(taken) : std::nullopt;
}

void requireUsable(const std::string& password) {
  if (password.empty()) fail("the password is empty");
  if (password.find_first_of(std::string("\r\n\0", 3)) != std::string::npos)
    fail("a password cannot hold a line break or zero byte");
}

/// Names, kinds, sizes and times of all below `folder`, as text: changed by whoever changes something there.
std::string fingerprint(const fs::path& folder) {
  std::ostringstream text;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    struct stat status {};
    if (::lstat(entry.path().c_str(), &status) != 0) fail("cannot look at " + entry.path().string());
    text << entry.path().lexically_relative(folder).string() << ' ' << status.st_mode << ' ' << status.st_size << ' '
         << status.st_ctim.tv_sec << '.' << status.st_ctim.tv_nsec << '\n';
  }
  return textFromPath(text.str());
}

bool isImage(const fs::path& path, const std::string& identifier) {
  const fs::path description = path / descriptionName;
  return fs::exists(description) && json::parse(readFile(description)).at("identifier") == identifier;
}

/// What is attached, and where the images are now.
class Attached final {
 public:
  Attached() : entries_(readJson(stateFolder() / "attached", json::array())) {
    for (json& entry : entries_) entry["image"] = presentPath(entry.at("image"), entry.at("identifier"));
  }

  const json& entries() const { return entries_; }

  bool hasImage(const std::string& identifier) const { return find("identifier", identifier) != entries_.end(); }

  std::optional<json> at(const fs::path& mountPoint) const {
    const auto found = find("mount-point", textFromPath(mountPoint.string()));
    return found == entries_.end() ? std::nullopt : std::optional(*found);
  }

  void add(const json& entry) { entries_.push_back(entry), save(); }

  void remove(const fs::path& mountPoint) {
    entries_.erase(find("mount-point", textFromPath(mountPoint.string()))), save();
  }

 private:
  json::const_iterator find(const char* key, const std::string& value) const {
    return std::find_if(entries_.begin(), entries_.end(), [&](const json& entry) { return entry.at(key) == value; });
  }

  static std::string presentPath(const std::string& before, const std::string& identifier) {
    if (isImage(pathFromText(before), identifier)) return before;
    for (const auto& entry : fs::recursive_directory_iterator(stateFolder().parent_path())) {
      if (entry.is_directory() && isImage(entry.path(), identifier)) return textFromPath(entry.path().string());
    }
    fail("an attached image is gone: " + before);
  }

  void save() const { writeJson(stateFolder() / "attached", entries_); }

  json entries_;
};

json descriptionOf(const fs::path& image) {
  if (!fs::exists(image)) fail("No such file or directory");
  if (!fs::exists(image / descriptionName)) fail("image not recognized");
  json description = json::parse(readFile(image / descriptionName));
  if (Attached().hasImage(description.at("identifier"))) fail("the image is attached already");
  return description;
}

void create(const fs::path& image, const std::string& password) {
  if (image.extension() != ".sparsebundle") fail("the image's name must end in .sparsebundle");
  requireUsable(password);
  if (!fs::create_directory(image)) fail("create failed - File exists");
  fs::permissions(image, fs::perms::owner_all);
  fs::create_directory(image / contentsName);
  fs::permissions(image / contentsName, fs::perms::owner_all);
  writeJson(image / descriptionName, {{"identifier", Uuid::random().text()}, {"password", password}});
}

void attach(const fs::path& mountPoint, const fs::path& image, const std::string& password, bool readOnly) {
  requireUsable(password);
  if (Attached().at(mountPoint)) fail("attach failed - something is mounted on the mount point already");
  if (!fs::is_directory(mountPoint) || !fs::is_empty(mountPoint))
    fail("attach failed - the mount point is not an empty folder");
  const json description = descriptionOf(image);
  if (description.at("password") != password) fail("attach failed - Authentication error");
  fs::rename(image / contentsName, mountPoint);
  Attached().add({{"image", textFromPath(fs::canonical(image).string())},
                  {"identifier", description.at("identifier")},
                  {"mount-point", textFromPath(mountPoint.string())},
                  {"read-only", readOnly},
                  {"before", readOnly ? fingerprint(mountPoint) : ""}});
}

void detach(const fs::path& mountPoint) {
  Attached attached;
  const auto entry = attached.at(mountPoint);
  if (!entry) fail("detach failed - no image is attached there");
  if (entry->at("read-only") && entry->at("before") != fingerprint(mountPoint)) fail("a read-only volume was changed");
  fs::rename(mountPoint, fs::path(pathFromText(entry->at("image").get<std::string>())) / contentsName);
  fs::create_directory(mountPoint);
  fs::permissions(mountPoint, fs::perms::owner_all);
  attached.remove(mountPoint);
}

void changePassword(const fs::path& image, const std::string& input) {
  const size_t first = input.find('\0');
  if (first == std::string::npos || input.find('\0', first + 1) != input.size() - 1)
    fail("standard input must hold two passwords");
  json description = descriptionOf(image);
  if (description.at("password") != input.substr(0, first)) fail("chpass failed - Authentication error");
  const std::string password = input.substr(first + 1, input.size() - first - 2);
  requireUsable(password);
  description["password"] = password;
  replaceFile(image / descriptionName, description.dump());
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) result += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
  return result;
}

void printInfo() {
  const Attached attached;
  std::cout << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>images</key><array>";
  for (const json& entry : attached.entries()) {
    std::cout << "<dict><key>image-path</key><string>" << escaped(entry.at("image"))
              << "</string><key>system-entities</key><array><dict><key>mount-point</key><string>"
              << escaped(entry.at("mount-point")) << "</string></dict></array></dict>";
  }
  std::cout << "</array></dict></plist>\n";
}

/// What the test wants to go wrong in a run of the verb; takes it out of the list.
std::optional<Failure> scripted(const std::string& verb) {
  const fs::path control = stateFolder() / "control";
  std::ifstream file(control);
  std::ostringstream rest;
  std::optional<Failure> found;
  for (std::string line; std::getline(file, line);) {
    if (found || !line.starts_with(verb + " ")) {
      rest << line << '\n';
      continue;
    }
    std::istringstream words(line.substr(verb.size() + 1));
    found.emplace();
    words >> found->status >> std::ws;
    std::getline(words, found->message);
  }
  if (found) std::ofstream(control, std::ios::trunc) << rest.str();
  return found;
}

void record(const Words& words, const std::string& input) {
  const json call = {{"arguments", words}, {"input", input}};
  std::ofstream(stateFolder() / "calls", std::ios::app)
      << call.dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
}

void work(const Words& words, const Words& taken, const std::string& input) {
  const auto has = [&words](const char* option) {
    return std::find(words.begin(), words.end(), option) != words.end();
  };
  if (words[0] == "create") return create(taken[1], input);
  if (words[0] == "attach") return attach(taken[0], taken[1], input, has("-readonly"));
  if (words[0] == "detach") return detach(taken[0]);
  if (words[0] == "chpass") return changePassword(taken[0], input);
  return printInfo();
}

void run(const Words& words) {
  const int lock = ::open(stateFolder().c_str(), O_RDONLY | O_CLOEXEC);  // one run at a time, until this process ends
  if (lock < 0 || ::flock(lock, LOCK_EX) != 0) fail("cannot lock " + stateFolder().string());
  const bool takesInput = !words.empty() && words[0] != "detach" && words[0] != "info";
  const std::string input = takesInput ? std::string(std::istreambuf_iterator<char>(std::cin), {}) : "";
  record(words, input);
  for (const Words& form : forms()) {
    const auto taken = match(form, words);
    if (!taken) continue;
    const std::string verb = words.back() == "-force" ? words[0] + "-force" : words[0];
    if (const auto failure = scripted(verb)) throw *failure;
    work(words, *taken, input);
    if (const auto failure = scripted(verb + "+")) throw *failure;
    return;
  }
  fail("unknown or misplaced arguments");
}

}  // namespace
}  // namespace tavrine

int main(int count, char** words) {
  try {
    tavrine::run({words + 1, words + count});
    return EXIT_SUCCESS;
  } catch (const tavrine::Failure& failure) {
    std::cerr << failure.message << '\n';
    return failure.status;
  } catch (const std::exception& error) {
    std::cerr << "hdiutil: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
