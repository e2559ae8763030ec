#include "platform/linux/programs/hdiutil/arguments.h"

#include <algorithm>
#include <filesystem>

#include "platform/linux/programs/hdiutil/tool_error.h"

namespace tavrine {
namespace {

struct Option {
  enum class Value { none, any, fixed, size };
  enum class Presence { optional, required };

  std::string_view name;
  Presence presence = Presence::optional;
  Value value = Value::none;
  std::string_view fixed = {};
};

struct Verb {
  std::string_view name;
  std::string_view path;  ///< what its one other word names; empty for none
  std::vector<Option> options;
};

constexpr auto required = Option::Presence::required;
constexpr auto optional = Option::Presence::optional;

const std::vector<Verb>& verbs() {
  static const std::vector<Verb> all = {
      {"create",
       "image",
       {{"-size", required, Option::Value::size},
        {"-type", required, Option::Value::fixed, "SPARSEBUNDLE"},
        {"-fs", required, Option::Value::fixed, "APFS"},
        {"-encryption", required, Option::Value::fixed, "AES-256"},
        {"-stdinpass", required},
        {"-volname", required, Option::Value::any},
        {"-quiet"}}},
      {"attach",
       "image",
       {{"-stdinpass", required},
        {"-mountpoint", required, Option::Value::any},
        {"-nobrowse"},
        {"-noautoopen"},
        {"-readonly"},
        {"-quiet"}}},
      {"detach", "mount point", {{"-quiet"}, {"-force"}}},
      {"chpass", "image", {{"-oldstdinpass", required}, {"-newstdinpass", required}}},
      {"info", "", {{"-plist", required}}},
  };
  return all;
}

template <typename Named>
const Named* named(const std::vector<Named>& all, std::string_view name) {
  const auto found = std::find_if(all.begin(), all.end(), [name](const Named& one) { return one.name == name; });
  return found == all.end() ? nullptr : &*found;
}

/// Digits and a unit, as "2t". The size is no limit here: a volume grows with the disk it lies on.
bool isSize(std::string_view text) {
  constexpr std::string_view units = "bkmgtpe";
  if (text.size() < 2 || units.find(text.back()) == std::string_view::npos) return false;
  return text.find_first_not_of("0123456789") == text.size() - 1;
}

void requireGoodValue(const Option& option, std::string_view value) {
  const std::string name(option.name);
  if (option.value == Option::Value::size && !isSize(value)) throw ToolError(name + " wants digits and a unit, as 2t");
  if (option.value == Option::Value::fixed && value != option.fixed) {
    throw ToolError(name + " can only be " + std::string(option.fixed));
  }
  if (value.empty()) throw ToolError(name + " is empty");
}

/// Walks the words behind the verb.
class Reader final {
 public:
  Reader(const Verb& verb, const std::vector<std::string>& words) : verb_(verb), words_(words) {}

  Arguments read() {
    result_.verb = verb_.name;
    for (at_ = 1; at_ < words_.size(); ++at_) {
      const Option* option = named(verb_.options, words_[at_]);
      option == nullptr ? takePath() : takeOption(*option);
    }
    requireAll();
    return result_;
  }

 private:
  void takeOption(const Option& option) {
    std::string value;
    if (option.value != Option::Value::none) {
      if (++at_ == words_.size()) fail(std::string(option.name) + " needs a value");
      value = words_[at_];
      requireGoodValue(option, value);
    }
    if (!result_.options.emplace(option.name, value).second) fail(std::string(option.name) + " is there twice");
  }

  void takePath() {
    const std::string& word = words_[at_];
    if (word.starts_with('-') || verb_.path.empty() || !result_.path.empty()) fail("unknown argument \"" + word + "\"");
    if (word.empty()) fail("the path of the " + std::string(verb_.path) + " is empty");
    result_.path = withoutSlashAtEnd(std::filesystem::absolute(word));
  }

  void requireAll() const {
    for (const Option& option : verb_.options) {
      if (option.presence == required && !result_.has(option.name)) fail(std::string(option.name) + " is missing");
    }
    if (!verb_.path.empty() && result_.path.empty()) fail("the path of the " + std::string(verb_.path) + " is missing");
  }

  [[noreturn]] void fail(const std::string& what) const { throw ToolError(std::string(verb_.name) + ": " + what); }

  const Verb& verb_;
  const std::vector<std::string>& words_;
  size_t at_ = 0;
  Arguments result_;
};

}  // namespace

Arguments parseArguments(const std::vector<std::string>& words) {
  if (words.empty()) throw ToolError("no verb given; --help lists them");
  const Verb* verb = named(verbs(), words.front());
  if (verb == nullptr) throw ToolError("unknown verb \"" + words.front() + "\"; --help lists them");
  return Reader(*verb, words).read();
}

std::string_view helpText() {
  return R"(Creates, opens and closes encrypted disk images. An image is a folder; what it holds is an encrypted file system.

  hdiutil create -size 2t -type SPARSEBUNDLE -fs APFS -encryption AES-256 -stdinpass -volname NAME [-quiet] IMAGE
      Makes the image IMAGE.sparsebundle. The size is no limit (the volume grows with the disk) and NAME is not stored.
  hdiutil attach -stdinpass -mountpoint DIR [-nobrowse] [-noautoopen] [-readonly] [-quiet] IMAGE
      Shows the contents of the image in DIR, an empty folder.
  hdiutil detach DIR [-quiet] [-force]
      Closes the image shown in DIR. Everything is on disk when it returns. Without -force, a volume in use stays open
      (exit 16); with it, programs that use the volume lose it.
  hdiutil chpass -oldstdinpass -newstdinpass IMAGE
      Changes the password of an image that is not attached.
  hdiutil info -plist
      Lists the attached images and where they are shown, as a property list.

Passwords come on standard input, with nothing behind them; chpass takes the old and the new one, each with a zero
byte behind it. Exit codes: 0 done, 1 failed (one line says why), 16 in use.
)";
}

}  // namespace tavrine
