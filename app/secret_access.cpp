#include "app/secret_access.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "app/shown_text.h"
#include "kit/errors/tavrine_error.h"
#include "platform/uuid.h"

namespace tavrine {
namespace {

constexpr std::string_view prompt = "Password: ";

/// An empty folder to attach an image at, below the mounts root: what a crash leaves attached there is detached by the
/// next recovery. Gone at the end unless something is attached.
class CheckMountPoint final {
 public:
  explicit CheckMountPoint(const Locker& locker) : path_(locker.mountsRoot / Uuid::random().text()) {
    locker.makeMountPoint(path_);
  }
  CheckMountPoint(const CheckMountPoint&) = delete;
  CheckMountPoint& operator=(const CheckMountPoint&) = delete;
  ~CheckMountPoint() {
    std::error_code ignored;  // recovery removes what is left
    std::filesystem::remove(path_, ignored);
  }

  const Path& path() const { return path_; }

 private:
  const Path path_;
};

enum class Check { opens, wrongPassword, impossible };

Check check(const Locker& locker, const Path& image, const Password& password) {
  const CheckMountPoint mountPoint(locker);
  try {
    locker.tool.attach({image, mountPoint.path(), password, DiskImageTool::Access::readOnly});
  } catch (const TavrineError& error) {  // damaged, or attached already
    return error.kind() == TavrineError::Case::wrongPassword ? Check::wrongPassword : Check::impossible;
  }
  // By force, since nothing was written that this could cut off.
  locker.tool.detach(mountPoint.path(), DiskImageTool::Force::yes);
  return Check::opens;
}

std::vector<Path> imagesOf(const std::vector<LockedItem>& items) {
  std::vector<Path> images;
  for (const LockedItem& item : items) {
    if (auto image = ItemIndex::locate(item)) images.push_back(*std::move(image));
  }
  return images;
}

/// Throws unless the password opens one of the images, which are tried in this order.
void requireOpensOne(const Locker& locker, const std::vector<Path>& images, const Password& password,
                     const PasswordSource& passwords) {
  bool isWrong = false;
  for (const Path& image : images) {
    if (passwords.isStopped()) throw TavrineError::cancelled();
    const Check result = check(locker, image, password);
    if (result == Check::opens) return;
    if (result == Check::wrongPassword) isWrong = true;
  }
  if (isWrong) throw TavrineError::wrongPassword();
  throw std::runtime_error(
      "The password store is missing or damaged, and no locked item can be opened to check the password. Lock every "
      "unlocked item, or connect the drive that holds a locked one, then try again.");
}

}  // namespace

SecretAccess::SecretAccess(const Options& options, PasswordSource& passwords, std::ostream& messages)
    : index_(options.supportDirectory / ItemIndex::fileName),
      images_(options.images),
      store_(options.supportDirectory, options.cost),
      passwords_(passwords),
      messages_(messages) {}

void SecretAccess::ask() {
  if (store_.state() == SecretStore::State::present) {
    openedBytes_ = store_.bytes();
    password_ = passwords_.password(prompt);
    opened_ = store_.open(*password_);
    if (!opened_) throw TavrineError::wrongPassword();
  } else if (isFirstUse() && !images_.empty()) {
    password_ = passwords_.password(prompt);
  } else if (isFirstUse()) {
    if (passwords_.isInteractive()) {
      messages_ << "Choose a password. Without it, nobody can unlock what you lock." << std::endl;
      if (!index_.peek()) {
        messages_
            << "Your list of locked items is damaged: if you have locked something before, take the password it has."
            << std::endl;
      }
    }
    password_ = passwords_.newPassword("New password: ");
    isNew_ = true;
  } else {
    messages_ << "The password store is missing or damaged. A new one is made once your password opens a locked item."
              << std::endl;
    password_ = passwords_.password(prompt);
  }
}

bool SecretAccess::isFirstUse() const {
  const auto items = index_.peek();
  return !items || items->empty();  // recovery starts a new list where this one is damaged
}

StoredSecret SecretAccess::take(const Locker& locker) {
  const SecretStore::State state = store_.state();
  if (state == SecretStore::State::present) return takeStored();
  StoredSecret secret = newSecret(locker);
  if (state == SecretStore::State::damaged) {
    const Path aside = store_.setAside();
    messages_ << "The damaged password store is kept as " << shownText(aside.string()) << '.' << std::endl;
  }
  store_.save(secret);
  return secret;
}

StoredSecret SecretAccess::takeStored() const {
  if (opened_ && store_.bytes() == openedBytes_) return *opened_;
  auto secret = store_.open(*password_);
  if (!secret) throw TavrineError::wrongPassword();
  return *std::move(secret);
}

StoredSecret SecretAccess::newSecret(const Locker& locker) const {
  if (opened_) return *opened_;  // the store was lost since: it is still known whole
  std::vector<LockedItem> items = locker.index.load();
  if (items.empty()) {
    if (!isNew_ && !images_.empty()) requireOpensOne(locker, images_, *password_, passwords_);
    if (isNew_ || !images_.empty()) return {*password_, 1, std::nullopt, {}};
    // Asked for once only: a slip would lock everything with a password that nobody knows.
    throw std::runtime_error("The list of locked items has changed meanwhile. Try again.");
  }
  std::stable_sort(items.begin(), items.end(), [](const LockedItem& left, const LockedItem& right) {
    return left.passwordGeneration > right.passwordGeneration;
  });
  requireOpensOne(locker, imagesOf(items), *password_, passwords_);
  return {*password_, std::max<int64_t>(1, items.front().passwordGeneration), std::nullopt, {}};
}

}  // namespace tavrine
