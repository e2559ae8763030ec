#include "platform/linux/programs/ditto/hard_links.h"

#include <utility>

namespace tavrine {

HardLinks::Claim HardLinks::claim(const struct stat& status) {
  const std::lock_guard lock(mutex_);
  const auto [place, isFirst] = records_.try_emplace({status.st_dev, status.st_ino});
  if (isFirst) place->second = std::make_shared<Record>();
  const std::shared_ptr<Record> record = place->second;
  if (++record->namesMet >= status.st_nlink) records_.erase(place);
  return {*this, record, isFirst};
}

void HardLinks::Claim::settle(State state, std::string path) {
  const std::lock_guard lock(links_.mutex_);
  record_->state = state;
  record_->path = std::move(path);
  isSettled_ = true;
  links_.settled_.notify_all();
}

void HardLinks::Claim::copied(std::string path) {
  settle(State::copied, std::move(path));
}

HardLinks::Claim::~Claim() {
  if (isFirst_ && !isSettled_) settle(State::failed, "");
}

std::optional<std::string> HardLinks::Claim::waitForCopy() const {
  std::unique_lock lock(links_.mutex_);
  links_.settled_.wait(lock, [this] { return record_->state != State::copying; });
  if (record_->state == State::failed) return std::nullopt;
  return record_->path;
}

}  // namespace tavrine
