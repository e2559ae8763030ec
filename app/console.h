#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "app/failure.h"
#include "app/json_line.h"
#include "app/request.h"
#include "platform/paths.h"

namespace tavrine {

/// What the program says: results on standard output, everything else on standard error; with `--json` all of it as one
/// object per line on standard output. Terminals get names escaped, pipes get their exact bytes. A stream that cannot
/// be written to stops nothing. Any thread may call it.
class Console final {
 public:
  explicit Console(const Request& request);

  /// What a command did; left out by `--quiet`.
  void result(const std::string& text, const JsonLine& json);
  /// What a command was asked to tell.
  void answer(const std::string& text, const JsonLine& json);

  void warning(const std::string& text);
  void notice(const std::string& title, const std::string& body);
  void failure(const std::optional<Path>& item, const Failure& failure);
  /// A remark on what goes on; not part of `--json`.
  void remark(const std::string& text);

  /// Whether there is a terminal to show progress on, and the user wants it.
  bool showsProgress() const { return showsProgress_; }
  /// Puts a line in place of the last such line; an empty one takes it away. Every other text takes it away too.
  void progress(const std::string& line);

  /// How `text` is shown on standard output.
  std::string shown(const std::string& text) const;
  bool isForPeople() const { return outIsTerminal_ && !json_; }

  /// Whether everything for standard output could be written.
  bool isWritten() const;

 private:
  enum class Mark { failure, plain };

  void writeOut(const std::string& line);
  void writeError(Mark mark, const std::string& text);
  void clearProgress();

  const bool json_;
  const bool quiet_;
  const bool outIsTerminal_;
  const bool errorIsTerminal_;
  const bool usesColor_;
  const bool showsProgress_;
  mutable std::mutex lock_;
  bool hasProgress_ = false;
};

}  // namespace tavrine
