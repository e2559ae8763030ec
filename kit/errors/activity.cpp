#include "kit/errors/activity.h"

#include <algorithm>
#include <utility>

#include "kit/errors/tavrine_error.h"
#include "platform/text.h"

namespace tavrine {

Uuid Activity::begin(std::string description) {
  running_.push_back({Uuid::random(), std::move(description)});
  return running_.back().id;
}

void Activity::end(const Uuid& id) {
  std::erase_if(running_, [&id](const Work& work) { return work.id == id; });
}

std::vector<std::string> Activity::descriptions() const {
  std::vector<std::string> result;
  std::transform(running_.begin(), running_.end(), std::back_inserter(result),
                 [](const Work& work) { return work.description; });
  return result;
}

std::optional<std::string> Activity::passwordChangeRefusal() const {
  if (!isIdle()) return passwordChangeRefusal(descriptions());
  if (isQuitting_) return std::string(quittingRefusal);
  return std::nullopt;
}

std::string Activity::passwordChangeRefusal(const std::vector<std::string>& descriptions) {
  if (descriptions.empty()) return "Wait until Tavrine finishes, then try again.";
  return "Wait until Tavrine finishes " + repairedUtf8(TavrineError::list(descriptions)) + ", then try again.";
}

std::string Activity::quitQuestion(const std::vector<std::string>& descriptions) {
  if (descriptions.empty()) return "Tavrine is still working. Quit when it finishes?";
  return "Tavrine is still " + repairedUtf8(TavrineError::list(descriptions)) + ". Quit when it finishes?";
}

}  // namespace tavrine
