#include <iostream>
#include <map>

#include "platform/linux/programs/hdiutil/property_list_writer.h"
#include "platform/linux/programs/hdiutil/served_volume.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/linux/programs/hdiutil/verbs.h"
#include "platform/path_text.h"

namespace tavrine {
namespace {

std::string imageEntry(const Path& image, const std::vector<std::string>& volumes) {
  return plistDictionary(
      {{"image-path", plistText(textFromPath(image.string()))}, {"system-entities", plistList(volumes)}});
}

}  // namespace

void printAttachedImages(const Arguments&) {
  // One volume may be shown in several places, when somebody has bound it elsewhere: one image with several entities.
  std::vector<ServedVolume> firsts;
  std::map<std::string, std::vector<std::string>> entities;
  for (const ServedVolume& volume : servedVolumes()) {
    std::vector<std::string>& places = entities[volume.token];
    if (places.empty()) firsts.push_back(volume);
    places.push_back(plistDictionary({{"mount-point", plistText(textFromPath(volume.mountPoint.string()))}}));
  }
  std::vector<std::string> images;
  for (const ServedVolume& volume : firsts) {
    const auto path = ServingProcesses(volume).imagePath();
    if (path) images.push_back(imageEntry(*path, entities[volume.token]));
  }
  std::cout << plistDocument(plistDictionary({{"images", plistList(images)}})) << std::flush;
  if (!std::cout) throw ToolError("cannot write the list");
}

}  // namespace tavrine
