#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// Which processes hold files open in a folder or on a volume, by the system's open-file lister. Keeps no state; any
/// thread may call it. Reports no error: where the lister gives no answer, the answer is `unknown` and the worst is to
/// be assumed.
class OpenFiles final {
 public:
  OpenFiles() = delete;

  /// One process.
  struct Holder {
    std::string command;    ///< its name as the lister cuts it; may be empty
    bool isWriter = false;  ///< whether one of its files is open for writing
    int32_t pid = 0;
    bool operator==(const Holder&) const = default;
  };

  /// `known`, with the holders in the lister's order (none when nothing is open), or `unknown`.
  class Holders final {
   public:
    static Holders known(std::vector<Holder> holders) { return Holders(std::move(holders)); }
    static Holders unknown() { return Holders(std::nullopt); }

    /// Null when unknown.
    const std::vector<Holder>* list() const { return list_ ? &*list_ : nullptr; }

    bool operator==(const Holders&) const = default;

   private:
    explicit Holders(std::optional<std::vector<Holder>> list) : list_(std::move(list)) {}

    std::optional<std::vector<Holder>> list_;
  };

  using ExecutablePath = std::function<std::optional<std::string>(int32_t pid)>;

  /// The background services that may be pushed aside, by their names as the lister cuts them (at 31 characters).
  static const std::set<std::string, std::less<>>& autoEjectAllowlist();

  /// Where the program of such a service must lie.
  static constexpr std::array<std::string_view, 3> trustedExecutableRoots = {"/System/", "/usr/libexec/", "/usr/sbin/"};

  /// The lister's location.
  static Path lsofPath();

  /// Who holds files at `path`, or anywhere below it when it is a folder. Nobody where it does not exist.
  static Holders holders(const Path& path, double timeoutSeconds, const Path& lsofPath);

  /// The names of those that write.
  static std::vector<std::string> appNames(const Path& path, double timeoutSeconds);

  /// What a finished run of the lister tells.
  static Holders classify(int32_t status, bool timedOut, std::string_view output);

  /// The processes of the lister's field output.
  static std::vector<Holder> parse(std::string_view output);

  /// The names of the holders that write, each once.
  static std::vector<std::string> writerNames(const Holders& holders);

  /// The names to show when something cannot be ejected: those of the writers, else those of all but the background
  /// services.
  static std::vector<std::string> blockingNames(const Holders& holders);

  /// Whether there are holders and every one is a background service of the system that only reads.
  static bool safeToAutoEject(const Holders& holders, const ExecutablePath& executablePath);

  /// The path, in UTF-8, of the program that a process runs.
  static std::optional<std::string> executablePath(int32_t pid);
};

}  // namespace tavrine
