#include "kit/engine/locker.h"

#include "platform/platform_places.h"

namespace tavrine {
namespace {

LockPolicy policyOf(const Locker::Places& places, const Path& mountsRoot) {
  LockPolicy policy = LockPolicy::of(places.home, mountsRoot, places.appBundle);
  policy.further.places = platformPlaces(policy.home);
  policy.further.ownPlaces = ownProgramPlaces();
  if (policy.appBundle) policy.further.ownPlaces.push_back(*policy.appBundle);
  // Locked, the list of locked items would be gone from under the engine.
  policy.further.ownPlaces.push_back(realPath(places.supportDirectory).string());
  return policy;
}

}  // namespace

Locker::Locker(const Places& places, DiskImageTool imageTool)
    : tool(std::move(imageTool)),
      index(places.supportDirectory / "items.json"),
      journal(places.supportDirectory / "operations.json"),
      mountsRoot(places.supportDirectory / "Open"),
      policy(policyOf(places, mountsRoot)) {}

}  // namespace tavrine
