#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// What the file manager, or any other program, asks Tavrine to do: one action and the items it is for, carried as a
/// URL "tavrine://lock?path=%2Fa&path=%2Fb". Pure logic: it looks at no file. Equal when action and paths are.
class TavrineCommand final {
 public:
  enum class Action { lock, unlock, lockNow, removeLock, reveal };

  static constexpr std::string_view scheme = "tavrine";
  static constexpr std::string_view testSender = "com.orvandel.tavrine.e2e";
  static const std::set<std::string, std::less<>>& trustedSenders();

  /// Paths are absolute; slashes at their end are dropped.
  static TavrineCommand lock(std::vector<Path> paths);
  static TavrineCommand unlock(Path path);
  static TavrineCommand lockNow(std::vector<Path> paths);
  static TavrineCommand removeLock(Path path);
  static TavrineCommand reveal(Path path);

  /// The command a URL carries; nothing for a URL that is no well-formed command. Never throws for what the URL holds,
  /// never repairs.
  static std::optional<TavrineCommand> parse(std::string_view url);

  Action action() const { return action_; }

  /// The items, in order; one for all but `lock` and `lockNow`.
  const std::vector<Path>& paths() const { return paths_; }

  /// The URL that `parse` turns back into this command. The bytes of each path are percent-encoded, UTF-8 or not.
  std::string url() const;

  /// Whether the user must approve the command before it runs: `lock` and `lockNow` from anyone but our own programs.
  /// `sender` is the signing identifier of the program that sent it, nothing when unknown; `testOverride` trusts
  /// `testSender` as well.
  bool needsConfirmation(const std::optional<std::string>& sender, bool testOverride) const;

  /// The question to the user, in UTF-8, with the items' names in it.
  std::string confirmationQuestion() const;

  /// Paths are compared as text: "/a//b" is not "/a/b".
  bool operator==(const TavrineCommand& other) const;

 private:
  TavrineCommand(Action action, std::vector<Path> paths);

  Action action_;
  std::vector<Path> paths_;
};

}  // namespace tavrine
