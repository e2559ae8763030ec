#include "platform/linux/programs/lsof/target.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/paths.h"

namespace tavrine {
namespace {

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return status;
  if (errno == ENOENT || errno == ENOTDIR) throw std::system_error(errno, std::generic_category(), path);
  return std::nullopt;
}

std::string deviceText(dev_t device) {
  char text[24];
  (void)std::snprintf(text, sizeof text, "%02x:%02x", major(device), minor(device));  // fits: two numbers of 32 bits
  return text;
}

}  // namespace

Target::Target(const std::string& path, Extent extent) : extent_(extent), status_(statusOf(path)) {
  if (status_) {
    device_ = deviceText(status_->st_dev);
    inode_ = std::to_string(status_->st_ino);
  }
  const std::string place = canonicalPath(std::filesystem::absolute(path));
  const auto self = ProcFolder::open("/proc/self");
  const auto mounts = self ? self->content("mountinfo") : std::nullopt;
  const auto space = self ? self->link("ns/mnt") : std::nullopt;
  if (!mounts || !space) throw std::system_error(ENOENT, std::generic_category(), "/proc");
  const std::vector<Mount> table = parseMountTable(*mounts);
  location_ = locate(table, place);
  auto& places = places_[*space];
  places = placesOf(location_, table);
  if (std::find(places.begin(), places.end(), place) == places.end()) places.push_back(place);
}

const std::vector<std::string>* Target::placesSeenBy(const ProcFolder& process) {
  const auto space = process.link("ns/mnt");
  if (!space) return nullptr;
  const auto known = places_.find(*space);
  if (known != places_.end()) return &known->second;
  const auto mounts = process.content("mountinfo");
  if (!mounts) return nullptr;
  return &places_.emplace(*space, placesOf(location_, parseMountTable(*mounts))).first->second;
}

Target::Match Target::match(std::string_view path, const std::vector<std::string>& places) const {
  for (const std::string& place : places) {
    if (path == place) return Match::itself;
    if (extent_ == Extent::tree && isWithin(path, place)) return Match::below;
  }
  return Match::none;
}

bool Target::isFile(const struct stat& status) const {
  return status_ && status.st_dev == status_->st_dev && status.st_ino == status_->st_ino;
}

}  // namespace tavrine
